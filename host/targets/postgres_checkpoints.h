// host/targets/postgres_checkpoints.h - a job's generation in the database that takes its rows.
//
// It is the one row of the job in fenwire_checkpoints, in the schema of the target's table. The table is made
// for the first generation of any job and goes with the last one. A crash of the server empties unlogged
// tables, so the generations of those that load one are in an unlogged table of their own.
//
// Several connections commit in two phases: each one's rows are prepared, the generation's row is committed,
// which is the decision, and then what was prepared is committed. So a prepared transaction that a crash left
// is judged by the generation that is there: its own, and the rows are committed; else they are undone.
//
// A killed process leaves sessions that may still be at work, at a commit even. Each session of a job holds
// an advisory lock while it has something in hand, and nobody judges before all of them are gone.

#ifndef FENWIRE_HOST_TARGETS_POSTGRES_CHECKPOINTS_H
#define FENWIRE_HOST_TARGETS_POSTGRES_CHECKPOINTS_H

#include <optional>
#include <string>

#include "host/checkpoint/generation.h"
#include "host/job/job.h"
#include "host/postgres/postgres_connection.h"
#include "host/targets/postgres_place.h"

namespace fenwire {

class PostgresCheckpoints {
public:
    // Asks the server where the job's table is.
    PostgresCheckpoints(const Job &job, PostgresConnection &connection);

    // Waits until no session of the job has anything in hand, then settles what a crash left.
    void Settle(PostgresConnection &connection) const;
    // A session has something in hand from here to there.
    void Hold(PostgresConnection &connection) const;
    void LetGo(PostgresConnection &connection) const;

    // The job's generation; run empty: of any run.
    std::optional<StoredGeneration> Find(PostgresConnection &connection,
                                         const std::string &run) const;
    // In the transaction that runs.
    void Store(PostgresConnection &connection, const StoredGeneration &generation) const;
    void Forget(PostgresConnection &connection, const std::string &run) const;
    // Throws when Store would fail for want of rights.
    void RequireRights(PostgresConnection &connection) const;

    // Name of a prepared transaction, quoted. connection: its number.
    std::string Prepared(const std::string &run, uint64_t number, size_t connection) const;

private:
    bool HasTable(PostgresConnection &connection) const;
    void SettlePrepared(PostgresConnection &connection) const;

    std::string job_, job_file_;
    PostgresHome home_;
    std::string table_;     // as SQL has it
    std::string lock_key_;  // of the job, a number
    std::string prefix_;    // of the names of its prepared transactions
};

}  // namespace fenwire

#endif
