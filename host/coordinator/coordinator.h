// host/coordinator/coordinator.h - the process that the user started: it has the others do the job.
//
// A job has one step or two: a producer or a source, and, when files are written, a consumer. One loop over
// the channels of all children, over signals and the clock. What comes next is decided by each step's
// Phases.
//
// Rows become lasting in rounds (coordinator_rounds.cpp): before the first row, whenever a checkpoint is due,
// and behind the last row. A round holds the instances between two calls, has the streams drained, calls the
// checkpoint method of every instance, compares the counts of all who counted, and has target or store take
// the generation. Then the rows go on, or the job ends.
//
// A failure, wherever it shows, takes one road: Fail. Instances are called back between two rows, those
// that do not come in time are killed, everybody who is left is terminated, the target goes back to the
// last checkpoint.

#ifndef FENWIRE_HOST_COORDINATOR_COORDINATOR_H
#define FENWIRE_HOST_COORDINATOR_COORDINATOR_H

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/run_state.h"
#include "host/console/report.h"
#include "host/coordinator/children.h"
#include "host/coordinator/ledger.h"
#include "host/coordinator/run.h"
#include "host/coordinator/signals.h"
#include "host/coordinator/state_folder.h"
#include "host/coordinator/step_run.h"
#include "host/job/job.h"
#include "host/rejects/reject_run.h"
#include "host/services/log_file.h"
#include "host/streams/row_ring.h"
#include "host/streams/stream_plan.h"

namespace fenwire {

class Coordinator {
public:
    Coordinator(const Job &job, Console &console, RunPlan plan);
    JobReport Run();

private:
    using Clock = std::chrono::steady_clock;
    // What becomes of the rows at the job's end.
    enum class Settling : uint8_t { NotYet, Settled, Undoing, Undone };
    struct Round {
        enum class Why : uint8_t { First, Due, Last };
        enum class Step : uint8_t { None, Holding, Draining, Recording, Committing };
        Step step = Step::None;
        Why why = Why::First;
        Clock::time_point began, records, stores;
        uint64_t drained = 0;  // rows that came out of the rings
        InstanceRecords reading, writing;
    };

    // ---- Life
    void Start();
    void TakeOver();
    void BeginRun();
    void NoteRun() const;
    void StartTarget();
    void StartStep(StepRun &step);
    int RunChild(const StepRun &step, int instance, const std::filesystem::path &library,
                 Channel channel);
    void Loop();
    void Wait();
    void CallInstances();
    void CallInstances(StepRun &step);
    void Call(StepRun &step, const MethodCall &call);
    void UndoRows();
    void End();
    void Finish();
    bool NoteOutcome(RunState::Outcome outcome);
    bool Over() const;
    bool Failed() const
    {
        return reading().phases.failed() || (writing() && writing()->phases.failed());
    }
    void TellTarget(const OutMessage &message, const UniqueFd *fd = nullptr);
    void FillReport(JobReport &report);
    void FillCheckpoint(JobReport &report) const;

    // ---- Rounds
    bool KeepsRecords() const { return keeps_ && !not_by_operator_; }
    bool CanStop() const;
    void AdvanceRound();
    void StartRoundIfDue();
    bool IsDue() const;
    uint64_t RowsUntilDue() const;
    void Hold();
    void Drain();
    void OnDrained(uint64_t rows, uint64_t refused);
    void Record();
    void Weigh();
    bool IsStored() const;
    void Store();
    void CommitTarget(const StoredGeneration *generation);
    void OnCommitted(InMessage &message);
    void Stored();
    void GoOn();
    void StopHere();
    int Timeout() const;

    // ---- What a generation is made of
    PxStatus TakeRecord(StepRun &step, int instance, InMessage &message);
    void GiveRecord(StepRun &step, int instance);
    void NoteFiles(const StepRun &step, std::vector<FileIdentity> &files, bool anew);
    bool AllPlainFiles() const;
    void MakeGeneration();
    StoredGeneration Encoded() const;
    std::string PositionOf(int part) const;
    static std::string NameOfSignal(int number);

    // ---- What comes in
    void OnSignals();
    void Interrupt(int number);
    void Kill(const std::string &reason);
    void OnTarget();
    void OnInstance(StepRun &step, int instance);
    void FromTarget(InMessage &message);
    std::string WhyNotGood() const;
    void TellPromise();
    void FromInstance(StepRun &step, int instance, InMessage &message);
    void OnAnswer(StepRun &step, int instance, int32_t status);
    void NoteFailed(const StepRun &step, int instance);
    void OnLogLine(InMessage &message);
    void OnFileCounts(StepRun &step, int instance, InMessage &message);
    void OnSourceRows(StepRun &step, int part, InMessage &message);
    std::filesystem::path PathOf(const StepRun &step, const std::string &file) const;
    std::string LostOutput() const;
    void CountLost(const StepRun &step, int instance);
    void OnBadRecord(StepRun &step, int instance, InMessage &message);
    static std::string PlaceOf(const StepRun &step, int instance);
    void FinishRejects(bool good);
    void InstanceGone(StepRun &step, int instance);
    void TargetGone();

    // ---- Failure
    void Fail(const std::string &reason, Ledger::Weight weight = Ledger::Weight::Cause);
    void Recall();
    void GiveUpRows();
    void KillStragglers();

    // ---- For people
    void PublicLine(int severity, const std::string &line);
    JobSnapshot Snapshot() const;
    void AddInstances(const StepRun &step, JobSnapshot &shot) const;
    void AddReadFiles(JobSnapshot &shot) const;
    void AddWrittenFiles(JobSnapshot &shot) const;
    static std::string CurrentFile(const StepRun &step, int instance);
    double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

    bool Committing() const { return round_.step == Round::Step::Committing; }
    bool IsLast() const { return round_.why == Round::Why::Last; }
    StepRun &reading() { return *steps_[0]; }
    const StepRun &reading() const { return *steps_[0]; }
    StepRun *writing() { return steps_.size() > 1 ? steps_[1].get() : nullptr; }  // null: a target
    const StepRun *writing() const { return steps_.size() > 1 ? steps_[1].get() : nullptr; }
    InstanceBoard &BoardOf(const StepRun &step, int instance) const
    {
        return step.side == Side::Reading ? board_.Sender(instance) : board_.Receiver(instance);
    }

    const Job &job_;
    Console &console_;
    const Clock::time_point start_ = Clock::now();
    RunPlan plan_;
    LogFile public_log_;
    UniqueFd board_block_;
    Mapping board_map_;
    Board &board_;
    std::vector<RowRing> rings_;
    std::vector<std::unique_ptr<StepRun>> steps_;
    Ledger ledger_;
    RejectRun rejects_;
    Signals signals_;
    std::unique_ptr<Child> target_;  // null: files are written
    bool target_open_ = false;
    Settling settling_ = Settling::NotYet;
    const CheckpointPlace place_;
    const bool keeps_;
    bool not_by_operator_ = false;  // it said that it can't
    bool storable_ = false;         // all files are plain files, which have positions
    RunState run_;
    Round round_;
    Clock::time_point last_round_ = Clock::now();
    std::unique_ptr<CheckpointStore> store_;
    Generation generation_;        // the next one; what its files are is known from round to round
    uint64_t drained_before_ = 0;  // rows of the job before this run
    CheckpointReport checkpoint_;  // what is stored, for the report
    bool ended_well_ = false;
    int stop_by_ = 0;               // the signal that the next round ends the job for
    bool commit_in_doubt_ = false;  // the target was told to commit, and did not say how that ended
    int signals_seen_ = 0;
    std::optional<Clock::time_point> recall_until_;
};

}  // namespace fenwire

#endif
