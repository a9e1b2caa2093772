// host/coordinator/coordinator.h - the process that the user started: it has the others do the job.
//
// A job has one step or two: a producer or a source, and, when files are written, a consumer. One loop over
// the channels of all children, over signals and the clock. What comes next is decided by each step's
// Phases; the rows are settled between execute and terminate. Into a target: every ring is drained, the
// target's count is compared with the operator's, and only then is the target told to commit. Into files:
// the rings end when the reading step has, the consumers write what is in them, and the counts of both
// steps are compared.
//
// A failure, wherever it shows, takes one road: Fail. Instances are called back between two rows, those
// that do not come in time are killed, everybody who is left is terminated, the target rolls back.

#ifndef FENWIRE_HOST_COORDINATOR_COORDINATOR_H
#define FENWIRE_HOST_COORDINATOR_COORDINATOR_H

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "host/console/report.h"
#include "host/coordinator/children.h"
#include "host/coordinator/ledger.h"
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
    Coordinator(const Job &job, Console &console);
    JobReport Run();

private:
    using Clock = std::chrono::steady_clock;
    enum class Settling : uint8_t { NotYet, Draining, Committing, Settled, Undoing, Undone };

    // ---- Life
    void Start();
    void StartTarget();
    void StartStep(StepRun &step);
    int RunChild(const StepRun &step, int instance, const std::filesystem::path &library,
                 Channel channel);
    void Loop();
    void Wait();
    void CallInstances();
    void CallInstances(StepRun &step);
    void SettleRows();
    void SettleTarget();
    void SettleFiles();
    void End();
    bool Over() const;
    bool Failed() const
    {
        return reading().phases.failed() || (writing() && writing()->phases.failed());
    }
    void TellTarget(MessageKind kind);
    void FillReport(JobReport &report);

    // ---- What comes in
    void OnSignals();
    void Interrupt(int number);
    void Kill(const std::string &reason);
    void OnTarget();
    void OnInstance(StepRun &step, int instance);
    void FromTarget(InMessage &message);
    void OnDrained(uint64_t rows);
    void OnWritten();
    std::string WhyNotGood() const;
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
    void FinishRejects();
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
    StateFolder folder_;
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
    bool commit_in_doubt_ = false;  // the target was told to commit, and did not say how that ended
    int signals_seen_ = 0;
    std::optional<Clock::time_point> recall_until_;
};

}  // namespace fenwire

#endif
