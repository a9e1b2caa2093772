// host/checkpoint/checkpoints.h - where a job's generations lie.
//
// With a target that has transactions they lie in the target itself, beside the rows (TargetKind::find);
// for everything else in a small SQLite database of the state folder. There is one generation of a
// job at most: the next one takes its place.

#ifndef FENWIRE_HOST_CHECKPOINT_CHECKPOINTS_H
#define FENWIRE_HOST_CHECKPOINT_CHECKPOINTS_H

#include <memory>
#include <optional>
#include <string>

#include "host/checkpoint/generation.h"
#include "host/job/job.h"

namespace fenwire {

// Where the job's generations go.
enum class CheckpointPlace : uint8_t {
    None,    // the job can't be resumed: its target or source can't
    Beside,  // in the state folder
    Within,  // in the target, in one transaction with the rows
};
CheckpointPlace PlaceOfCheckpoints(const Job &job);

// Why it is None, in words.
std::string WhyNotResumable(const Job &job);

// The job's generation, wherever it lies. run: of that run; empty: of any run of this job file. Throws
// std::runtime_error for a store that can't be read, DamagedCheckpoint for what is no generation.
// at_work: the job runs, so what its last commit left undecided is its own business.
std::optional<Generation> FindGeneration(const Job &job, const std::string &run,
                                         bool at_work = false);

// Afterwards there is none. Throws std::runtime_error.
void ForgetGeneration(const Job &job, const std::string &run);

// The store in the state folder. Members throw std::runtime_error with words for the user.
class CheckpointStore {
public:
    explicit CheckpointStore(const Job &job);
    ~CheckpointStore();
    void Save(const StoredGeneration &generation);  // on the disk when it returns

private:
    class Database;
    std::unique_ptr<Database> database_;
};

}  // namespace fenwire

#endif
