// host/sources/postgres_rows.cpp - rows of a binary COPY in a job's row layout.

#include "host/sources/postgres_rows.h"

#include <bit>
#include <charconv>
#include <cstring>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/streams/row_layout.h"

namespace fenwire {

namespace {

bool IsWhole(PgType type)
{
    return type == PgType::Int2 || type == PgType::Int4 || type == PgType::Int8;
}

// Zones come as +01 or +05:30; values have always both numbers.
std::string WithZone(const std::string &name)
{
    return fmt::format("regexp_replace({}::text, '([+-][0-9][0-9])$', '\\1:00')", name);
}

// Hours and months come with one digit where they have no more, in the style of the standard.
std::string WithTwoDigits(const std::string &name)
{
    return fmt::format("regexp_replace({}::text, '(^|[ +-])([0-9])(:|$)', '\\10\\2\\3')", name);
}

// As text that host/values reads.
std::string AsText(PgType type, const std::string &name)
{
    switch (type) {
    case PgType::Text:
    case PgType::VarChar:
    case PgType::Char:
    case PgType::Json:
        return name;
    case PgType::Bool:
        return fmt::format("{}::int::text", name);
    case PgType::Bytea:
        return fmt::format("upper(encode({}, 'hex'))", name);
    case PgType::TimeTz:
    case PgType::TimeStampTz:
        return WithZone(name);
    case PgType::Interval:
        return WithTwoDigits(name);
    default:
        return fmt::format("{}::text", name);
    }
}

}  // namespace

std::string PostgresRows::Add(const Column &column, uint32_t type_id, const std::string &name)
{
    const auto from = static_cast<PgType>(type_id);
    ValueType type = ValueTypeOf(column, utf16_);
    Put put = PutConverted;
    std::string asked = AsText(from, name);
    const uint32_t prefix = PrefixBytes(column.type);
    if (type.kind == TypeKind::Text && type.utf16) {
        type.kind = TypeKind::Graphic;  // which is read from UTF-8 just so
    } else if (type.kind == TypeKind::Text && prefix == 2) {
        put = PutText;
    } else if (type.kind == TypeKind::Bytes) {
        put = PutBytes;
        asked = from == PgType::Bytea ? name : asked;
    } else if ((type.kind == TypeKind::Integer || type.kind == TypeKind::Boolean) &&
               (IsWhole(from) || from == PgType::Bool)) {
        put = PutInteger;
        asked = fmt::format("{}{}::int8", name, from == PgType::Bool ? "::int" : "");
    } else if (type.kind == TypeKind::Float && from == PgType::Float8) {
        put = PutDouble;
        asked = name;
    }
    slots_.push_back({put, column.length, prefix, type, column.name});
    return asked;
}

size_t PostgresRows::Write(PostgresFields fields, uint8_t *to)
{
    const size_t columns = slots_.size();
    const size_t indicators = (columns + 7) / 8;
    uint8_t *at = to + indicators;
    memset(to, 0, indicators);
    for (size_t i = 0; i < columns; ++i) {
        const Slot &slot = slots_[i];
        const std::string_view from = fields.Next();
        if (from.data() == nullptr) {
            const uint32_t zeros = slot.prefix != 0 ? slot.prefix : slot.bytes;
            memset(at, 0, zeros);
            at += zeros;
            to[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
            continue;
        }
        at = slot.put(slot, from, at, misfit_);
        if (at == nullptr) [[unlikely]] {
            faulty_ = i;
            at_fault_ = from;
            return 0;
        }
    }
    if (!fields.AtEnd())
        throw PostgresNonsense();
    return static_cast<size_t>(at - to);
}

uint8_t *PostgresRows::PutText(const Slot &slot, std::string_view from, uint8_t *at, Misfit &misfit)
{
    if (from.size() > slot.bytes) [[unlikely]] {
        misfit = Misfit::TooLong;
        return nullptr;
    }
    const auto length = static_cast<uint16_t>(from.size());
    memcpy(at, &length, sizeof length);
    memcpy(at + sizeof length, from.data(), length);
    return at + sizeof length + length;
}

uint8_t *PostgresRows::PutInteger(const Slot &slot, std::string_view from, uint8_t *at,
                                  Misfit &misfit)
{
    uint32_t bytes = 0;
    misfit = BinaryFromInteger(slot.type, PostgresFields::NumberIn<int64_t>(from), at, &bytes);
    return misfit == Misfit::None ? at + bytes : nullptr;
}

uint8_t *PostgresRows::PutDouble(const Slot & /*slot*/, std::string_view from, uint8_t *at,
                                 Misfit & /*misfit*/)
{
    const auto value = PostgresFields::NumberIn<uint64_t>(from);
    memcpy(at, &value, sizeof value);
    return at + sizeof value;
}

uint8_t *PostgresRows::PutBytes(const Slot &slot, std::string_view from, uint8_t *at,
                                Misfit &misfit)
{
    return PutBy(BinaryFromBytes, slot, from, at, misfit);
}

uint8_t *PostgresRows::PutConverted(const Slot &slot, std::string_view from, uint8_t *at,
                                    Misfit &misfit)
{
    return PutBy(BinaryFromText, slot, from, at, misfit);
}

uint8_t *PostgresRows::PutBy(Convert convert, const Slot &slot, std::string_view from, uint8_t *at,
                             Misfit &misfit)
{
    uint32_t bytes = 0;
    misfit = convert(slot.type, from, at + slot.prefix, &bytes);
    if (misfit != Misfit::None)
        return nullptr;
    const uint64_t prefix = bytes;
    memcpy(at, &prefix, slot.prefix);
    return at + slot.prefix + bytes;
}

std::string PostgresRows::Fault() const
{
    constexpr size_t kMostShown = 100;
    const Slot &slot = slots_[faulty_];
    std::string value(at_fault_.substr(0, kMostShown));
    if (slot.put == PutInteger)
        value = std::to_string(PostgresFields::NumberIn<int64_t>(at_fault_));
    std::string words =
        fmt::format("column {}: {}", Quoted(slot.name), MisfitWords(slot.type, value, misfit_));
    if (misfit_ == Misfit::TooLong)
        words += fmt::format(", and it has {}", at_fault_.size());
    return words;
}

}  // namespace fenwire
