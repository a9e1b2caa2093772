// host/coordinator/coordinator.h - the process that the user started: it has the others do the job.
//
// One loop over the channels of all children, over signals and the clock. What comes next is decided by
// Phases; the rows are settled between execute and terminate: every ring is drained, the target's count
// is compared with the operator's, and only then is the target told to commit.
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
#include "host/coordinator/phases.h"
#include "host/coordinator/shared_objects.h"
#include "host/coordinator/signals.h"
#include "host/coordinator/state_folder.h"
#include "host/job/job.h"
#include "host/rejects/reject_run.h"
#include "host/services/log_file.h"
#include "host/streams/row_ring.h"

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
    void Loop();
    void Wait();
    void CallInstances();
    void SettleRows();
    void End();
    bool Over() const;

    // ---- What comes in
    void OnSignals();
    void Interrupt(int number);
    void Kill(const std::string &reason);
    void OnTarget();
    void OnInstance(int instance);
    void FromTarget(InMessage &message);
    void OnDrained(uint64_t rows);
    void FromInstance(int instance, InMessage &message);
    void OnAnswer(int instance, int32_t status);
    void NoteFailed(int instance);
    void OnLogLine(InMessage &message);
    void OnFileCounts(int instance, InMessage &message);
    void OnBadRecord(int instance, InMessage &message);
    std::string PlaceOf(int instance) const;
    void FinishRejects();
    void InstanceGone(int instance);
    void TargetGone();

    // ---- Failure
    void Fail(const std::string &reason, Ledger::Weight weight = Ledger::Weight::Cause);
    void Recall();
    void GiveUpRows();
    void KillStragglers();

    // ---- For people
    void PublicLine(int severity, const std::string &line);
    JobSnapshot Snapshot() const;
    InstanceSnapshot SnapshotOf(int instance) const;
    std::string CurrentFile(int instance) const;
    std::string FileName(uint32_t index) const;
    double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

    Child &Of(int instance) { return *instances_[static_cast<size_t>(instance - 1)]; }
    const Child &Of(int instance) const { return *instances_[static_cast<size_t>(instance - 1)]; }

    const Job &job_;
    Console &console_;
    const int count_;
    const Clock::time_point start_ = Clock::now();
    StateFolder folder_;
    LogFile public_log_;
    UniqueFd board_block_;
    Mapping board_map_;
    Board &board_;
    std::vector<RowRing> rings_;
    SharedObjects objects_;
    Phases phases_;
    Ledger ledger_;
    RejectRun rejects_;
    std::vector<std::string> last_bad_;  // for each instance: where its last bad record was
    Signals signals_;
    std::vector<std::unique_ptr<Child>> instances_;
    std::unique_ptr<Child> target_;
    bool target_open_ = false;
    Settling settling_ = Settling::NotYet;
    bool commit_in_doubt_ = false;  // the target was told to commit, and did not say how that ended
    int signals_seen_ = 0;
    std::optional<Clock::time_point> recall_until_;
};

}  // namespace fenwire

#endif
