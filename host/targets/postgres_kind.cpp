// host/targets/postgres_kind.cpp - what a job asks of PostgreSQL besides taking its rows.

#include <fmt/format.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/targets/kinds.h"
#include "host/targets/postgres_checkpoints.h"
#include "host/targets/postgres_place.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

using PostgresAccess = PostgresConnection::Access;

struct OpenStore {
    PostgresConnection connection;
    PostgresCheckpoints checkpoints;

    // settled: what an earlier run left is done with first, which waits for its sessions.
    OpenStore(const Job &job, bool settled)
        : connection(PostgresConnectionOf(job), PostgresAccess::Write), checkpoints(job, connection)
    {
        if (settled)
            checkpoints.Settle(connection);
    }
};

}  // namespace

void CheckPostgresSettings(const Job &job, std::vector<Complaint> &found)
{
    const auto table = SettingOr<std::string>(job.target, "table", {});
    if (!ParsePostgresName(table))
        found.push_back({PositionOf(job.target, job.target_at, "table"),
                         fmt::format("{} is no name of a table", Quoted(table)),
                         "such as \"orders\" or \"sales.orders\"; a part with a point in it stands "
                         "in double quotes"});
    const auto connections = SettingOr<int64_t>(job.target, "connections", 1);
    if (connections < 1 || connections > kMostPostgresConnections)
        found.push_back(
            {PositionOf(job.target, job.target_at, "connections"),
             fmt::format("connections = {} is out of range", connections),
             fmt::format("1 to {}; without it, one for each instance", kMostPostgresConnections)});
}

std::vector<Column> PostgresTargetColumns(const Job &job)
{
    PostgresConnection connection(PostgresConnectionOf(job), PostgresAccess::Write);
    const PostgresName name = PostgresTableOf(job);
    const std::optional<PostgresTable> table = FindPostgresTable(connection, name);
    if (!table)
        throw TargetError(NoPostgresTable(connection, name));
    std::vector<Column> columns;
    for (const PostgresColumn &column : table->columns) {
        if (!column.computed)
            columns.push_back(ColumnOfPostgresType(column.name, column.type));
    }
    return ColumnsForFormat(job, std::move(columns));
}

std::optional<StoredGeneration> FindPostgresGeneration(const Job &job, const std::string &run,
                                                       bool at_work)
{
    OpenStore store(job, !at_work);
    return store.checkpoints.Find(store.connection, run);
}

void ForgetPostgresGeneration(const Job &job, const std::string &run)
{
    OpenStore store(job, true);
    store.checkpoints.Forget(store.connection, run);
}

}  // namespace fenwire
