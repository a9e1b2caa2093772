// host/postgres/postgres_binary.h - values of rows in PostgreSQL's binary form.
//
// Which form a value takes is decided once, by its type and by that of the table's column. Where one column
// has none, a whole COPY goes as text, and the server reads the values.

#ifndef FENWIRE_HOST_POSTGRES_POSTGRES_BINARY_H
#define FENWIRE_HOST_POSTGRES_POSTGRES_BINARY_H

#include <cstdint>
#include <optional>

#include "host/values/values.h"

namespace fenwire {

enum class PgForm : uint8_t {
    Bytes,    // as they lie in the row
    Graphic,  // UTF-16 as UTF-8
    Words,    // the value's text
    Jsonb,    // text behind a version
    Int2,
    Int4,
    Int8,
    Bool,
    Float8,
    Numeric,
    Date,
    Time,
    TimeTz,
    TimeStamp,
    TimeStampTz,
    Interval,
};

// Nothing: there is no form in which the column would take the same value. type_id: OID of its type.
std::optional<PgForm> PgFormOf(const ValueType &type, uint32_t type_id);

inline constexpr size_t kMostPgValue = 192;  // bytes of all forms but Bytes, Graphic and Jsonb

// The value without the length that goes in front of it, for all forms but those three; its end. Null: the
// bytes are no value of the type, or it is beyond what the column holds.
char *PutPgValue(PgForm form, const ValueType &type, const uint8_t *value, uint32_t bytes,
                 char *to);

// Big-endian, 1 to 8 bytes.
inline char *PutBig(char *to, uint64_t value, int bytes)
{
    for (int i = bytes - 1; i >= 0; --i)
        *to++ = static_cast<char>(value >> 8 * i);
    return to;
}

// Months, days and millionths of a second of an Interval's value.
struct PgInterval {
    int32_t months = 0, days = 0;
    int64_t micros = 0;
};
PgInterval PgIntervalOf(const ValueType &type, const uint8_t *value);

}  // namespace fenwire

#endif
