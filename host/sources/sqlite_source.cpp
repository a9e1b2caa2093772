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
//
// The place of a part, for a run that goes on: the last row id, since by row id rows are read in its order; of all
// others their number and sum. With it goes the state of the database: what was read and what is left must belong
// together, in all parts.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/sources/key_range.h"
#include "host/sources/kinds.h"
#include "host/sources/named_columns.h"
#include "host/sources/rows_seen.h"
#include "host/sources/sqlite_rows.h"
#include "host/sources/sqlite_state.h"
#include "host/sqlite/sqlite_columns.h"
#include "host/sqlite/sqlite_database.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

constexpr const char *kTrustNoSchema = "PRAGMA trusted_schema = 0";
// A table's pages are read once. A cache that stays in the processor's own is faster than a large one, and than
// pages that are mapped, where each row waits for memory.
constexpr const char *kSmallCache = "PRAGMA cache_size = -400";
constexpr const char *kRowFunction = "fenwire_row";
constexpr int kRangesOfPart = 32;

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
        Prepare(job_.source_instances > 1 ? 2 : 1, job_.source_instances);
        statement_.reset();
        database_.reset();
    }

    void Open(int part, int parts) override
    {
        part_ = part;
        Connect();
        snapshot_.Begin(*database_, file_, parts);
        Prepare(part, parts);
    }

    bool Read(RowOutlet &rows) override
    {
        snapshot_.RequireSameOfAll();
        for (size_t bytes = 0; bytes < kBatchBytes; bytes += written_) {
            if (!ReadRow(rows))
                return false;
        }
        if (by_row_id_)
            last_ = sqlite3_column_int64(statement_.get(), RowIdColumn());
        return true;
    }

    std::optional<std::string> Position() override
    {
        const std::string place = !by_row_id_ ? seen_.Text()
                                  : last_     ? fmt::format("behind {}", *last_)
                                              : "begin";
        return snapshot_.state().Text() + " " + place;
    }

    void GoTo(const std::string &position) override
    {
        PositionReader place(position);
        const SqliteState before = SqliteState::From(place);
        if (before != snapshot_.state() || !before.certain)
            throw SourceError(fmt::format(
                "database {} was written since the job began to read it, so rows could be lost or "
                "come twice; the job can only begin anew",
                Quoted(file_.string())));
        const std::string_view how = place.Word();
        if (how == "rows" && !by_row_id_)
            seen_.Repeat(place, RowLayout(job_.columns),
                         [this](RowOutlet &rows) { return ReadRow(rows); });
        else if (how == "behind" && by_row_id_)
            GoBehind(place);
        else if (how != "begin" || !by_row_id_)
            place.Refuse();
        place.End();
    }

private:
    // Hot. False: there is none.
    bool ReadRow(RowOutlet &rows)
    {
        to_ = rows.Reserve();
        while (!database_->Step(statement_)) {
            if (!NextRange())
                return false;
        }
        if (!by_function_)
            WriteRow(rows_.ValuesOf(statement_.get()));
        if (written_ == 0) [[unlikely]]
            Refuse();
        if (!by_row_id_)
            seen_.Add(to_, written_);
        rows.Append(written_);
        return true;
    }

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
        database_->WaitForLocks(kLongestSqliteWait);
        database_->Run(kTrustNoSchema);
        relation_ =
            table_.empty() ? SqliteQuery(*database_, query_) : SqliteTableNamed(*database_, table_);
        if (!relation_.row_id.empty() && split_.empty())
            database_->Run(kSmallCache);
        UseFunction();
    }

    std::string ColumnList() const
    {
        std::string list;
        for (const Column &column : job_.columns) {
            list += list.empty() ? "" : ", ";
            list += SqlName(relation_.names[FindNamedColumn(relation_.names, column.name, What())]);
        }
        return list;
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
                                              What(), Quoted(split_), ShownNames(relation_.names)));
            return SqlName(*name);
        }
        if (relation_.row_id.empty())
            throw SourceError(fmt::format("{} has no row id to split it by: name an integer "
                                          "column with split, or run it with one instance",
                                          What()));
        return relation_.row_id;
    }

    KeyRange RangeOf(const std::string &split)
    {
        const SqliteStatement row = database_->Prepare(
            table_.empty()
                ? fmt::format("SELECT min({0}), max({0}) FROM {1}", split, relation_.sql)
                : fmt::format("SELECT (SELECT min({0}) FROM {1}), (SELECT max({0}) FROM {1})",
                              split, relation_.sql));
        KeyRange range;
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

    void Prepare(int part, int parts)
    {
        const std::string columns = ColumnList();
        std::string sql = by_function_ ? fmt::format("SELECT {}({})", kRowFunction, columns)
                                       : fmt::format("SELECT {}", columns);
        if (!relation_.row_id.empty())
            sql += fmt::format(", {}", relation_.row_id);
        sql += fmt::format(" FROM {}", relation_.sql);
        by_row_id_ = relation_.in_row_id_order && split_.empty();
        if (by_row_id_) {
            PrepareByRowId(sql + " NOT INDEXED", part, parts);
            return;
        }
        if (parts == 1) {
            statement_ = database_->Prepare(sql);
            return;
        }
        const std::string split = SplitExpression();
        const KeyRange range = RangeOf(split);
        if (split_.empty()) {
            statement_ = database_->Prepare(sql + WhereRange(split));
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

    // Without an index SQLite walks the table itself, so that the order costs nothing.
    void PrepareByRowId(const std::string &sql, int part, int parts)
    {
        const std::string &id = relation_.row_id;
        statement_ = database_->Prepare(fmt::format("{}{} ORDER BY {}", sql, WhereRange(id), id));
        if (parts == 1)
            ranges_ = {
                {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(), false}};
        else
            TakeRanges(RangeOf(id), part, parts);
    }

    // Before the first range is bound it is from NULL to NULL, where no row is.
    static std::string WhereRange(const std::string &split)
    {
        return fmt::format(" WHERE {} BETWEEN ?1 AND ?2", split);
    }

    // The part's ranges of row ids, in ascending order.
    void TakeRanges(const KeyRange &all, int part, int parts)
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
        if (next_range_ > 0)
            last_ = ranges_[next_range_ - 1].high;
        if (next_range_ == ranges_.size())
            return false;
        const KeyRange &range = ranges_[next_range_++];
        sqlite3_reset(statement_.get());
        sqlite3_bind_int64(statement_.get(), 1, range.low);
        sqlite3_bind_int64(statement_.get(), 2, range.high);
        return true;
    }

    // The row id must be one of this part.
    void GoBehind(PositionReader &place)
    {
        last_ = place.Whole<int64_t>();
        const auto holder = std::ranges::find_if(ranges_, [&](const KeyRange &range) {
            return range.low <= *last_ && *last_ <= range.high;
        });
        if (holder == ranges_.end())
            place.Refuse();
        const bool whole = holder->high == *last_;
        if (!whole)
            holder->low = *last_ + 1;
        ranges_.erase(ranges_.begin(), whole ? holder + 1 : holder);
    }

    int RowIdColumn() const { return by_function_ ? 1 : static_cast<int>(job_.columns.size()); }

    [[noreturn]] void Refuse()
    {
        const std::string where =
            relation_.row_id.empty()
                ? fmt::format("row {} of instance {}", seen_.count() + 1, part_)
                : fmt::format("row id {}", sqlite3_column_int64(statement_.get(), RowIdColumn()));
        throw SourceError(
            fmt::format("{} of {}, {}, {}", What(), Quoted(file_.string()), where, fault_));
    }

    Job job_;
    fs::path file_;
    std::string table_, query_, split_;
    int part_ = 1;
    SqliteRelation relation_;
    SqliteRows rows_;
    std::optional<SqliteDatabase> database_;
    SqliteSnapshot snapshot_;
    SqliteStatement statement_;
    bool by_function_ = false;  // see UseFunction
    std::vector<KeyRange> ranges_;
    size_t next_range_ = 0;
    uint8_t *to_ = nullptr;  // where the next row goes
    size_t written_ = 0;     // of the row that was made last
    std::string fault_;
    bool by_row_id_ = false;       // rows come in the order of the row id
    std::optional<int64_t> last_;  // row id: so far this part is done
    RowsSeen seen_;                // without by_row_id_
};

}  // namespace

void CheckSqliteSourceSettings(const Job &job, std::vector<Complaint> &found)
{
    CheckTableOrQuery(job, "split", found);
}

std::vector<Column> SqliteSourceColumns(const Job &job)
{
    SqliteDatabase database(FileOf(job), SqliteDatabase::Access::Read);
    database.Run(kTrustNoSchema);
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
