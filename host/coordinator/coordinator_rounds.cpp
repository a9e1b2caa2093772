// host/coordinator/coordinator_rounds.cpp - how rows become lasting.
//
//     StartRoundIfDue   first, due, last
//     Hold              the reading step comes back between two calls
//     Drain             every row that is under way arrives: in the target, or in the consumers' files
//     Record            the checkpoint method of every instance; each hands over its record
//     Weigh             all who counted rows must have counted the same
//     Store             bad records to the disk, then rows and generation in one transaction
//     GoOn              with the rows, or to the end of the job
//
// A job that keeps no checkpoints goes through the same steps behind its last row, without the records.

#include <algorithm>

#include "host/coordinator/coordinator.h"
#include "host/system/futex.h"
#include "operator/message_table.h"

namespace fenwire {

namespace {

constexpr int kLongestWaitMs = 200;  // progress display, and how soon a lost process is noticed
constexpr int kStopSeconds =
    5;  // for a signal: who does not come back by then ends the job without a round

}  // namespace

int Coordinator::Timeout() const
{
    if (!KeepsRecords() || job_.checkpoint.interval.count() == 0 ||
        round_.step != Round::Step::None)
        return kLongestWaitMs;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        last_round_ + job_.checkpoint.interval - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 1, kLongestWaitMs));
}

void Coordinator::AdvanceRound()
{
    using At = Round::Step;
    if (Failed() || settling_ != Settling::NotYet)
        return;
    if (round_.step == At::None)
        StartRoundIfDue();
    if (round_.step == At::Holding) {
        if (reading().phases.held())
            Drain();
        else if (stop_by_ != 0 && Clock::now() - round_.began > std::chrono::seconds(kStopSeconds))
            Fail("stopped; an instance did not come back for a checkpoint within " +
                 std::to_string(kStopSeconds) + " s");
    }
    if (round_.step == At::Draining && writing() != nullptr &&
        (IsLast() ? writing()->phases.at_rows_end() : writing()->phases.held()))
        Record();
    const auto done = [](const auto &step) { return step->phases.checkpointed(); };
    if (round_.step == At::Recording && std::ranges::all_of(steps_, done))
        Weigh();
}

bool Coordinator::IsDue() const
{
    const auto wants = [](const auto &step) { return step->phases.wants_checkpoint(); };
    return stop_by_ != 0 || std::ranges::any_of(steps_, wants) ||
           (KeepsRecords() && storable_ && job_.checkpoint.interval.count() != 0 &&
            Clock::now() - last_round_ >= job_.checkpoint.interval);
}

// Of one instance, which counts its share.
uint64_t Coordinator::RowsUntilDue() const
{
    const auto readers = static_cast<uint64_t>(job_.readers());
    return KeepsRecords() && storable_ && job_.checkpoint.rows != 0
               ? (job_.checkpoint.rows + readers - 1) / readers
               : UINT64_MAX;
}

void Coordinator::StartRoundIfDue()
{
    using Why = Round::Why;
    const auto begins = [](const auto &step) { return step->phases.at_rows_begin(); };
    round_ = {};
    round_.began = Clock::now();
    if (std::ranges::all_of(steps_, begins)) {
        round_.why = Why::First;
        Record();
    } else if (reading().phases.at_rows_end()) {
        round_.why = Why::Last;
        Drain();
    } else if (reading().phases.method() == Method::Execute && IsDue()) {
        round_.why = Why::Due;
        Hold();
    }
}

void Coordinator::Hold()
{
    if (!KeepsRecords() || !storable_) {
        Fail("a checkpoint was asked for, which this job can't take");
        return;
    }
    round_.step = Round::Step::Holding;
    reading().phases.Hold();
    board_.stop.fetch_or(kStopSenders);
    FutexWake(board_.stop);
}

// The rows of the target's rings are counted when it says so; consumers come back once nothing is at hand.
void Coordinator::Drain()
{
    round_.step = Round::Step::Draining;
    if (target_ != nullptr) {
        TellTarget(OutMessage(MessageKind::Drain));
        return;
    }
    if (IsLast()) {
        for (RowRing &ring : rings_)
            ring.words().ended.store(1, std::memory_order_release);
    } else {
        writing()->phases.Hold();
        board_.stop.fetch_or(kStopReceivers);
    }
    for (int i = 1; i <= job_.writers(); ++i)
        RingDoorbell(board_.BellOf(i));
}

void Coordinator::OnDrained(uint64_t rows, uint64_t refused)
{
    if (round_.step != Round::Step::Draining)
        return;
    round_.drained = rows;
    ledger_.SetTargetRows(rows - std::min(rows, refused), refused);
    Record();
}

void Coordinator::Record()
{
    board_.stop.fetch_and(~uint32_t{kStopSenders | kStopReceivers});
    round_.step = Round::Step::Recording;
    round_.records = Clock::now();
    if (!KeepsRecords()) {
        Weigh();
        return;
    }
    round_.reading.resize(static_cast<size_t>(reading().count));
    round_.writing.resize(writing() != nullptr ? static_cast<size_t>(writing()->count) : 0);
    for (auto &step : steps_)
        Call(*step, step->phases.Checkpoint());
}

// The last look before the rows are there for good.
void Coordinator::Weigh()
{
    const std::string undone = target_ != nullptr ? "; nothing more was committed" : "";
    const uint64_t handed_over = ledger_.rows_handed_over();
    const uint64_t arrived = target_ == nullptr                ? ledger_.rows_written()
                             : round_.why == Round::Why::First ? drained_before_
                                                               : drained_before_ + round_.drained;
    if (arrived != handed_over) {
        Fail((target_ != nullptr ? "the target has " : "the consumers wrote ") +
             std::to_string(arrived) + " rows, but " + std::to_string(handed_over) +
             " were handed over" + undone);
    } else if (const std::string why = WhyNotGood(); !why.empty()) {
        Fail(why + undone);
    } else if (ledger_.exit_code() >= Ledger::kFatal) {
        Fail("an instance ended with exit code 12", Ledger::Weight::Consequence);
    } else {
        Store();
    }
}

// A new run's first generation counts only where files were opened that may hold rows of others, and a
// resumed run's first one is the one that it goes on from.
bool Coordinator::IsStored() const
{
    return KeepsRecords() && storable_ &&
           (round_.why != Round::Why::First || (writing() != nullptr && !plan_.from));
}

void Coordinator::Store()
{
    if (round_.why == Round::Why::First && writing() != nullptr)
        NoteFiles(*writing(), generation_.outputs, true);
    if (round_.why == Round::Why::First && KeepsRecords()) {
        NoteFiles(reading(), generation_.inputs, !plan_.from);
        storable_ = AllPlainFiles();
        if (!storable_) {
            run_.keeps_checkpoints = false;
            NoteRun();
        }
    }
    const bool stored = IsStored();
    if (stored)
        MakeGeneration();
    round_.step = Round::Step::Committing;
    round_.stores = Clock::now();
    if (target_ != nullptr && (IsLast() || (stored && place_ == CheckpointPlace::Within))) {
        const StoredGeneration generation =
            stored && place_ == CheckpointPlace::Within ? Encoded() : StoredGeneration();
        CommitTarget(&generation);
        return;
    }
    if (stored)
        store_->Save(Encoded());
    Stored();
}

void Coordinator::CommitTarget(const StoredGeneration *generation)
{
    UniqueFd block;
    if (!generation->bytes.empty())
        block = MakeSharedBlock("fenwire-generation", std::string_view(generation->bytes));
    TellTarget(OutMessage(MessageKind::Commit)
                   .Put(IsLast() ? 0U : 1U)
                   .Put(generation->number)
                   .Put(uint64_t{generation->bytes.size()})
                   .Put(std::string_view(generation->run)),
               generation->bytes.empty() ? nullptr : &block);
}

void Coordinator::OnCommitted(InMessage &message)
{
    const uint64_t rows = message.U64(), refused = message.U64();
    (void)message.U64();
    const std::string note = message.Text(), warning = message.Text();
    if (!Committing())
        throw ProtocolError("a commit that nobody asked for");
    ledger_.SetTargetRows(rows, refused);
    if (!warning.empty())
        PublicLine(Warning, "target: " + warning);
    if (IsLast())
        ledger_.SetCommitted(note);
    if (IsLast() && IsStored() && place_ == CheckpointPlace::Beside)
        store_->Save(Encoded());
    Stored();
}

// The rows are in, and so is the generation, if the job keeps any.
void Coordinator::Stored()
{
    if (IsStored()) {
        checkpoint_.resumable = true;
        checkpoint_.generation = generation_.number;
        checkpoint_.rows = generation_.rows;
        checkpoint_.saved_at = generation_.saved_at;
        ledger_.Keep();
    }
    last_round_ = Clock::now();
    if (KeepsRecords()) {
        ++checkpoint_.rounds;
        using Seconds = std::chrono::duration<double>;
        checkpoint_.round_seconds += Seconds(last_round_ - round_.began).count();
        checkpoint_.drain_seconds += Seconds(round_.records - round_.began).count();
        checkpoint_.commit_seconds += Seconds(last_round_ - round_.stores).count();
    }
    GoOn();
}

void Coordinator::GoOn()
{
    const Round::Why why = round_.why;
    round_ = {};
    if (why == Round::Why::Last) {
        if (target_ == nullptr)
            ledger_.SetWritten();
        settling_ = Settling::Settled;
    }
    for (auto &step : steps_) {
        step->phases.Release();
        if (why == Round::Why::First)
            step->phases.BeginRows();
        else if (why == Round::Why::Last)
            step->phases.GoOnToTerminate();
    }
    if (stop_by_ != 0 && why == Round::Why::Due)
        StopHere();
}

// By a signal: everything up to here is stored.
void Coordinator::StopHere()
{
    Fail("stopped by " + NameOfSignal(stop_by_) + " at checkpoint " +
         std::to_string(checkpoint_.generation));
}

// Whether a signal can have a round of its own, before the job ends.
bool Coordinator::CanStop() const
{
    return KeepsRecords() && storable_ && !Failed() && settling_ == Settling::NotYet &&
           reading().phases.method() != Method::Initiate &&
           reading().phases.method() != Method::Restart;
}

// A failure undoes what the target was not told to commit. What consumers have written can't be undone: it
// is told of, and cut when the job goes on.
void Coordinator::UndoRows()
{
    if (!Failed() || settling_ != Settling::NotYet || Committing())
        return;
    round_.step = Round::Step::None;
    if (target_ == nullptr) {
        settling_ = Settling::Undone;
        GiveUpRows();  // a reader may wait for the room that a failed consumer will not make
        return;
    }
    settling_ = target_->running() ? Settling::Undoing : Settling::Undone;
    if (target_->running())
        TellTarget(OutMessage(MessageKind::Abort));
}

}  // namespace fenwire
