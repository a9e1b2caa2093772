// host/targets/sqlite_target.cpp - rows into a table of an SQLite database.
//
//     Open     BEGIN IMMEDIATE, make the table or compare it, empty it when asked
//     Put      inserts (sqlite_inserts.cpp)
//     Commit   the generation into a table beside the rows, COMMIT
//     GoOn     BEGIN IMMEDIATE
//     Abort    ROLLBACK; a file that Open made and that is still empty goes too
//
// Rows and the generation that counts on them are one transaction, so the database holds both or neither,
// also when this process is killed: SQLite's journal restores the file when it is opened next.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/sqlite_checkpoints.h"
#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/sqlite/sqlite_columns.h"
#include "host/sqlite/sqlite_database.h"
#include "host/sqlite/sqlite_table.h"
#include "host/targets/kinds.h"
#include "host/targets/sqlite_inserts.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using SqliteAccess = SqliteDatabase::Access;

// Programs that still read are waited for at the end, as long as the job has taken within these limits.
constexpr std::chrono::milliseconds kShortestCommitWait{3000}, kLongestCommitWait{60'000};

// A journal that was deleted could come back with the power and undo a commit that the job has counted on
// elsewhere: its end is noted, files of bad records are gone. So its folder is synced with each commit.
void CommitForGood(SqliteDatabase &database) { database.Run("PRAGMA synchronous = EXTRA"); }

void RequireCharset(const std::string &charset)
{
    if (IsSqliteCharset(charset))
        return;
    throw TargetError(
        fmt::format("data in the character set {} can't go to SQLite in this version; "
                    "ASCII, UTF8 and UTF16 can",
                    Quoted(charset)));
}

// Whether the rows come from the database that they go to.
bool IsOwnSource(const Job &job)
{
    std::error_code none;
    return job.source_type == job.target_type &&
           fs::equivalent(PathSetting(job, job.source, "file"),
                          PathSetting(job, job.target, "file"), none);
}

// Who reads keeps others from writing, unless there is a log to write to.
void RequireLog(SqliteDatabase &database, const fs::path &file)
{
    const SqliteStatement mode = database.Prepare("PRAGMA journal_mode");
    if (!database.Step(mode) || SqliteText(mode, 0) != "wal")
        throw TargetError(
            fmt::format("database {} is the source, too: as long as it is read nothing can be "
                        "written to it, unless \"PRAGMA journal_mode = WAL\" was set; set it, or "
                        "give the target another file",
                        Quoted(file.string())));
}

class SqliteTarget final : public Target {
public:
    explicit SqliteTarget(const Job &job)
        : job_(job), file_(PathSetting(job, job.target, "file")),
          table_(SettingOr<std::string>(job.target, "table", {})),
          create_(SettingOr(job.target, "create", true)),
          replace_(SettingOr(job.target, "replace", false)), inserts_(job, file_, table_)
    {
    }
    ~SqliteTarget() override { Abort(); }

    void Check() override
    {
        RequireCharset(job_.charset);
        if (!FileIsThere()) {
            TryCreating();
            return;
        }
        SqliteDatabase database(file_, SqliteAccess::Look);
        if (IsOwnSource(job_))
            RequireLog(database, file_);
        if (HasSqliteTable(database, table_)) {
            CompareSqliteTable(database, table_, job_);
            return;
        }
        RequireCreate(database);
        TryCreating();
    }

    void Open(Start start) override
    {
        try {
            Begin(start);
        } catch (...) {
            Abort();
            throw;
        }
    }

    void Put(int instance, const RowBatch &rows) override { inserts_.Put(instance, rows); }

    // A row is inserted before Put returns, so the table has refused what it would.
    uint64_t Settle() override { return inserts_.Report().refused; }

    TargetReport Commit(const StoredGeneration *generation) override
    {
        if (generation != nullptr)
            SqliteCheckpoints(*database_).Save(*generation);
        WaitForOthers();
        database_->Run("COMMIT");
        made_file_ = false;
        if (generation == nullptr)
            Close();
        return inserts_.Report();
    }

    void GoOn() override
    {
        WaitForOthers();
        database_->Run("BEGIN IMMEDIATE");
    }

    void Abort() noexcept override
    {
        if (database_)
            database_->RollBack();
        Close();
        struct stat info;
        if (made_file_ && stat(file_.c_str(), &info) == 0 && info.st_size == 0)
            unlink(file_.c_str());
        made_file_ = false;
    }

private:
    void Close() noexcept
    {
        inserts_.End();
        database_.reset();
    }

    // Who reads or writes at this moment must not cost a long job its rows.
    void WaitForOthers()
    {
        const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begun_);
        database_->WaitForLocks(std::clamp(taken, kShortestCommitWait, kLongestCommitWait));
    }

    // Whether the database is there; throws when it could neither be used nor made.
    bool FileIsThere() const
    {
        const std::string shown = Quoted(file_.string());
        const fs::path folder = file_.parent_path();
        struct stat info;
        if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            throw TargetError(
                fmt::format("the folder {} of database {} is not there; make it first",
                            Quoted(folder.string()), Quoted(file_.filename().string())));
        if (access(folder.c_str(), W_OK | X_OK) != 0)
            throw TargetError(fmt::format("folder {} can't be written: {}; SQLite makes its "
                                          "journal there",
                                          Quoted(folder.string()), strerror(errno)));
        if (stat(file_.c_str(), &info) != 0) {
            if (errno == ENOENT && create_)
                return false;
            throw TargetError(fmt::format("database {} can't be opened: {}{}", shown,
                                          strerror(errno),
                                          create_ ? "" : "; create = true would make it"));
        }
        if (!S_ISREG(info.st_mode))
            throw TargetError(fmt::format("{} is no plain file, so it is no database", shown));
        if (access(file_.c_str(), R_OK | W_OK) != 0)
            throw TargetError(
                fmt::format("database {} can't be written: {}", shown, strerror(errno)));
        return true;
    }

    void MakeFile()
    {
        const int fd = open(file_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0 && errno != EEXIST)
            throw TargetError(fmt::format("database {} can't be made: {}", Quoted(file_.string()),
                                          strerror(errno)));
        made_file_ = fd >= 0;
        if (fd >= 0)
            close(fd);
    }

    void TryCreating() const
    {
        SqliteDatabase nowhere = SqliteDatabase::InMemory();
        CreateSqliteTable(nowhere, table_, job_);
    }

    void RequireCreate(SqliteDatabase &database) const
    {
        if (!create_)
            throw TargetError(NoSqliteTable(database, table_) + "; create = true would make it");
    }

    void Begin(Start start)
    {
        RequireCharset(job_.charset);
        begun_ = std::chrono::steady_clock::now();
        const bool there = FileIsThere();
        if (!there && start == Start::Again)
            Gone("the database is not there any more");
        if (!there)
            MakeFile();
        database_.emplace(file_, SqliteAccess::Write);
        CommitForGood(*database_);
        database_->Run("BEGIN IMMEDIATE");
        const bool has_table = HasSqliteTable(*database_, table_);
        if (!has_table && start == Start::Again)
            Gone("the table is not there any more");
        if (!has_table) {
            RequireCreate(*database_);
            CreateSqliteTable(*database_, table_, job_);
        }
        inserts_.Begin(*database_, CompareSqliteTable(*database_, table_, job_));
        if (replace_ && start == Start::Anew)
            database_->Run(fmt::format("DELETE FROM main.{}", SqlName(table_)));
    }

    [[noreturn]] void Gone(const char *what) const
    {
        throw TargetError(fmt::format("the job can't go on in table {} of {}: {}; bring it back, "
                                      "or begin anew with fenwire run --fresh",
                                      Quoted(table_), Quoted(file_.string()), what));
    }

    Job job_;
    fs::path file_;
    std::string table_;
    bool create_, replace_;
    SqliteInserts inserts_;
    bool made_file_ = false;
    std::chrono::steady_clock::time_point begun_;
    std::optional<SqliteDatabase> database_;
};

}  // namespace

void CheckSqliteSettings(const Job &job, std::vector<Complaint> &found)
{
    const std::string table = SettingOr<std::string>(job.target, "table", {});
    if (UpperCase(table).starts_with("SQLITE_"))
        found.push_back({PositionOf(job.target, job.target_at, "table"),
                         fmt::format("{} can't be the table: SQLite keeps such names for itself",
                                     Quoted(table)),
                         "give it a name that does not begin with sqlite_"});
    if (SameWord(table, kCheckpointTable))
        found.push_back({PositionOf(job.target, job.target_at, "table"),
                         fmt::format("{} can't be the table: checkpoints are kept under this name",
                                     Quoted(table)),
                         "give it another name"});
    for (const Column &column : job.columns) {
        if (!column.sql_type.empty() && !IsSqliteType(column.sql_type))
            found.push_back({column.at,
                             fmt::format("sql_type {} of column {} is no type for SQLite",
                                         Quoted(column.sql_type), Quoted(column.name)),
                             "such as \"INTEGER\" or \"DECIMAL(10,2) NOT NULL\""});
    }
}

// Each checkpoint would change what is read, and a resume finds nothing as it was.
CheckpointPlace SqlitePlace(const Job &job)
{
    return IsOwnSource(job) ? CheckpointPlace::None : CheckpointPlace::Within;
}

// What takes values: the table computes the others itself.
std::vector<Column> SqliteTargetColumns(const Job &job)
{
    const fs::path file = PathSetting(job, job.target, "file");
    if (access(file.c_str(), F_OK) != 0)
        throw TargetError(fmt::format("database {} has no columns yet: it can't be opened: {}",
                                      Quoted(file.string()), strerror(errno)));
    SqliteDatabase database(file, SqliteAccess::Look);
    const auto table = SettingOr<std::string>(job.target, "table", {});
    const SqliteRelation relation = SqliteTableNamed(database, table);
    std::vector<Column> columns = ColumnsOf(database, relation);
    for (size_t i = columns.size(); i-- > 0;) {
        if (relation.computed[i])
            columns.erase(columns.begin() + static_cast<ptrdiff_t>(i));
    }
    return ColumnsForFormat(job, std::move(columns));
}

std::optional<StoredGeneration> FindInSqlite(const Job &job, const std::string &run,
                                             bool /*at_work*/)
{
    const fs::path file = PathSetting(job, job.target, "file");
    if (access(file.c_str(), F_OK) != 0 && errno == ENOENT)
        return std::nullopt;
    SqliteDatabase database(file, SqliteAccess::Look);
    return SqliteCheckpoints(database).Find(job, run);
}

void ForgetInSqlite(const Job &job, const std::string &run)
{
    if (!FindInSqlite(job, run))
        return;
    SqliteDatabase database(PathSetting(job, job.target, "file"), SqliteAccess::Write);
    CommitForGood(database);
    database.Run("BEGIN IMMEDIATE");
    SqliteCheckpoints(database).Forget(job, run);
    database.Run("COMMIT");
}

std::unique_ptr<Target> MakeSqliteTarget(const Job &job)
{
    return std::make_unique<SqliteTarget>(job);
}

}  // namespace fenwire
