// host/sqlite/sqlite_database.h - a connection to an SQLite database, whose errors are words for users.

#ifndef FENWIRE_HOST_SQLITE_SQLITE_DATABASE_H
#define FENWIRE_HOST_SQLITE_SQLITE_DATABASE_H

#include <chrono>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>

namespace fenwire {

struct SqliteFinalize {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using SqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteFinalize>;

// Members throw but where it is said: SourceError from a connection to read, TargetError from others.
class SqliteDatabase {
public:
    // Look and Read change nothing in the database. Their connection could write all the same: only such a
    // one restores what a program left that was cut off, and takes the files away that WAL mode needs.
    enum class Access : uint8_t { Look, Write, Read };

    // The file must be there. A lock of another program is waited for, see WaitForLocks.
    SqliteDatabase(const std::filesystem::path &file, Access access);
    static SqliteDatabase InMemory();

    sqlite3 *get() const { return connection_.get(); }
    void Run(const std::string &sql);
    SqliteStatement Prepare(const std::string &sql);
    bool Step(const SqliteStatement &statement);           // whether there is a row
    void WaitForLocks(std::chrono::milliseconds longest);  // from now on; 3 s before the first call
    bool InTransaction() const { return sqlite3_get_autocommit(get()) == 0; }
    void RollBack() noexcept;

    // The last error in words, with the remedy.
    [[noreturn]] void Fail() const;
    [[noreturn]] void Throw(const std::string &words) const;
    std::string Words() const { return sqlite3_errmsg(get()); }

private:
    SqliteDatabase(std::string shown, const char *name, Access access);

    struct Close {
        void operator()(sqlite3 *connection) const { sqlite3_close(connection); }
    };
    std::string shown_;
    Access access_;
    std::unique_ptr<sqlite3, Close> connection_;
};

// Text of a row's column; empty for NULL.
std::string SqliteText(const SqliteStatement &row, int column);
void BindSqliteText(const SqliteStatement &statement, int at, const std::string &text);

}  // namespace fenwire

#endif
