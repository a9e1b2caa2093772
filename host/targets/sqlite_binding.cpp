// host/targets/sqlite_binding.cpp - a row's values as parameters of an insert.

#include "host/targets/sqlite_binding.h"

#include <cmath>
#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr int64_t kMostWholeReal = int64_t{1} << 53;

constexpr const char *kNoValue = "these bytes are no value of the type";
constexpr const char *kWouldRound = "the table's column keeps numbers, and would round one of more "
                                    "than 15 digits; give it a type with "
                                    "TEXT in it";

bool IsNumber(const ValueType &type)
{
    return type.kind == TypeKind::Decimal || type.kind == TypeKind::Number;
}

}  // namespace

SqliteBinding::SqliteBinding(const Job &job)
{
    for (const Column &column : job.columns)
        columns_.push_back({column.name, ValueTypeOf(column, IsUtf16(job.charset))});
}

void SqliteBinding::Begin(const std::vector<SqliteAffinity> &affinities, size_t rows)
{
    size_t texts = 0;
    for (size_t i = 0; i < columns_.size(); ++i) {
        columns_[i].affinity = affinities[i];
        columns_[i].way = WayOf(columns_[i].type, affinities[i]);
        texts += columns_[i].way == Way::Words || columns_[i].way == Way::Exact ||
                         columns_[i].way == Way::Real
                     ? 1
                     : 0;
    }
    words_.resize(texts * rows * kMostValueText);
}

SqliteBinding::Way SqliteBinding::WayOf(const ValueType &type, SqliteAffinity affinity)
{
    switch (type.kind) {
    case TypeKind::Text:
        return type.utf16 ? Way::Text16 : Way::Text;
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return affinity == SqliteAffinity::Real ? Way::WholeReal : Way::Integer;
    case TypeKind::Float:  // as text SQLite would cut it at 15 digits
        return affinity == SqliteAffinity::Text ? Way::Words : Way::Real;
    case TypeKind::Decimal:
    case TypeKind::Number:
        return affinity == SqliteAffinity::Text ? Way::Words : Way::Exact;
    case TypeKind::Graphic:
        return Way::Graphic;
    case TypeKind::Bytes:
        return Way::Blob;
    default:
        return Way::Words;
    }
}

int SqliteBinding::Bind(sqlite3_stmt *insert, int &at, const RowRecord &row)
{
    const uint8_t *data = row.data(static_cast<uint32_t>(columns_.size()));
    int code = SQLITE_OK;
    if (at == 0)
        words_used_ = 0;
    for (uint32_t i = 0; i < columns_.size(); ++i) {
        const uint32_t length = row.length(i);
        if (length == kNullColumn) {
            code |= sqlite3_bind_null(insert, ++at);
            continue;
        }
        code |= BindValue(insert, ++at, columns_[i], data, length);
        data += length;
    }
    return code;
}

int SqliteBinding::BindValue(sqlite3_stmt *insert, int at, const Bound &column,
                             const uint8_t *value, uint32_t bytes)
{
    const int length = static_cast<int>(bytes);
    const char *text = reinterpret_cast<const char *>(value);
    int64_t whole = 0;
    switch (column.way) {
    case Way::Text:
        return sqlite3_bind_text(insert, at, text, length, SQLITE_STATIC);
    case Way::Text16:
        if (bytes % 2 != 0)  // SQLite would drop the odd byte and say nothing
            Refuse(column, value, bytes, "an odd number of bytes is no UTF-16");
        return sqlite3_bind_text16(insert, at, value, length, SQLITE_STATIC);
    case Way::Blob:  // without an address it would be NULL
        return sqlite3_bind_blob(insert, at, bytes != 0 ? text : "", length, SQLITE_STATIC);
    case Way::Integer:
    case Way::WholeReal:
        if (!IntegerFromBinary(column.type, value, bytes, &whole))
            Refuse(column, value, bytes, kNoValue);
        if (column.way == Way::WholeReal && (whole > kMostWholeReal || whole < -kMostWholeReal))
            Refuse(column, value, bytes, kWouldRound);
        return sqlite3_bind_int64(insert, at, whole);
    case Way::Real:
        return BindReal(insert, at, column, value, bytes);
    case Way::Exact:
        return BindExact(insert, at, column, value, bytes);
    case Way::Words:
        return BindWords(insert, at, column, value, bytes);
    case Way::Graphic:
        break;
    }
    std::string utf8;
    if (!AppendText(column.type, value, bytes, utf8))
        Refuse(column, value, bytes, kNoValue);
    return sqlite3_bind_text(insert, at, utf8.data(), static_cast<int>(utf8.size()),
                             SQLITE_TRANSIENT);
}

// What is no number has no place among SQLite's: bound as one, NaN would become NULL.
int SqliteBinding::BindReal(sqlite3_stmt *insert, int at, const Bound &column, const uint8_t *value,
                            uint32_t bytes)
{
    double number = 0;
    if (!DoubleFromBinary(column.type, value, bytes, &number))
        Refuse(column, value, bytes, kNoValue);
    return std::isnan(number) ? BindWords(insert, at, column, value, bytes)
                              : sqlite3_bind_double(insert, at, number);
}

int SqliteBinding::BindExact(sqlite3_stmt *insert, int at, const Bound &column,
                             const uint8_t *value, uint32_t bytes)
{
    int64_t whole = 0;
    if (IntegerFromBinary(column.type, value, bytes, &whole) &&
        (column.affinity != SqliteAffinity::Real ||
         (whole <= kMostWholeReal && whole >= -kMostWholeReal)))
        return sqlite3_bind_int64(insert, at, whole);
    double number = 0;
    if (DoubleFromBinary(column.type, value, bytes, &number))
        return sqlite3_bind_double(insert, at, number);
    if (column.affinity != SqliteAffinity::None)
        Refuse(column, value, bytes, kWouldRound);
    return BindWords(insert, at, column, value, bytes);
}

int SqliteBinding::BindWords(sqlite3_stmt *insert, int at, const Bound &column,
                             const uint8_t *value, uint32_t bytes)
{
    char *to = words_.data() + words_used_;
    const size_t length = TextFromBinary(column.type, value, bytes, to);
    if (length == kNoText)
        Refuse(column, value, bytes, kNoValue);
    words_used_ += length;
    return sqlite3_bind_text(insert, at, to, static_cast<int>(length), SQLITE_STATIC);
}

std::string SqliteBinding::Shown(uint32_t column, const uint8_t *value, uint32_t bytes) const
{
    const ValueType &type = columns_[column].type;
    std::string text;
    if (!AppendText(type, value, bytes, text)) {
        ValueType raw;
        raw.kind = TypeKind::Bytes;
        AppendText(raw, value, bytes, text);
    }
    return text;
}

void SqliteBinding::Refuse(const Bound &column, const uint8_t *value, uint32_t bytes,
                           const char *why)
{
    ValueType raw;
    raw.kind = TypeKind::Bytes;
    std::string shown;
    const bool number = IsNumber(column.type) || column.way == Way::WholeReal;
    if (!number || !AppendText(column.type, value, bytes, shown)) {
        AppendText(raw, value, bytes, shown);
        shown.insert(0, "0x");
    }
    throw SqliteMisfit{fmt::format("column {} of type {} has the value {}: {}", Quoted(column.name),
                                   column.type.name, Quoted(shown), why)};
}

}  // namespace fenwire
