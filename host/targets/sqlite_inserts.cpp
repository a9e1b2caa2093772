// host/targets/sqlite_inserts.cpp
//
// An insert of several rows saves most of what a statement costs. When one fails, its rows are tried one
// by one, so that the message can name the row.

#include "host/targets/sqlite_inserts.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

// clang-format off
constexpr struct {
    int code;  // extended, or primary
    const char *remedy;
} kSqliteRowFaults[] = {
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
    for (const auto &fault : kSqliteRowFaults) {
        if (fault.code == code || fault.code == (code & 0xFF))
            return fault.remedy;
    }
    return nullptr;
}

}  // namespace

SqliteInserts::SqliteInserts(const Job &job, std::filesystem::path file, std::string table)
    : job_(job), file_(std::move(file)), table_(std::move(table)), utf16_(IsUtf16(job.charset)),
      binding_(job)
{
}

void SqliteInserts::Begin(SqliteDatabase &database, const std::vector<SqliteAffinity> &affinities)
{
    database_ = &database;
    report_ = {};
    text_check_ = {};
    rows_of_.clear();
    waits_ = 0;
    binding_.Begin(affinities, kRowsAtOnce[0]);
    Prepare();
}

void SqliteInserts::End() noexcept
{
    inserts_ = {};
    database_ = nullptr;
}

void SqliteInserts::Put(int instance, const RowBatch &rows)
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

TargetReport SqliteInserts::Report() const
{
    TargetReport report = report_;
    if (report.refused > 0)
        report.note = fmt::format("{} rows left out by ON CONFLICT rules or triggers of the table",
                                  report.refused);
    report.warning = text_check_.Warning();
    return report;
}

// A statement has a limited number of values, so wide rows go in fewer at once, down to one.
void SqliteInserts::Prepare()
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
        std::string sql = fmt::format("INSERT INTO main.{} ({}) VALUES ", SqlName(table_), names);
        for (size_t row = 0; row < kRowsAtOnce[i]; ++row)
            sql += (row > 0 ? ", " : "") + marks;
        inserts_[i] = database_->Prepare(sql);
    }
}

// SQLite takes text for UTF-8, whatever it is given.
void SqliteInserts::CheckText(const RowRecord &row)
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

void SqliteInserts::InsertWaiting()
{
    const size_t all = waits_;
    waits_ = 0;
    size_t from = 0;
    for (size_t i = 0; i < std::size(kRowsAtOnce); ++i) {
        for (; inserts_[i] && all - from >= kRowsAtOnce[i]; from += kRowsAtOnce[i])
            Insert(inserts_[i], &waiting_[from], kRowsAtOnce[i]);
    }
}

void SqliteInserts::Insert(const SqliteStatement &insert, const RowRecord *rows, size_t count)
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

int SqliteInserts::Try(const SqliteStatement &insert, const RowRecord *rows, size_t count)
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

int SqliteInserts::Bind(const SqliteStatement &insert, int &at, const RowRecord &row,
                        size_t waiting)
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
void SqliteInserts::Refuse(int code, const RowRecord *rows, size_t count)
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
std::string SqliteInserts::ShowRow(const RowRecord &row) const
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

}  // namespace fenwire
