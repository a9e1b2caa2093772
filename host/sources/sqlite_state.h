// host/sources/sqlite_state.h - what tells a state of an SQLite database from all that came before and after.
//
// In the usual journal modes each transaction counts up a number in the file's header. In WAL mode it does not;
// there the times and sizes of the file and its log tell: a commit writes into the log, and moving the log into the
// file writes that. A time says nothing while it is so young that another change could have the same.

#ifndef FENWIRE_HOST_SOURCES_SQLITE_STATE_H
#define FENWIRE_HOST_SOURCES_SQLITE_STATE_H

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "host/sources/position.h"
#include "host/sqlite/sqlite_database.h"

namespace fenwire {

struct SqliteState {
    int64_t schema = 0;    // counts changes of tables
    uint32_t changes = 0;  // counts transactions, but for WAL mode
    int64_t bytes = 0;
    int64_t time_ns = 0, log_time_ns = 0, log_bytes = 0;  // in WAL mode only
    bool certain = true;                                  // no other state can look the same

    bool operator==(const SqliteState &) const = default;
    std::string Text() const;
    static SqliteState From(PositionReader &place);
};

// Waits a moment for a state that is certain. Exact within a transaction.
SqliteState SqliteStateOf(SqliteDatabase &database);

inline constexpr std::chrono::milliseconds kLongestSqliteWait{10'000};  // for other programs

// One state of a database, for all parts that read it: see sqlite_source.cpp.
class SqliteSnapshot {
public:
    // The database reads one state from now on.
    void Begin(SqliteDatabase &database, const std::filesystem::path &file, int parts);

    // Throws SourceError when another part may have begun with another state. Called when all have begun.
    void RequireSameOfAll();

    const SqliteState &state() const { return state_; }

private:
    std::filesystem::path file_;
    std::optional<SqliteDatabase> watch_;  // with several parts, until the first rows are read
    int64_t version_ = 0;                  // as watch_ sees it
    SqliteState state_;
};

// The first value of the first row; 0 without a row.
int64_t SqliteNumber(SqliteDatabase &database, const std::string &sql);

}  // namespace fenwire

#endif
