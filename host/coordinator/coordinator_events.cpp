// host/coordinator/coordinator_events.cpp - what comes in: messages, ends of processes, signals, failures.

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>

#include "host/coordinator/coordinator.h"
#include "host/system/futex.h"
#include "operator/message_table.h"

namespace fenwire {

namespace {

constexpr int kRecallSeconds = 5;
constexpr int kAfterEndMs = 1000;  // a process whose channel is closed is about to be gone

std::string Now()
{
    char text[24] = "";
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S ", &local);
    return text;
}

}  // namespace

// ---- Failure -----------------------------------------------------------------------------------

void Coordinator::Fail(const std::string &reason, Ledger::Weight weight)
{
    public_log_.Line(Now() + "the job fails: " + reason, LogFile::Flush::Now);
    ledger_.AddReason(reason, weight);
    for (auto &step : steps_)
        step->phases.Fail();
    Recall();
}

// Instances come back between two rows. Rows that they wait to get rid of are still taken by the target,
// which drops them; without a target see GiveUpRows.
void Coordinator::Recall()
{
    board_.stop.store(1);
    FutexWake(board_.stop);
    if (!recall_until_)
        recall_until_ = Clock::now() + std::chrono::seconds(kRecallSeconds);
}

// Nobody takes rows any more: writers that wait for room go on, and what they write is dropped.
void Coordinator::GiveUpRows()
{
    board_.abort.store(1);
    Recall();
    for (RowRing &ring : rings_)
        FutexWake(ring.words().writer_bell);
}

// Ends the instances that are inside a call; those that came back end as they should.
void Coordinator::Kill(const std::string &reason)
{
    for (auto &step : steps_) {
        for (int i = 1; i <= step->count; ++i) {
            if (step->phases.under_way(i))
                step->Of(i).Kill(reason);
        }
    }
}

void Coordinator::KillStragglers()
{
    const bool terminating = std::ranges::all_of(steps_, [](const auto &step) {
        return step->phases.method() == Method::Terminate || step->phases.done();
    });
    if (!recall_until_ || Clock::now() < *recall_until_ || terminating)
        return;
    Kill("it did not come back within " + std::to_string(kRecallSeconds) + " s");
    recall_until_.reset();
}

// The first signal stops the job between two rows, the second one ends what does not come to an end.
void Coordinator::OnSignals()
{
    for (int number = signals_.Next(); number != 0; number = signals_.Next()) {
        if (number == SIGCHLD)
            continue;  // its channel tells
        if (++signals_seen_ == 1) {
            Interrupt(number);
        } else {
            Kill("the job was stopped twice");
            if (target_ != nullptr && settling_ == Settling::Undoing)
                target_->Kill("the job was stopped twice");
        }
    }
}

void Coordinator::Interrupt(int number)
{
    const std::string by = number == SIGINT ? "Ctrl-C" : "SIGTERM";
    if (settling_ == Settling::Committing || settling_ == Settling::Settled) {
        PublicLine(Information, by + " came when the rows were in; the job ends by itself");
        return;
    }
    if (ledger_.failing())
        return;  // it is stopping already
    ledger_.SetInterrupted(number);
    PublicLine(Warning, "stopped by " + by + "; once more ends it at once");
    Fail("stopped by " + by + "; " +
         (target_ != nullptr ? "the target is as it was before"
                             : "the output files are not complete"));
}

// ---- Target ------------------------------------------------------------------------------------

void Coordinator::OnTarget()
{
    try {
        InMessage message;
        for (;;) {
            const Channel::Result result = target_->channel().TryReceive(message);
            if (result == Channel::Result::Nothing)
                return;
            if (result == Channel::Result::Gone) {
                TargetGone();
                return;
            }
            FromTarget(message);
        }
    } catch (const ProtocolError &failure) {
        target_->Kill("it sent nonsense");
        Fail("the target process sent nonsense: " + std::string(failure.what()));
    }
}

void Coordinator::FromTarget(InMessage &message)
{
    switch (message.kind()) {
    case MessageKind::Opened:
        target_open_ = true;
        break;
    case MessageKind::Drained:
        OnDrained(message.U64());
        break;
    case MessageKind::Committed: {
        const uint64_t rows = message.U64(), refused = message.U64();
        (void)message.U64();
        ledger_.SetCommitted(rows, refused, message.Text());
        if (const std::string warning = message.Text(); !warning.empty())
            PublicLine(Warning, "target: " + warning);
        settling_ = Settling::Settled;
        reading().phases.GoOnToTerminate();
        break;
    }
    case MessageKind::TargetFailed: {
        const std::string words = message.Text();
        PublicLine(Error, "target: " + words);
        Fail(words);
        settling_ = Settling::Undone;  // it undoes before it says so
        break;
    }
    case MessageKind::Aborted:
        settling_ = Settling::Undone;
        break;
    default:
        throw ProtocolError("a message that is not the target's");
    }
}

// What keeps rows that have all arrived from counting as done; empty: nothing.
std::string Coordinator::WhyNotGood() const
{
    if (std::string imbalance = ledger_.Imbalance(); !imbalance.empty())
        return imbalance;
    if (std::string lost = LostOutput(); !lost.empty())
        return lost;
    if (rejects_.left_out() == ledger_.refused())
        return {};
    return "the operator left out " + std::to_string(rejects_.left_out()) +
           " bad records, but counts " + std::to_string(ledger_.refused()) + " as refused";
}

// The last look before the rows are there for good.
void Coordinator::OnDrained(uint64_t rows)
{
    if (settling_ != Settling::Draining)
        return;
    if (rows != ledger_.rows_handed_over()) {
        Fail("the target has " + std::to_string(rows) + " rows, the operator handed over " +
             std::to_string(ledger_.rows_handed_over()) + "; nothing was committed");
    } else if (const std::string why = WhyNotGood(); !why.empty()) {
        Fail(why + "; nothing was committed");
    } else if (ledger_.exit_code() >= Ledger::kFatal) {
        Fail("an instance ended with exit code 12", Ledger::Weight::Consequence);
    } else {
        settling_ = Settling::Committing;
        TellTarget(MessageKind::Commit);
    }
}

// All consumers have flushed and closed their files.
void Coordinator::OnWritten()
{
    if (ledger_.rows_written() != ledger_.rows_handed_over()) {
        Fail("the consumers wrote " + std::to_string(ledger_.rows_written()) +
             " rows, but were handed " + std::to_string(ledger_.rows_handed_over()));
    } else if (const std::string why = WhyNotGood(); !why.empty()) {
        Fail(why);
    } else if (ledger_.exit_code() >= Ledger::kFatal) {
        Fail("an instance ended with exit code 12", Ledger::Weight::Consequence);
    } else {
        ledger_.SetWritten();
        settling_ = Settling::Settled;
        for (auto &step : steps_)
            step->phases.GoOnToTerminate();
    }
}

void Coordinator::TargetGone()
{
    target_->Reap(kAfterEndMs);
    if (settling_ == Settling::Settled)
        return;
    if (!ledger_.failing()) {
        const std::string end = target_->end().empty() ? "ended early" : target_->end();
        PublicLine(Error, "the target process " + end);
        Fail("the target process " + end +
             (settling_ == Settling::Committing
                  ? " while it committed; look at the target before the job is run again"
                  : ""));
    }
    commit_in_doubt_ = settling_ == Settling::Committing;
    GiveUpRows();
    settling_ = Settling::Undone;
}

// ---- Instances ---------------------------------------------------------------------------------

void Coordinator::OnInstance(StepRun &step, int instance)
{
    try {
        InMessage message;
        // A few at a time, so that one busy instance can't keep the others waiting.
        for (int i = 0; i < 64; ++i) {
            const Channel::Result result = step.Of(instance).channel().TryReceive(message);
            if (result == Channel::Result::Nothing)
                return;
            if (result == Channel::Result::Gone) {
                InstanceGone(step, instance);
                return;
            }
            FromInstance(step, instance, message);
        }
    } catch (const ProtocolError &failure) {
        step.Of(instance).Kill("it sent nonsense");
        Fail(step.Who(instance) + " sent nonsense: " + failure.what());
    }
}

void Coordinator::FromInstance(StepRun &step, int instance, InMessage &message)
{
    const std::string who = step.Who(instance);
    switch (message.kind()) {
    case MessageKind::Hello:
        PublicLine(Information, who + ": operator library version " + message.Text());
        break;
    case MessageKind::Answer:
        OnAnswer(step, instance, message.I32());
        break;
    case MessageKind::LogLine:
        OnLogLine(message);
        break;
    case MessageKind::ConsoleLine:
        PublicLine(Warning, who + ": " + message.Text());
        break;
    case MessageKind::ExitCode:
        ledger_.RaiseExitCode(step.side, instance, message.I32());
        break;
    case MessageKind::Statistic:
        PublicLine(Information, who + ": statistic " + message.Text());
        break;
    case MessageKind::FileCounts:
        OnFileCounts(step, instance, message);
        break;
    case MessageKind::SourceRows:
        OnSourceRows(step, instance, message);
        break;
    case MessageKind::BadRecord:
        OnBadRecord(step, instance, message);
        break;
    case MessageKind::Trouble:
        Fail(who + ": " + message.Text());
        break;
    default:
        if (!step.objects.Serve(message, step.Of(instance).channel()))
            throw ProtocolError("a message that is not an instance's");
    }
}

void Coordinator::OnAnswer(StepRun &step, int instance, int32_t status)
{
    const std::string method = MethodName(step.phases.method()), place = PlaceOf(step, instance);
    step.phases.Answered(instance, status);
    if (status == PXSTC_NextPhase || status == PXSTC_EndMethod || status == kStopped)
        return;
    NoteFailed(step, instance);
    const std::string who = step.Who(instance);
    if (!place.empty())
        ledger_.SetPlace(who + " was at " + place);
    if (status == PXSTC_Checkpoint)  // the round of all instances comes with checkpoints
        Fail(who + " asked for a checkpoint, which this version can't take");
    else
        Fail(who + " failed in " + method + " with status " + std::to_string(status) + " (" +
                 PxStatusName(status) + ")",
             Ledger::Weight::Consequence);
}

void Coordinator::NoteFailed(const StepRun &step, int instance)
{
    BoardOf(step, instance).state.store(InstanceState::Failed, std::memory_order_relaxed);
    ledger_.RaiseExitCode(step.side, instance, Ledger::kFatal);
}

void Coordinator::OnLogLine(InMessage &message)
{
    constexpr uint32_t kDefaultUsed = 19203;  // a warning for every attribute that a job leaves out
    const uint32_t number = message.U32();
    (void)message.I32();
    const int32_t severity = message.I32();
    const std::string leader = message.Text(), text = message.Text();
    PublicLine(number == kDefaultUsed ? static_cast<int32_t>(Information) : severity,
               leader.empty() ? text : leader + " " + text);
}

void Coordinator::InstanceGone(StepRun &step, int instance)
{
    const std::string file = CurrentFile(step, instance);
    Child &child = step.Of(instance);
    child.Reap(kAfterEndMs);
    const bool expected = step.phases.done();
    step.phases.Died(instance);
    if (expected)
        return;
    NoteFailed(step, instance);
    CountLost(step, instance);
    const std::string end = child.end().empty() ? "ended early" : child.end();
    const std::string words =
        step.Who(instance) + " " + end + (file.empty() ? "" : " while it had " + file);
    PublicLine(Error, words);
    Fail(words);
}

// ---- For people --------------------------------------------------------------------------------

// Everything goes to the log; the console hears what is worth an eye.
void Coordinator::PublicLine(int severity, const std::string &line)
{
    public_log_.Line(Now() + line,
                     severity >= Warning ? LogFile::Flush::Now : LogFile::Flush::Later);
    ledger_.AddMessage(severity, line);
    if (severity >= Warning)
        console_.Message(severity == Error ? LineKind::Error : LineKind::Warning, line);
}

}  // namespace fenwire
