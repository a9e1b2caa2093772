// host/sources/sqlite_rows.cpp - rows of an SQLite statement in a job's row layout.

#include "host/sources/sqlite_rows.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <new>

#include "host/job/words.h"
#include "host/streams/row_layout.h"

namespace fenwire {

namespace {

constexpr size_t kMostShown = 100;  // bytes of a faulty value

// Neither NULL nor without an address.
std::string_view TextAt(sqlite3_value *from)
{
    const void *text = sqlite3_value_text(from);
    if (text == nullptr) [[unlikely]]
        throw std::bad_alloc();
    return {static_cast<const char *>(text), static_cast<size_t>(sqlite3_value_bytes(from))};
}

std::string_view Text16At(sqlite3_value *from)
{
    const void *text = sqlite3_value_text16(from);
    if (text == nullptr)
        throw std::bad_alloc();
    return {static_cast<const char *>(text), static_cast<size_t>(sqlite3_value_bytes16(from))};
}

std::string_view BlobAt(sqlite3_value *from)
{
    const void *blob = sqlite3_value_blob(from);
    const auto bytes = static_cast<size_t>(sqlite3_value_bytes(from));
    return {static_cast<const char *>(blob), blob != nullptr ? bytes : 0};
}

// Numbers are ASCII.
Misfit Widened(const ValueType &type, std::string_view ascii, uint8_t *to, uint32_t *bytes)
{
    std::string wide;
    for (const char c : ascii)
        wide.append({c, '\0'});
    return BinaryFromBytes(type, wide, to, bytes);
}

Misfit FromText(const ValueType &type, sqlite3_value *from, uint8_t *to, uint32_t *bytes)
{
    if (type.utf16)
        return BinaryFromBytes(type, Text16At(from), to, bytes);
    const std::string_view text = TextAt(from);
    return type.kind == TypeKind::Bytes ? BinaryFromBytes(type, text, to, bytes)
                                        : BinaryFromText(type, text, to, bytes);
}

}  // namespace

SqliteRows::SqliteRows(const std::vector<Column> &columns, bool utf16)
{
    for (const Column &column : columns) {
        const ValueType type = ValueTypeOf(column, utf16);
        const uint32_t prefix = PrefixBytes(column.type);
        slots_.push_back({PutOf(type, prefix), column.length, prefix, type, column.name});
    }
    values_.resize(columns.size());
}

SqliteRows::Put SqliteRows::PutOf(const ValueType &type, uint32_t prefix)
{
    if (type.kind == TypeKind::Text && prefix == 2 && !type.utf16)
        return PutText;
    if (type.kind == TypeKind::Float)
        return PutFloat;
    if (type.kind != TypeKind::Integer)
        return PutAny;
    return type.bytes == 8   ? PutInteger<int64_t>
           : type.bytes == 4 ? PutInteger<int32_t>
           : type.bytes == 2 ? PutInteger<int16_t>
                             : PutInteger<int8_t>;
}

SqliteRows::Values SqliteRows::ValuesOf(sqlite3_stmt *statement)
{
    for (size_t i = 0; i < values_.size(); ++i)
        values_[i] = sqlite3_column_value(statement, static_cast<int>(i));
    return values_;
}

size_t SqliteRows::Write(Values values, uint8_t *to)
{
    const size_t columns = slots_.size();
    const size_t indicators = (columns + 7) / 8;
    uint8_t *at = to + indicators;
    memset(to, 0, indicators);
    for (size_t i = 0; i < columns; ++i) {
        const Slot &slot = slots_[i];
        const int type = sqlite3_value_type(values[i]);
        if (type == SQLITE_NULL) {
            const uint32_t zeros = slot.prefix != 0 ? slot.prefix : slot.bytes;
            memset(at, 0, zeros);
            at += zeros;
            to[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
            continue;
        }
        at = slot.put(slot, type, values[i], at, misfit_);
        if (at == nullptr) [[unlikely]] {
            faulty_ = i;
            return 0;
        }
    }
    return static_cast<size_t>(at - to);
}

uint8_t *SqliteRows::PutText(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                             Misfit &misfit)
{
    if (type != SQLITE_TEXT) [[unlikely]]
        return PutAny(slot, type, from, at, misfit);
    const std::string_view text = TextAt(from);
    if (text.size() > slot.bytes) [[unlikely]] {
        misfit = Misfit::TooLong;
        return nullptr;
    }
    const auto length = static_cast<uint16_t>(text.size());
    memcpy(at, &length, sizeof length);
    if (length != 0)
        memcpy(at + sizeof length, text.data(), length);
    return at + sizeof length + length;
}

template <class Integer>
uint8_t *SqliteRows::PutInteger(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                                Misfit &misfit)
{
    if (type != SQLITE_INTEGER) [[unlikely]]
        return PutAny(slot, type, from, at, misfit);
    const int64_t wide = sqlite3_value_int64(from);
    const auto value = static_cast<Integer>(wide);
    if (value != wide) [[unlikely]] {
        misfit = Misfit::OutOfRange;
        return nullptr;
    }
    memcpy(at, &value, sizeof value);
    return at + sizeof value;
}

uint8_t *SqliteRows::PutFloat(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                              Misfit &misfit)
{
    if (type != SQLITE_FLOAT) [[unlikely]]
        return PutAny(slot, type, from, at, misfit);
    const double value = sqlite3_value_double(from);
    memcpy(at, &value, sizeof value);
    return at + sizeof value;
}

uint8_t *SqliteRows::PutAny(const Slot &slot, int /*type*/, sqlite3_value *from, uint8_t *at,
                            Misfit &misfit)
{
    uint32_t bytes = 0;
    misfit = Convert(slot.type, from, at + slot.prefix, &bytes);
    if (misfit != Misfit::None)
        return nullptr;
    const uint64_t prefix = bytes;
    memcpy(at, &prefix, slot.prefix);
    return at + slot.prefix + bytes;
}

Misfit SqliteRows::Convert(const ValueType &type, sqlite3_value *from, uint8_t *to, uint32_t *bytes)
{
    char number[32];
    switch (sqlite3_value_type(from)) {
    case SQLITE_INTEGER: {
        const int64_t value = sqlite3_value_int64(from);
        if (!type.utf16)
            return BinaryFromInteger(type, value, to, bytes);
        return Widened(type, {number, std::to_chars(number, number + sizeof number, value).ptr}, to,
                       bytes);
    }
    case SQLITE_FLOAT: {
        const double value = sqlite3_value_double(from);
        if (!type.utf16)
            return BinaryFromDouble(type, value, to, bytes);
        return Widened(type, {number, std::to_chars(number, number + sizeof number, value).ptr}, to,
                       bytes);
    }
    case SQLITE_TEXT:
        return FromText(type, from, to, bytes);
    default:
        return type.kind == TypeKind::Bytes ? BinaryFromBytes(type, BlobAt(from), to, bytes)
                                            : Misfit::Malformed;
    }
}

std::string SqliteRows::Fault(Values values) const
{
    sqlite3_value *const at_fault = values[faulty_];
    const ValueType &type = slots_[faulty_].type;
    const bool blob = sqlite3_value_type(at_fault) == SQLITE_BLOB;
    const std::string_view whole = blob ? BlobAt(at_fault) : TextAt(at_fault);
    std::string value(whole.substr(0, kMostShown));
    if (blob) {
        ValueType raw;
        raw.kind = TypeKind::Bytes;
        value = "X'";
        AppendText(raw, reinterpret_cast<const uint8_t *>(whole.data()),
                   static_cast<uint32_t>(std::min(whole.size(), kMostShown)), value);
        value += whole.size() > kMostShown ? "..'" : "'";
    }
    std::string words = fmt::format("column {}: {}", Quoted(slots_[faulty_].name),
                                    MisfitWords(type, value, misfit_));
    if (misfit_ == Misfit::TooLong)
        words += fmt::format(", and it has {}", whole.size());
    return words;
}

}  // namespace fenwire
