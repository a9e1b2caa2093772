// host/targets/postgres_encoder.cpp

#include "host/targets/postgres_encoder.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/values/texts.h"

namespace fenwire {

namespace {

constexpr std::string_view kBinaryHead("PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19);
constexpr std::string_view kBinaryTail("\377\377", 2);

constexpr uint64_t kEach = 0x0101010101010101;

// Not 0 when one of eight bytes is a control character or a backslash.
inline uint64_t OddAmong(const uint8_t *text)
{
    uint64_t word;
    memcpy(&word, text, sizeof word);
    const uint64_t slash = word ^ (kEach * '\\');
    const uint64_t low = (word - kEach * 0x20) & ~word, none = (slash - kEach) & ~slash;
    return (low | none) & (kEach * 0x80);
}

// Whether text goes as it stands: no control character and no backslash. The last eight bytes may be looked
// at twice.
bool IsPlain(const uint8_t *text, size_t bytes)
{
    uint64_t odd = 0;
    if (bytes < 8) {
        for (size_t i = 0; i < bytes; ++i)
            odd |= static_cast<uint64_t>((text[i] < 0x20) | (text[i] == '\\'));
        return odd == 0;
    }
    for (size_t i = 0; i + 8 < bytes; i += 8)
        odd |= OddAmong(text + i);
    return (odd | OddAmong(text + bytes - 8)) == 0;
}

constexpr size_t kShort = 16;

// Most values are short, and a call costs more than bytes that the next value overwrites: each column has
// room for them. Those behind the value must be there to be read.
inline char *PutBytes(const uint8_t *data, uint32_t length, const uint8_t *end, char *to)
{
    if (length <= kShort && static_cast<size_t>(end - data) >= kShort) [[likely]]
        memcpy(to, data, kShort);
    else
        memcpy(to, data, length);
    return to + length;
}

char *PutEscaped(std::string_view text, char *to)
{
    for (const char c : text) {
        switch (c) {
        case '\\':
            *to++ = '\\';
            *to++ = '\\';
            break;
        case '\n':
            *to++ = '\\';
            *to++ = 'n';
            break;
        case '\r':
            *to++ = '\\';
            *to++ = 'r';
            break;
        case '\t':
            *to++ = '\\';
            *to++ = 't';
            break;
        default:
            *to++ = c;
        }
    }
    return to;
}

char *PutNull(char *to)
{
    *to++ = '\\';
    *to++ = 'N';
    return to;
}

}  // namespace

PostgresEncoder::PostgresEncoder(const Job &job)
{
    for (const Column &column : job.columns) {
        Sent sent;
        sent.name = column.name;
        sent.type = ValueTypeOf(column, IsUtf16(job.charset));
        columns_.push_back(std::move(sent));
    }
    row_room_ = columns_.size() * (kMostPgValue + 4) + 8;
}

PostgresEncoder::Way PostgresEncoder::WayOf(const ValueType &type, const PostgresColumn &column)
{
    switch (type.kind) {
    case TypeKind::Text:
        return type.utf16 ? Way::Utf16 : Way::Text;
    case TypeKind::Graphic:
        return Way::Utf16;
    case TypeKind::Bytes:
        return Way::Hex;
    case TypeKind::Interval:
        return column.type_id == static_cast<uint32_t>(PgType::Interval) ? Way::Interval
                                                                         : Way::Words;
    default:
        return Way::Words;
    }
}

void PostgresEncoder::Begin(const std::vector<const PostgresColumn *> &columns)
{
    binary_ = all_text_ = true;
    for (size_t i = 0; i < columns_.size(); ++i) {
        Sent &sent = columns_[i];
        sent.way = WayOf(sent.type, *columns[i]);
        all_text_ = all_text_ && sent.way == Way::Text;
        const auto form = PgFormOf(sent.type, columns[i]->type_id);
        binary_ = binary_ && form.has_value();
        sent.form = form.value_or(PgForm::Bytes);
    }
    const auto is_text = [](const Sent &sent) {
        return sent.way == Way::Text || sent.way == Way::Utf16;
    };
    binary_ = binary_ && !std::ranges::all_of(columns_, is_text);
}

std::string_view PostgresEncoder::Head() const
{
    return binary_ ? kBinaryHead : std::string_view();
}
std::string_view PostgresEncoder::Tail() const
{
    return binary_ ? kBinaryTail : std::string_view();
}

char *PostgresEncoder::Put(const RowRecord &row, char *to)
{
    if (binary_)
        return PutBinary(row, to);
    const auto columns = static_cast<uint32_t>(columns_.size());
    if (all_text_ && IsPlain(row.data(columns), row.data_bytes())) [[likely]]
        return PutPlainText(row, to);
    return PutText(row, to);
}

char *PostgresEncoder::PutPlainText(const RowRecord &row, char *to) const
{
    const auto columns = static_cast<uint32_t>(columns_.size());
    const uint8_t *data = row.data(columns), *const end = row.start + row.bytes();
    for (uint32_t i = 0; i < columns; ++i) {
        const uint32_t length = row.length(i);
        if (length == kNullColumn) {
            to = PutNull(to);
        } else {
            to = PutBytes(data, length, end, to);
            data += length;
        }
        *to++ = '\t';
    }
    to[-1] = '\n';
    return to;
}

char *PostgresEncoder::PutText(const RowRecord &row, char *to)
{
    const uint8_t *data = row.data(static_cast<uint32_t>(columns_.size()));
    for (uint32_t i = 0; i < columns_.size(); ++i) {
        const uint32_t length = row.length(i);
        if (length == kNullColumn) {
            to = PutNull(to);
        } else {
            to = PutTextValue(columns_[i], data, length, to);
            data += length;
        }
        *to++ = '\t';
    }
    to[-1] = '\n';
    return to;
}

char *PostgresEncoder::PutTextValue(const Sent &column, const uint8_t *value, uint32_t bytes,
                                    char *to)
{
    switch (column.way) {
    case Way::Text:
        if (memchr(value, 0, bytes) != nullptr)
            Refuse(column, value, bytes);
        return PutEscaped({reinterpret_cast<const char *>(value), bytes}, to);
    case Way::Utf16:
        return PutEscaped(Utf8(column, value, bytes), to);
    case Way::Hex:
        utf8_ = "\\\\x";
        AppendHex(value, bytes, utf8_);
        return std::ranges::copy(utf8_, to).out;
    case Way::Words:
    case Way::Interval:
        break;
    }
    const size_t length = TextFromBinary(column.type, value, bytes, to);
    if (length == kNoText)
        Refuse(column, value, bytes);
    if (column.way == Way::Words)
        return to + length;
    const PgInterval interval = PgIntervalOf(column.type, value);
    return fmt::format_to(to, "{} mons {} days {} us", interval.months, interval.days,
                          interval.micros);
}

char *PostgresEncoder::PutBinary(const RowRecord &row, char *to)
{
    const uint8_t *data = row.data(static_cast<uint32_t>(columns_.size()));
    to = PutBig(to, columns_.size(), 2);
    for (uint32_t i = 0; i < columns_.size(); ++i) {
        const uint32_t length = row.length(i);
        if (length == kNullColumn) {
            to = PutBig(to, kNullColumn, 4);  // -1
            continue;
        }
        char *const end = PutBinaryValue(columns_[i], data, length, to + 4);
        PutBig(to, static_cast<uint64_t>(end - to - 4), 4);
        to = end;
        data += length;
    }
    return to;
}

char *PostgresEncoder::PutBinaryValue(const Sent &column, const uint8_t *value, uint32_t bytes,
                                      char *to)
{
    switch (column.form) {
    case PgForm::Graphic:
        return std::ranges::copy(Utf8(column, value, bytes), to).out;
    case PgForm::Jsonb:
        *to++ = 1;
        [[fallthrough]];
    case PgForm::Bytes:
        if (column.type.kind == TypeKind::Text && memchr(value, 0, bytes) != nullptr)
            Refuse(column, value, bytes);
        memcpy(to, value, bytes);
        return to + bytes;
    default:
        break;
    }
    char *const end = PutPgValue(column.form, column.type, value, bytes, to);
    if (end == nullptr)
        Refuse(column, value, bytes);
    return end;
}

// The characters of a value of two-byte units.
const std::string &PostgresEncoder::Utf8(const Sent &column, const uint8_t *value, uint32_t bytes)
{
    utf8_.clear();
    if (!AppendUtf8(value, bytes, utf8_) || utf8_.find('\0') != std::string::npos)
        Refuse(column, value, bytes);
    return utf8_;
}

void PostgresEncoder::Refuse(const Sent &column, const uint8_t *value, uint32_t bytes)
{
    std::string shown;
    const char *why = "these bytes are no value of the type";
    if (column.way == Way::Text || column.way == Way::Utf16) {
        shown = std::string(reinterpret_cast<const char *>(value), bytes);
        why = column.way == Way::Text ? "PostgreSQL takes no text with a NUL byte in it"
                                      : "it is no UTF-16, or holds a NUL";
    } else if (!AppendText(column.type, value, bytes, shown)) {
        shown = "0x";
        AppendHex(value, bytes, shown);
    } else {
        why = "the table's column can't hold it";
    }
    throw PostgresMisfit{fmt::format("column {} of type {} has the value {}: {}",
                                     Quoted(column.name), column.type.name, Quoted(shown), why)};
}

}  // namespace fenwire
