// host/sqlite/sqlite_database.cpp - a connection to an SQLite database.
//
// The journal mode stays as the database has it: a job that is cut off at any point leaves what was there
// before. The page cache is what this process mostly consists of, so it is kept to a size that serves
// tables with a few indexes.

#include "host/sqlite/sqlite_database.h"

#include <cstring>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

constexpr std::chrono::milliseconds kBusy{3000};
constexpr const char *kCachePragma = "PRAGMA cache_size = -16384";  // 16 MiB

// {0}: the file, {1}: SQLite's own words, {2}: the system's.
// clang-format off
constexpr struct {
    int code;
    const char *words;
} kFaults[] = {
    {SQLITE_BUSY,     "database {0} is locked: another program holds it; end that program, or run the job when it is done"},
    {SQLITE_LOCKED,   "database {0} is locked: another program holds it; end that program, or run the job when it is done"},
    {SQLITE_READONLY, "database {0} can't be written: the file or its folder is read-only; give this user the right to write both"},
    {SQLITE_CANTOPEN, "database {0} can't be opened: {1} ({2}); this user needs the right to read and write the file and to make files in its folder"},
    {SQLITE_PERM,     "database {0} can't be opened: {1} ({2}); this user needs the right to read and write the file and to make files in its folder"},
    {SQLITE_FULL,     "database {0} can't grow: no space is left on its disk; make room and run the job again"},
    {SQLITE_IOERR,    "database {0} can't be read or written: {1} ({2})"},
    {SQLITE_NOTADB,   "file {0} is not an SQLite database; give file another name, or move that file away"},
    {SQLITE_CORRUPT,  "database {0} is damaged: {1}; \"PRAGMA integrity_check\" tells more"},
};
// clang-format on

}  // namespace

SqliteDatabase::SqliteDatabase(const std::filesystem::path &file, Access access)
    : SqliteDatabase(Quoted(file.string()), file.c_str(), access)
{
    if (access != Access::Write)
        Run("PRAGMA query_only = 1");
}

SqliteDatabase SqliteDatabase::InMemory() { return {"in memory", ":memory:", Access::Write}; }

SqliteDatabase::SqliteDatabase(std::string shown, const char *name, Access access)
    : shown_(std::move(shown)), access_(access)
{
    sqlite3 *connection = nullptr;
    const int code =
        sqlite3_open_v2(name, &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection_.reset(connection);
    if (connection == nullptr)
        Throw(fmt::format("database {} can't be opened: {}", shown_, sqlite3_errstr(code)));
    sqlite3_extended_result_codes(connection, 1);
    if (code != SQLITE_OK)
        Fail();
    WaitForLocks(kBusy);
    Run(kCachePragma);
}

void SqliteDatabase::Run(const std::string &sql)
{
    if (sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        Fail();
}

SqliteStatement SqliteDatabase::Prepare(const std::string &sql)
{
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v3(get(), sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK)
        Fail();
    return SqliteStatement(statement);
}

bool SqliteDatabase::Step(const SqliteStatement &statement)
{
    const int code = sqlite3_step(statement.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        Fail();
    return code == SQLITE_ROW;
}

void SqliteDatabase::WaitForLocks(std::chrono::milliseconds longest)
{
    sqlite3_busy_timeout(get(), static_cast<int>(longest.count()));
}

void SqliteDatabase::RollBack() noexcept
{
    if (InTransaction())
        sqlite3_exec(get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteDatabase::Fail() const
{
    const int code = sqlite3_extended_errcode(get()) & 0xFF;
    const char *system = strerror(sqlite3_system_errno(get()));
    for (const auto &fault : kFaults) {
        if (fault.code == code)
            Throw(fmt::format(fmt::runtime(fault.words), shown_, Words(), system));
    }
    Throw(fmt::format("database {}: {}", shown_, Escaped(Words())));
}

void SqliteDatabase::Throw(const std::string &words) const
{
    if (access_ == Access::Read)
        throw SourceError(words);
    throw TargetError(words);
}

std::string SqliteText(const SqliteStatement &row, int column)
{
    const void *text = sqlite3_column_text(row.get(), column);
    return text != nullptr ? static_cast<const char *>(text) : "";
}

void BindSqliteText(const SqliteStatement &statement, int at, const std::string &text)
{
    sqlite3_bind_text(statement.get(), at, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

}  // namespace fenwire
