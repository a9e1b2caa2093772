// host/sqlite/sqlite_types.h - columns of a job and types of SQLite.
//
// A table's column takes any value, but its affinity may turn one into another: text that looks like a number
// into a number, and that into floating point where it does not fit 64 bits. So a column whose values must
// stay text gets a type that SQLite takes for text: DECIMAL(38,2) is kept as TEXT DECIMAL(38,2).

#ifndef FENWIRE_HOST_SQLITE_SQLITE_TYPES_H
#define FENWIRE_HOST_SQLITE_SQLITE_TYPES_H

#include <optional>
#include <string>
#include <string_view>

#include "host/job/job.h"
#include "host/values/values.h"

namespace fenwire {

// What SQLite makes of values in a column; None is that of BLOB, and changes nothing.
enum class SqliteAffinity : uint8_t { None, Text, Numeric, Integer, Real };

SqliteAffinity SqliteAffinityOf(std::string_view declared);

// Decimal digits that come back from a number of SQLite.
inline constexpr int kSqliteExactDigits = 15;
inline constexpr int kSqliteWholeDigits = 18;

// The type that a new table declares for a column.
std::string SqliteTypeOf(const Column &column);

// The column of a declared type: this system's own words as they are, common others by what they mean, the
// rest by affinity. Nothing: the type says nothing, so values must be looked at.
std::optional<Column> ColumnOfSqliteType(const std::string &name, const std::string &declared);

// Lengths of columns whose type has none.
inline constexpr uint32_t kSqliteTextBytes = 4000;
inline constexpr uint32_t kSqliteBlobBytes = 64000;

}  // namespace fenwire

#endif
