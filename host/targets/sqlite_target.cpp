// host/targets/sqlite_target.cpp - rows into a table of an SQLite database.
//
//     Open     BEGIN IMMEDIATE, make the table or compare it, empty it when asked
//     Put      inserts of many rows at once, values bound where they lie
//     Commit   COMMIT
//     Abort    ROLLBACK; a file that Open made and that is still empty goes too
//
// The whole job is one transaction, so the database holds all of its rows or none, also when this
// process is killed: SQLite's journal restores the file when it is opened next.
//
// An insert of several rows saves most of what a statement costs. When one fails, its rows are tried one
// by one, so that the message can name the row.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/checkpoint/sqlite_checkpoints.h"
#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/sqlite/sqlite_columns.h"
#include "host/sqlite/sqlite_database.h"
#include "host/sqlite/sqlite_table.h"
#include "host/targets/kinds.h"
#include "host/targets/sqlite_binding.h"
#include "host/targets/text_check.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using Access = SqliteDatabase::Access;

constexpr size_t kRowsAtOnce[] = {48, 8, 1};

// Programs that still read are waited for at the end, as long as the job has taken within these limits.
constexpr std::chrono::milliseconds kShortestCommitWait{3000}, kLongestCommitWait{60'000};

// clang-format off
constexpr struct {
    int code;  // extended, or primary
    const char *remedy;
} kRowFaults[] = {
    {SQLITE_CONSTRAINT_PRIMARYKEY, "a row with this key is in the table already, or came earlier in this job"},
    {SQLITE_CONSTRAINT_ROWID,      "a row with this key is in the table already, or came earlier in this job"},
    {SQLITE_CONSTRAINT_UNIQUE,     "a row with this value is in the table already, or came earlier in this job"},
    {SQLITE_CONSTRAINT_NOTNULL,    "the column takes no NULL; give it a value, or let the table allow NULL"},
    {SQLITE_CONSTRAINT_CHECK,      "the table's own rule refuses the row"},
    {SQLITE_CONSTRAINT_FOREIGNKEY, "the row refers to one that is not there"},
    {SQLITE_CONSTRAINT_DATATYPE,   "the table is STRICT, and the value is not of the column's type"},
    {SQLITE_CONSTRAINT_TRIGGER,    "a trigger of the table refuses the row"},
    {SQLITE_MISMATCH,              "an INTEGER PRIMARY KEY takes whole numbers only"},
    {SQLITE_TOOBIG,                "the row is larger than the database allows"},
    {SQLITE_CONSTRAINT,            "the table refuses the row"},
};
// clang-format on

const char *RowFaultRemedy(int code)
{
    for (const auto &fault : kRowFaults) {
        if (fault.code == code || fault.code == (code & 0xFF))
            return fault.remedy;
    }
    return nullptr;
}

void RequireCharset(const std::string &charset)
{
    if (IsSqliteCharset(charset))
        return;
    throw TargetError(
        fmt::format("data in the character set {} can't go to SQLite in this version; "
                    "ASCII, UTF8 and UTF16 can",
                    Quoted(charset)));
}

class SqliteTarget final : public Target {
public:
    explicit SqliteTarget(const Job &job)
        : job_(job), file_(PathSetting(job, job.target, "file")),
          table_(SettingOr<std::string>(job.target, "table", {})),
          create_(SettingOr(job.target, "create", true)),
          replace_(SettingOr(job.target, "replace", false)), utf16_(IsUtf16(job.charset)),
          binding_(job)
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
        SqliteDatabase database(file_, Access::Look);
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

    void Put(int instance, const RowBatch &rows) override
    {
        if (rows_of_.size() <= static_cast<size_t>(instance))
            rows_of_.resize(static_cast<size_t>(instance) + 1);
        instance_ = instance;
        rows.ForEach([&](const RowRecord &row) {
            if (!utf16_)
                CheckText(row);
            waiting_[waits_++] = row;
            report_.bytes += row.data_bytes();
            if (waits_ == waiting_.size())
                InsertWaiting();
        });
        InsertWaiting();  // the records are gone after this
    }

    uint64_t Settle() override { return report_.refused; }

    TargetReport Commit(const StoredGeneration *generation) override
    {
        if (generation != nullptr)
            SqliteCheckpoints(*database_).Save(*generation);
        WaitForOthers();
        database_->Run("COMMIT");
        made_file_ = false;
        if (generation == nullptr)
            Close();
        if (report_.refused > 0)
            report_.note = fmt::format(
                "{} rows left out by ON CONFLICT rules or triggers of the table", report_.refused);
        report_.warning = text_check_.Warning();
        return report_;
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
        inserts_ = {};
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
        report_ = {};
        text_check_ = {};
        rows_of_.clear();
        const bool there = FileIsThere();
        if (!there && start == Start::Again)
            Gone("the database is not there any more");
        if (!there)
            MakeFile();
        database_.emplace(file_, Access::Write);
        database_->Run("BEGIN IMMEDIATE");
        const bool has_table = HasSqliteTable(*database_, table_);
        if (!has_table && start == Start::Again)
            Gone("the table is not there any more");
        if (!has_table) {
            RequireCreate(*database_);
            CreateSqliteTable(*database_, table_, job_);
        }
        binding_.Begin(CompareSqliteTable(*database_, table_, job_), kRowsAtOnce[0]);
        if (replace_ && start == Start::Anew)
            database_->Run(fmt::format("DELETE FROM main.{}", SqlName(table_)));
        PrepareInserts();
    }

    [[noreturn]] void Gone(const char *what) const
    {
        throw TargetError(fmt::format("the job can't go on in table {} of {}: {}; bring it back, "
                                      "or begin anew with fenwire run --fresh",
                                      Quoted(table_), Quoted(file_.string()), what));
    }

    // A statement has a limited number of values, so wide rows go in fewer at once, down to one.
    void PrepareInserts()
    {
        std::string names, marks;
        for (const Column &column : job_.columns) {
            names += (names.empty() ? "" : ", ") + SqlName(column.name);
            marks += marks.empty() ? "(?" : ", ?";
        }
        marks += ')';
        const auto most =
            static_cast<size_t>(sqlite3_limit(database_->get(), SQLITE_LIMIT_VARIABLE_NUMBER, -1));
        for (size_t i = 0; i < std::size(kRowsAtOnce); ++i) {
            if (kRowsAtOnce[i] > 1 && kRowsAtOnce[i] * job_.columns.size() > most)
                continue;
            std::string sql =
                fmt::format("INSERT INTO main.{} ({}) VALUES ", SqlName(table_), names);
            for (size_t row = 0; row < kRowsAtOnce[i]; ++row)
                sql += (row > 0 ? ", " : "") + marks;
            inserts_[i] = database_->Prepare(sql);
        }
    }

    // SQLite takes text for UTF-8, whatever it is given.
    void CheckText(const RowRecord &row)
    {
        const auto columns = static_cast<uint32_t>(job_.columns.size());
        const char *data = reinterpret_cast<const char *>(row.data(columns));
        if (TextCheck::IsPlain(data, row.data_bytes())) [[likely]]
            return;
        const uint64_t number = rows_of_[static_cast<size_t>(instance_)] + waits_ + 1;
        for (uint32_t i = 0; i < columns; ++i) {
            const uint32_t length = row.length(i);
            if (length == kNullColumn)
                continue;
            if (binding_.IsText(i))
                text_check_.Examine({data, length}, [&] {
                    return fmt::format("in column {}, row {} of instance {}",
                                       Quoted(job_.columns[i].name), number, instance_);
                });
            data += length;
        }
    }

    void InsertWaiting()
    {
        const size_t all = waits_;
        waits_ = 0;
        size_t from = 0;
        for (size_t i = 0; i < std::size(kRowsAtOnce); ++i) {
            for (; inserts_[i] && all - from >= kRowsAtOnce[i]; from += kRowsAtOnce[i])
                Insert(inserts_[i], &waiting_[from], kRowsAtOnce[i]);
        }
    }

    void Insert(const SqliteStatement &insert, const RowRecord *rows, size_t count)
    {
        int code = Try(insert, rows, count);
        if (code == SQLITE_DONE) {
            const auto taken = static_cast<uint64_t>(sqlite3_changes64(database_->get()));
            rows_of_[static_cast<size_t>(instance_)] += count;
            report_.rows += std::min<uint64_t>(taken, count);
            report_.refused += count - std::min<uint64_t>(taken, count);
            return;
        }
        if (RowFaultRemedy(code) == nullptr)
            database_->Fail();
        Refuse(code, rows, count);
    }

    int Try(const SqliteStatement &insert, const RowRecord *rows, size_t count)
    {
        int at = 0;
        for (size_t i = 0; i < count; ++i) {
            if (const int code = Bind(insert, at, rows[i], i); code != SQLITE_OK)
                return code;
        }
        sqlite3_step(insert.get());
        const int code = sqlite3_reset(insert.get());
        return code == SQLITE_OK ? SQLITE_DONE : code;
    }

    int Bind(const SqliteStatement &insert, int &at, const RowRecord &row, size_t waiting)
    {
        try {
            return binding_.Bind(insert.get(), at, row);
        } catch (const SqliteMisfit &misfit) {
            throw TargetError(fmt::format("table {} of {} can't take row {} of instance {}: {}",
                                          Quoted(table_), Quoted(file_.string()),
                                          rows_of_[static_cast<size_t>(instance_)] + waiting + 1,
                                          instance_, misfit.words));
        }
    }

    // One of the rows is refused: finds and names it.
    [[noreturn]] void Refuse(int code, const RowRecord *rows, size_t count)
    {
        const uint64_t before = rows_of_[static_cast<size_t>(instance_)];
        std::string words = database_->Words();
        size_t bad = count == 1 ? 0 : count;
        if (bad == count && database_->InTransaction()) {
            // Where the table's rule is ON CONFLICT FAIL, the rows before the bad one are in.
            bad = static_cast<size_t>(sqlite3_changes64(database_->get()));
            for (; bad < count; ++bad) {
                const int again = Try(inserts_.back(), &rows[bad], 1);
                if (again == SQLITE_DONE)
                    continue;
                code = again;
                words = database_->Words();
                break;
            }
        }
        const char *remedy = RowFaultRemedy(code);
        const std::string where = bad < count
                                      ? fmt::format("row {} of instance {} ({})", before + bad + 1,
                                                    instance_, ShowRow(rows[bad]))
                                      : fmt::format("one of the rows {} to {} of instance {}",
                                                    before + 1, before + count, instance_);
        throw TargetError(fmt::format("table {} of {} refuses {}: {}: {}", Quoted(table_),
                                      Quoted(file_.string()), where, Escaped(words),
                                      remedy != nullptr ? remedy : "the table refuses the row"));
    }

    // The first columns, cut.
    std::string ShowRow(const RowRecord &row) const
    {
        constexpr uint32_t kShownColumns = 3, kShownBytes = 30;
        const auto columns = static_cast<uint32_t>(job_.columns.size());
        const char *data = reinterpret_cast<const char *>(row.data(columns));
        std::string text;
        for (uint32_t i = 0; i < std::min(columns, kShownColumns); ++i) {
            text += fmt::format("{}{} ", i > 0 ? ", " : "", Escaped(job_.columns[i].name));
            const uint32_t length = row.length(i);
            if (length == kNullColumn) {
                text += "NULL";
                continue;
            }
            const std::string shown =
                binding_.Shown(i, reinterpret_cast<const uint8_t *>(data), length);
            text += fmt::format("\"{}\"{}", Escaped(shown.substr(0, kShownBytes)),
                                shown.size() > kShownBytes ? "..." : "");
            data += length;
        }
        return columns > kShownColumns ? text + ", .." : text;
    }

    Job job_;
    fs::path file_;
    std::string table_;
    bool create_, replace_, utf16_;
    SqliteBinding binding_;
    TextCheck text_check_;
    bool made_file_ = false;
    std::chrono::steady_clock::time_point begun_;
    std::optional<SqliteDatabase> database_;
    std::array<SqliteStatement, std::size(kRowsAtOnce)> inserts_;  // null: not for rows this wide
    std::array<RowRecord, kRowsAtOnce[0]> waiting_;
    size_t waits_ = 0;
    int instance_ = 0;
    std::vector<uint64_t> rows_of_;  // inserted, by instance
    TargetReport report_;
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
    for (const Column &column : job.columns) {
        if (!column.sql_type.empty() && !IsSqliteType(column.sql_type))
            found.push_back({column.at,
                             fmt::format("sql_type {} of column {} is no type for SQLite",
                                         Quoted(column.sql_type), Quoted(column.name)),
                             "such as \"INTEGER\" or \"DECIMAL(10,2) NOT NULL\""});
    }
}

// What takes values: the table computes the others itself.
std::vector<Column> SqliteTargetColumns(const Job &job)
{
    const fs::path file = PathSetting(job, job.target, "file");
    if (access(file.c_str(), F_OK) != 0)
        throw TargetError(fmt::format("database {} has no columns yet: it can't be opened: {}",
                                      Quoted(file.string()), strerror(errno)));
    SqliteDatabase database(file, Access::Look);
    const auto table = SettingOr<std::string>(job.target, "table", {});
    const SqliteRelation relation = SqliteTableNamed(database, table);
    std::vector<Column> columns = ColumnsOf(database, relation);
    for (size_t i = columns.size(); i-- > 0;) {
        if (relation.computed[i])
            columns.erase(columns.begin() + static_cast<ptrdiff_t>(i));
    }
    return ColumnsForFormat(job, std::move(columns));
}

std::optional<StoredGeneration> FindInSqlite(const Job &job, const std::string &run)
{
    const fs::path file = PathSetting(job, job.target, "file");
    if (access(file.c_str(), F_OK) != 0 && errno == ENOENT)
        return std::nullopt;
    SqliteDatabase database(file, Access::Look);
    return SqliteCheckpoints(database).Find(job, run);
}

void ForgetInSqlite(const Job &job, const std::string &run)
{
    if (!FindInSqlite(job, run))
        return;
    SqliteDatabase database(PathSetting(job, job.target, "file"), Access::Write);
    database.Run("BEGIN IMMEDIATE");
    SqliteCheckpoints(database).Forget(job, run);
    database.Run("COMMIT");
}

std::unique_ptr<Target> MakeSqliteTarget(const Job &job)
{
    return std::make_unique<SqliteTarget>(job);
}

}  // namespace fenwire
