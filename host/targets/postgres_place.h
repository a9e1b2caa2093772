// host/targets/postgres_place.h - the table that takes a job's rows: found, made, compared, emptied.

#ifndef FENWIRE_HOST_TARGETS_POSTGRES_PLACE_H
#define FENWIRE_HOST_TARGETS_POSTGRES_PLACE_H

#include <string>
#include <vector>

#include "host/job/job.h"
#include "host/postgres/postgres_table.h"

namespace fenwire {

std::string PostgresConnectionOf(const Job &job);
PostgresName PostgresTableOf(const Job &job);

inline constexpr int64_t kMostPostgresConnections = 64;
size_t PostgresConnectionsOf(const Job &job);  // no more than there are instances

// What the table is or would be.
struct PostgresHome {
    std::string schema;
    bool unlogged = false;
};
PostgresHome PostgresHomeOf(PostgresConnection &connection, const Job &job);

// Makes the table with the job's columns.
void CreatePostgresTable(PostgresConnection &connection, const Job &job, bool unlogged);

// Throws TargetError when the table can't take the job's columns. Those that do, in the job's order.
std::vector<const PostgresColumn *>
ComparePostgresTable(PostgresConnection &connection, const PostgresTable &table, const Job &job);

// "COPY sales.orders (id, amount) FROM STDIN (FORMAT binary)".
std::string PostgresCopySql(const PostgresTable &table,
                            const std::vector<const PostgresColumn *> &columns, bool binary);

// How a table is emptied within a transaction. Truncate is quick, but others can't read the table until the
// transaction ends, and a table that foreign keys point to takes none.
struct PostgresEmptying {
    bool may_truncate = false;
    bool has_keys = false;  // a new row may have to wait until one with its key is gone for good
};
PostgresEmptying PostgresEmptyingOf(PostgresConnection &connection, const PostgresTable &table);

}  // namespace fenwire

#endif
