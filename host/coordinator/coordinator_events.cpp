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
    board_.stop.fetch_or(kStopAll);
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
            if (stop_by_ != 0 && !ledger_.failing())
                Fail("stopped twice; what came behind the last checkpoint is undone");
            if (target_ != nullptr && (settling_ == Settling::Undoing || Committing()))
                target_->Kill("the job was stopped twice");
        }
    }
}

std::string Coordinator::NameOfSignal(int number)
{
    return number == SIGINT ? "Ctrl-C" : "SIGTERM";
}

void Coordinator::Interrupt(int number)
{
    const std::string by = NameOfSignal(number);
    if (settling_ == Settling::Settled || (IsLast() && Committing())) {
        PublicLine(Information, by + " came when the rows were in; the job ends by itself");
        return;
    }
    if (ledger_.failing())
        return;  // it is stopping already
    ledger_.SetInterrupted(number);
    if (CanStop()) {
        stop_by_ = number;
        PublicLine(Information, by + ": the job stops at its next checkpoint");
        console_.Message(LineKind::Warning,
                         by + ": stopping at a checkpoint; once more ends the job at once");
        return;
    }
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
        checkpoint_.at_least_once = message.Text();
        TellPromise();
        break;
    case MessageKind::Drained: {
        const uint64_t rows = message.U64();
        OnDrained(rows, message.U64());
        break;
    }
    case MessageKind::Committed:
        OnCommitted(message);
        break;
    case MessageKind::TargetFailed: {
        const std::string words = message.Text();
        PublicLine(Error, "target: " + words);
        Fail(words);
        settling_ = Settling::Undone;  // it undoes before it says so
        round_.step = Round::Step::None;
        break;
    }
    case MessageKind::Aborted:
        settling_ = Settling::Undone;
        break;
    default:
        throw ProtocolError("a message that is not the target's");
    }
}

// Once, before the first row.
void Coordinator::TellPromise()
{
    if (!keeps_ || checkpoint_.at_least_once.empty())
        return;
    const std::string words = "rows may come twice after a failure: " + checkpoint_.at_least_once;
    PublicLine(Information, words);
    console_.Message(LineKind::Warning, words);
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
             (!Committing() ? ""
              : IsStored()
                  ? " while it committed"
                  : " while it committed; look at the target before the job is run again"));
    }
    commit_in_doubt_ = Committing();
    checkpoint_.resumable = checkpoint_.resumable || (Committing() && IsStored());
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
    case MessageKind::ExitCode: {
        // What an instance makes of files that a signal left half read is no failure of its own.
        const int32_t code = message.I32();
        if (stop_by_ == 0 || !ledger_.failing())
            ledger_.RaiseExitCode(step.side, instance, code);
        break;
    }
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
    case MessageKind::SourcePosition:
        if (step.phases.method() == Method::Checkpoint)
            round_.reading[static_cast<size_t>(instance - 1)] = Pack(message.Text());
        break;
    case MessageKind::WriteRecord: {
        const PxStatus status = TakeRecord(step, instance, message);
        step.Of(instance).channel().Send(
            OutMessage(MessageKind::Reply).Put(status).Put(uint64_t{0}));
        break;
    }
    case MessageKind::ReadRecord:
        GiveRecord(step, instance);
        break;
    case MessageKind::NoCheckpoints:
        not_by_operator_ = true;
        break;
    case MessageKind::ErrorFile:
        rejects_.AddErrorFile(instance, message.Text());
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
    if (!step.phases.failed())
        return;  // it waits for a checkpoint
    NoteFailed(step, instance);
    const std::string who = step.Who(instance);
    if (!place.empty())
        ledger_.SetPlace(who + " was at " + place);
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
