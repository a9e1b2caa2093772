// host/checkpoint/sqlite_checkpoints.h - generations in a table of an SQLite database.

#ifndef FENWIRE_HOST_CHECKPOINT_SQLITE_CHECKPOINTS_H
#define FENWIRE_HOST_CHECKPOINT_SQLITE_CHECKPOINTS_H

#include <optional>
#include <string>

#include "host/checkpoint/generation.h"
#include "host/job/job.h"
#include "host/sqlite/sqlite_database.h"

namespace fenwire {

inline constexpr const char *kCheckpointTable = "fenwire_checkpoints";

// In the transaction that is open, if one is. Members throw as the database's do; also when a table of
// this name is there that is not ours.
class SqliteCheckpoints {
public:
    explicit SqliteCheckpoints(SqliteDatabase &database) : database_(database) {}

    // Takes the place of the job's generation before. Makes the table.
    void Save(const StoredGeneration &generation);
    // run empty: the one of this job file, whichever run's.
    std::optional<StoredGeneration> Find(const Job &job, const std::string &run);
    // The table goes with the last one.
    void Forget(const Job &job, const std::string &run);
    // Whether generations of any job are there.
    bool Any();

private:
    bool IsThere();

    SqliteDatabase &database_;
};

}  // namespace fenwire

#endif
