// host/sources/postgres_plan.h - what is read from a PostgreSQL database, in which order, and by which part.
//
//     Key     an integer column: a table's primary key, or the one that the job names. Parts are ranges of it,
//             rows come in its order, and a place is a key.
//     Blocks  a plain table's own order. Parts are ranges of blocks, and a place is where a row lies.
//     AsIs    a view, a query: as the server gives them, to one part. A place is a number of rows.

#ifndef FENWIRE_HOST_SOURCES_POSTGRES_PLAN_H
#define FENWIRE_HOST_SOURCES_POSTGRES_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "host/postgres/postgres_connection.h"
#include "host/postgres/postgres_table.h"
#include "host/sources/key_range.h"
#include "host/sources/postgres_rows.h"

namespace fenwire {

enum class PostgresOrder : uint8_t { Key, Blocks, AsIs };

struct PostgresRelation {
    std::string sql;    // what stands behind FROM
    std::string words;  // "table \"t\""
    std::vector<std::string> names;
    std::vector<PostgresColumn> columns;
    uint32_t id = 0;  // of a table
    PostgresOrder order = PostgresOrder::AsIs;
    std::string key;  // as SQL has it; ctid for Blocks
};

// Throws SourceError when it is not there, or can't be read by so many instances.
PostgresRelation FindPostgresRelation(PostgresConnection &connection, const Job &job);

// Throws SourceError when a row has no key: it would be in no range.
void RequireWholeKeys(PostgresConnection &connection, const PostgresRelation &relation);

// The columns for rows, and what to ask for: "a, b::text". The key, where there is one, comes first.
std::string PostgresSelectList(const PostgresRelation &relation, const Job &job,
                               PostgresRows &rows);

// Where a part stands: keys as they are, of Blocks a block and a row's number in it as one number.
struct PostgresPlace {
    KeyRange whole;  // of all keys, or of the blocks from 0 on, as the job found them at first
    std::optional<int64_t> behind;
};

// Blocks: from 0, as many as there are. Key: those of all rows; none where a part has all of them anyway.
KeyRange PostgresRange(PostgresConnection &connection, const PostgresRelation &relation,
                       uint64_t blocks, int parts);

// What the part reads from that place on: ranges and order behind FROM.
std::string PostgresCondition(const PostgresRelation &relation, const PostgresPlace &place,
                              int part, int parts);

// Whether the place could be one of the part.
bool IsPlaceOf(const PostgresRelation &relation, const PostgresPlace &place, int part, int parts);

// "block 3, row 4", "key 77"
std::string PostgresPlaceWords(const PostgresRelation &relation, int64_t key);

}  // namespace fenwire

#endif
