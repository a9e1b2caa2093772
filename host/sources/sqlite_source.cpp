// host/sources/sqlite_source.cpp - rows of a table or a query of an SQLite database.
//
//     Check    opens, finds the columns, prepares the statement
//     Open     begins to read: from now on this part sees one state of the database
//     Read     steps, and writes each row straight into the outlet
//
// A table's columns are no result row but the arguments of a function of ours, which writes the row while SQLite
// has its values at hand: that spares the questions for each column. A query or a view may sort its rows or cut
// them off, and SQLite would call a function before; their rows are taken as they result.
//
// Parts are ranges of an integer. By row id each part has many, so that neither gaps nor rows that grow give one
// more than its share. By a column each has one; the first takes NULL too, and the last has no upper end. So every
// row belongs to exactly one. All parts are open before any reads. In the usual journal mode nobody can write while
// one is open. In WAL mode a program can write between two openings; so a second connection looks, when the first
// rows are read, whether anything was committed since this part's state. If none of the parts sees a commit, all
// of them see the same state.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/sources/kinds.h"
#include "host/sources/sqlite_rows.h"
#include "host/sqlite/sqlite_columns.h"
#include "host/sqlite/sqlite_database.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

constexpr size_t kBatchBytes = 64 * 1024;
constexpr std::chrono::milliseconds kLongestWait{10'000};
constexpr const char *kPrepareReading = "PRAGMA trusted_schema = 0";
// A table's pages are read once. A cache that stays in the processor's own is faster than a large one, and than
// pages that are mapped, where each row waits for memory.
constexpr const char *kSmallCache = "PRAGMA cache_size = -400";
constexpr const char *kRowFunction = "fenwire_row";
constexpr int kRangesOfPart = 32;
constexpr int kTriesToBegin = 5;

struct Range {
    int64_t low = 0, high = 0;  // of the split values; both ends belong to it
    bool empty = true;

    // Where part 1, 2 .. begins.
    int64_t BoundBefore(int part, int parts) const
    {
        __extension__ using Wide = unsigned __int128;
        const uint64_t span = static_cast<uint64_t>(high) - static_cast<uint64_t>(low);
        const auto offset = static_cast<uint64_t>(
            (static_cast<Wide>(span) + 1) * static_cast<Wide>(part - 1) / static_cast<Wide>(parts));
        return static_cast<int64_t>(static_cast<uint64_t>(low) + offset);
    }
};

fs::path FileOf(const Job &job)
{
    fs::path file = PathSetting(job, job.source, "file");
    struct stat info;
    if (stat(file.c_str(), &info) != 0)
        throw SourceError(
            fmt::format("database {} can't be opened: {}", Quoted(file.string()), strerror(errno)));
    if (!S_ISREG(info.st_mode))
        throw SourceError(
            fmt::format("{} is no plain file, so it is no database", Quoted(file.string())));
    if (access(file.c_str(), R_OK) != 0)
        throw SourceError(
            fmt::format("database {} can't be read: {}", Quoted(file.string()), strerror(errno)));
    return file;
}

class SqliteSource final : public Source {
public:
    explicit SqliteSource(const Job &job)
        : job_(job), table_(SettingOr<std::string>(job.source, "table", {})),
          query_(SettingOr<std::string>(job.source, "query", {})),
          split_(SettingOr<std::string>(job.source, "split", {})),
          rows_(job.columns, IsUtf16(job.charset))
    {
    }

    void Check() override
    {
        Connect();
        Prepare(job_.source_instances > 1 ? 2 : 1, std::max(2, job_.source_instances));
        statement_.reset();
        database_.reset();
    }

    void Open(int part, int parts) override
    {
        part_ = part;
        Connect();
        BeginReading(parts);
        Prepare(parts > 1 ? part : 0, parts);
    }

    bool Read(RowOutlet &rows) override
    {
        if (watch_)
            RequireSameState();
        for (size_t bytes = 0; bytes < kBatchBytes;) {
            to_ = rows.Reserve();
            if (!database_->Step(statement_)) {
                if (!NextRange())
                    return false;
                continue;
            }
            if (!by_function_)
                WriteRow(rows_.ValuesOf(statement_.get()));
            if (written_ == 0) [[unlikely]]
                Refuse(rows.rows());
            rows.Append(written_);
            bytes += written_;
        }
        return true;
    }

private:
    // Hot. 0 bytes: the row can't be, for a reason that stands in fault_.
    void WriteRow(SqliteRows::Values values)
    {
        written_ = rows_.Write(values, to_);
        if (written_ == 0) [[unlikely]]
            fault_ = rows_.Fault(values);
    }

    // SQLite is C, through which no exception passes.
    static void RowFunction(sqlite3_context *context, int count, sqlite3_value **values) noexcept
    {
        auto *self = static_cast<SqliteSource *>(sqlite3_user_data(context));
        self->written_ = 0;
        try {
            self->WriteRow({values, static_cast<size_t>(count)});
        } catch (const std::exception &) {
            sqlite3_result_error_nomem(context);
        }
    }

    // Of a table whose columns are no more than a function's arguments. Nothing in the database may call it.
    void UseFunction()
    {
        const auto columns = static_cast<int>(job_.columns.size());
        if (relation_.row_id.empty() ||
            columns > sqlite3_limit(database_->get(), SQLITE_LIMIT_FUNCTION_ARG, -1))
            return;
        by_function_ = sqlite3_create_function_v2(
                           database_->get(), kRowFunction, columns, SQLITE_UTF8 | SQLITE_DIRECTONLY,
                           this, RowFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    void Connect()
    {
        if (!IsSqliteCharset(job_.charset))
            throw SourceError(
                fmt::format("data of SQLite can't have the character set {} in this version; "
                            "ASCII, UTF8 and UTF16 can",
                            Quoted(job_.charset)));
        file_ = FileOf(job_);
        database_.emplace(file_, SqliteDatabase::Access::Read);
        database_->WaitForLocks(kLongestWait);
        database_->Run(kPrepareReading);
        relation_ =
            table_.empty() ? SqliteQuery(*database_, query_) : SqliteTableNamed(*database_, table_);
        if (!relation_.row_id.empty() && split_.empty())
            database_->Run(kSmallCache);
        UseFunction();
    }

    // A state of the database that nobody changed while it was being taken.
    void BeginReading(int parts)
    {
        if (parts > 1) {
            watch_.emplace(file_, SqliteDatabase::Access::Read);
            watch_->WaitForLocks(kLongestWait);
        }
        for (int tries = 0; tries < kTriesToBegin; ++tries) {
            state_ = watch_ ? Number(*watch_, "PRAGMA data_version") : 0;
            database_->Run("BEGIN; SELECT 1 FROM main.sqlite_schema LIMIT 1");
            if (!watch_ || Number(*watch_, "PRAGMA data_version") == state_)
                return;
            database_->RollBack();
        }
        throw SourceError(fmt::format("database {} is being written all the time; run the job "
                                      "with one instance, or when the other program is done",
                                      Quoted(file_.string())));
    }

    void RequireSameState()
    {
        if (Number(*watch_, "PRAGMA data_version") != state_)
            throw SourceError(fmt::format("database {} was changed while the instances began to "
                                          "read, so they would see different rows; run the job "
                                          "again, or with one instance",
                                          Quoted(file_.string())));
        watch_.reset();
    }

    static int64_t Number(SqliteDatabase &database, const std::string &sql)
    {
        const SqliteStatement row = database.Prepare(sql);
        return database.Step(row) ? sqlite3_column_int64(row.get(), 0) : 0;
    }

    std::string ColumnList() const
    {
        std::string list;
        for (const Column &column : job_.columns) {
            const auto same = [&](const std::string &name) { return SameWord(name, column.name); };
            const auto count = std::ranges::count_if(relation_.names, same);
            if (count != 1)
                throw SourceError(fmt::format("{} has {} {}; it has {}", What(),
                                              count == 0 ? "no column" : "several columns",
                                              Quoted(column.name), Shown(relation_.names)));
            list += list.empty() ? "" : ", ";
            list += SqlName(*std::ranges::find_if(relation_.names, same));
        }
        return list;
    }

    static std::string Shown(const std::vector<std::string> &names)
    {
        std::string shown;
        for (const std::string &name : names)
            shown += (shown.empty() ? "" : ", ") + Escaped(name);
        return shown;
    }

    std::string What() const
    {
        return table_.empty() ? fmt::format("query {}", Quoted(query_))
                              : fmt::format("table {}", Quoted(table_));
    }

    // What the parts are ranges of.
    std::string SplitExpression() const
    {
        if (!split_.empty()) {
            const auto name = std::ranges::find_if(
                relation_.names, [&](const std::string &n) { return SameWord(n, split_); });
            if (name == relation_.names.end())
                throw SourceError(fmt::format("{} has no column {} to split it by; it has {}",
                                              What(), Quoted(split_), Shown(relation_.names)));
            return SqlName(*name);
        }
        if (relation_.row_id.empty())
            throw SourceError(fmt::format("{} has no row id to split it by: name an integer "
                                          "column with split, or run it with one instance",
                                          What()));
        return relation_.row_id;
    }

    Range RangeOf(const std::string &split)
    {
        const SqliteStatement row = database_->Prepare(
            table_.empty()
                ? fmt::format("SELECT min({0}), max({0}) FROM {1}", split, relation_.sql)
                : fmt::format("SELECT (SELECT min({0}) FROM {1}), (SELECT max({0}) FROM {1})",
                              split, relation_.sql));
        Range range;
        if (!database_->Step(row) || sqlite3_column_type(row.get(), 0) == SQLITE_NULL)
            return range;
        if (sqlite3_column_type(row.get(), 0) != SQLITE_INTEGER ||
            sqlite3_column_type(row.get(), 1) != SQLITE_INTEGER)
            throw SourceError(fmt::format("{} can't be split by {}: it holds values that are no "
                                          "whole numbers ({} to {})",
                                          What(), Quoted(split_), Quoted(SqliteText(row, 0)),
                                          Quoted(SqliteText(row, 1))));
        range = {sqlite3_column_int64(row.get(), 0), sqlite3_column_int64(row.get(), 1), false};
        return range;
    }

    // part 0: all rows.
    void Prepare(int part, int parts)
    {
        const std::string columns = ColumnList();
        std::string sql = by_function_ ? fmt::format("SELECT {}({})", kRowFunction, columns)
                                       : fmt::format("SELECT {}", columns);
        if (!relation_.row_id.empty())
            sql += fmt::format(", {}", relation_.row_id);
        sql += fmt::format(" FROM {}", relation_.sql);
        if (part == 0 || job_.source_instances == 1) {
            statement_ = database_->Prepare(sql);
            return;
        }
        const std::string split = SplitExpression();
        const Range range = RangeOf(split);
        if (split_.empty()) {
            // Before the first range is bound it is from NULL to NULL, where no row is.
            statement_ =
                database_->Prepare(fmt::format("{} WHERE {} BETWEEN ?1 AND ?2", sql, split));
            TakeRanges(range, part, parts);
            return;
        }
        const bool first = part == 1, last = part == parts;
        if (range.empty) {  // there are rows without a split value at most
            statement_ = database_->Prepare(sql + (first ? "" : " WHERE 0"));
            return;
        }
        sql += first  ? fmt::format(" WHERE {0} < ?2 OR {0} IS NULL", split)
               : last ? fmt::format(" WHERE {} >= ?1", split)
                      : fmt::format(" WHERE {0} >= ?1 AND {0} < ?2", split);
        statement_ = database_->Prepare(sql);
        if (!first)
            sqlite3_bind_int64(statement_.get(), 1, range.BoundBefore(part, parts));
        if (!last)
            sqlite3_bind_int64(statement_.get(), 2, range.BoundBefore(part + 1, parts));
    }

    // The part's ranges of row ids, in ascending order.
    void TakeRanges(const Range &all, int part, int parts)
    {
        const int count = parts * kRangesOfPart;
        for (int i = part; i <= count && !all.empty; i += parts) {
            const int64_t low = all.BoundBefore(i, count);
            const bool last = i == count;
            if (last || all.BoundBefore(i + 1, count) != low)
                ranges_.push_back(
                    {low, last ? all.high : all.BoundBefore(i + 1, count) - 1, false});
        }
    }

    // Goes on with the next range; without one the part is done.
    bool NextRange()
    {
        if (next_range_ == ranges_.size())
            return false;
        const Range &range = ranges_[next_range_++];
        sqlite3_reset(statement_.get());
        sqlite3_bind_int64(statement_.get(), 1, range.low);
        sqlite3_bind_int64(statement_.get(), 2, range.high);
        return true;
    }

    [[noreturn]] void Refuse(uint64_t before)
    {
        const int row_id = by_function_ ? 1 : static_cast<int>(job_.columns.size());
        const std::string where =
            relation_.row_id.empty()
                ? fmt::format("row {} of instance {}", before + 1, part_)
                : fmt::format("row id {}", sqlite3_column_int64(statement_.get(), row_id));
        throw SourceError(
            fmt::format("{} of {}, {}, {}", What(), Quoted(file_.string()), where, fault_));
    }

    Job job_;
    fs::path file_;
    std::string table_, query_, split_;
    int part_ = 1;
    SqliteRelation relation_;
    SqliteRows rows_;
    std::optional<SqliteDatabase> database_, watch_;
    SqliteStatement statement_;
    bool by_function_ = false;  // see UseFunction
    std::vector<Range> ranges_;
    size_t next_range_ = 0;
    uint8_t *to_ = nullptr;  // where the next row goes
    size_t written_ = 0;     // of the row that was made last
    std::string fault_;
    int64_t state_ = 0;
};

}  // namespace

void CheckSqliteSourceSettings(const Job &job, std::vector<Complaint> &found)
{
    const Setting *table = FindSetting(job.source, "table");
    const Setting *query = FindSetting(job.source, "query");
    if ((table == nullptr) == (query == nullptr))
        found.push_back({query != nullptr ? query->at : job.source_at,
                         table == nullptr ? "the source has neither table nor query"
                                          : "table and query exclude each other",
                         "name the table, or give a query such as \"SELECT id, name FROM t\""});
    if (query != nullptr && job.source_instances > 1 && FindSetting(job.source, "split") == nullptr)
        found.push_back({query->at,
                         fmt::format("a query can't be read by {} instances as it stands",
                                     job.source_instances),
                         "name an integer column of its rows with split, or use one instance"});
}

std::vector<Column> SqliteSourceColumns(const Job &job)
{
    SqliteDatabase database(FileOf(job), SqliteDatabase::Access::Read);
    database.Run(kPrepareReading);
    const auto table = SettingOr<std::string>(job.source, "table", {});
    const SqliteRelation relation =
        table.empty() ? SqliteQuery(database, SettingOr<std::string>(job.source, "query", {}))
                      : SqliteTableNamed(database, table);
    return ColumnsForFormat(job, ColumnsOf(database, relation));
}

std::unique_ptr<Source> MakeSqliteSource(const Job &job)
{
    return std::make_unique<SqliteSource>(job);
}

}  // namespace fenwire
