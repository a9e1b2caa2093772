// host/postgres/postgres_types.h - columns of a job and types of PostgreSQL.

#ifndef FENWIRE_HOST_POSTGRES_POSTGRES_TYPES_H
#define FENWIRE_HOST_POSTGRES_POSTGRES_TYPES_H

#include <string>

#include "host/job/job.h"

namespace fenwire {

// OIDs of the types that have a binary form here; they are the same in every server.
enum class PgType : uint32_t {
    Bool = 16,
    Bytea = 17,
    Int8 = 20,
    Int2 = 21,
    Int4 = 23,
    Text = 25,
    Json = 114,
    Float4 = 700,
    Float8 = 701,
    Char = 1042,
    VarChar = 1043,
    Date = 1082,
    Time = 1083,
    TimeStamp = 1114,
    TimeStampTz = 1184,
    Interval = 1186,
    TimeTz = 1266,
    Numeric = 1700,
    Jsonb = 3802,
};

// Lengths of columns whose type has none.
inline constexpr uint32_t kPostgresTextBytes = 4000;
inline constexpr uint32_t kPostgresLongBytes = 64000;  // bytea, json, xml

// The type that a new table declares for a column. utf16: the session's text has two bytes a character.
std::string PostgresTypeOf(const Column &column, bool utf16);

// The column for a type as format_type() writes it; types without a counterpart are text.
Column ColumnOfPostgresType(const std::string &name, const std::string &type);

}  // namespace fenwire

#endif
