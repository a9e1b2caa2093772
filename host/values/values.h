// host/values/values.h - a column's values: binary as rows carry them, text as people write them.
//
//     const ValueType type = ValueTypeOf(column);         // once for a column
//     Misfit misfit = BinaryFromText(type, "12.50", to, &bytes);
//     if (misfit != Misfit::None)
//         .. MisfitWords(type, "12.50", misfit) ..        // the value, the type, what would fit
//
// docs/types.md has the binary form and the text of each type. What one direction writes the other reads
// back to the same value. Nothing here allocates for a value but text of types without a limit.

#ifndef FENWIRE_HOST_VALUES_VALUES_H
#define FENWIRE_HOST_VALUES_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/job/job.h"

namespace fenwire {

enum class TypeKind : uint8_t {
    Integer,
    Boolean,   // an integer of one byte, 0 or 1
    Float,     // a double
    Decimal,   // an integer scaled by the column
    Number,    // an integer with a scale of its own
    Moment,    // a date, a time, or both, with or without a time zone
    Period,    // two of them
    Interval,  // a length of time, field by field
    Text,      // in the session character set
    Graphic,   // UTF-16
    Bytes,
};

struct ValueType {
    TypeKind kind = TypeKind::Text;
    bool fixed =
        false;  // always `bytes` long; text and bytes are padded, all others are so by nature
    bool utf16 = false;       // kind Text in a job of UTF-16
    bool date = false;        // a Moment's or a Period's parts
    bool time = false;        //
    bool zone = false;        //
    uint8_t fields = 0;       // of an Interval: how many, and the first: 0 year, 1 month, 2 day,
    uint8_t first_field = 0;  // 3 hour, 4 minute, 5 second
    uint16_t precision = 0;   // digits: of a Decimal, a limited Number, or behind seconds
    uint16_t scale = 0;
    uint32_t bytes = 0;  // the value's, or the most it may have
    std::string name;    // "DECIMAL(5,2)"
};

ValueType ValueTypeOf(const Column &column, bool utf16 = false);

// "DECIMAL(5,2)", "TIME(3) WITH TIME ZONE": as a job file has it.
std::string TypeWords(const Column &column);

// Why a value does not go into a column.
enum class Misfit : uint8_t {
    None,
    Malformed,   // it is no value of the kind
    OutOfRange,  // too large or too small
    TooFine,     // digits behind the point, or of a second, that the type has no room for
    TooLong,     // text or bytes
    NotExact,    // a whole number that a FLOAT would round
};

// Cold: "\"1.255\" does not fit DECIMAL(5,2): it has more than 2 digits behind the point".
std::string MisfitWords(const ValueType &type, std::string_view shown, Misfit misfit);

// ---- To binary: `to` has room for type.bytes; *bytes is how many were written ---------------------

// The forms of AppendText and common others: blanks around numbers and dates, "T" between date and time,
// "Z" for +00:00, exponents. Text as it is, padded with blanks where the type is fixed; Bytes
// as hexadecimal digits; Graphic from UTF-8.
Misfit BinaryFromText(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes);
Misfit BinaryFromInteger(const ValueType &type, int64_t value, uint8_t *to, uint32_t *bytes);
Misfit BinaryFromDouble(const ValueType &type, double value, uint8_t *to, uint32_t *bytes);
// The value's bytes as they are, for Text, Graphic and Bytes: length checked, padded where fixed.
Misfit BinaryFromBytes(const ValueType &type, std::string_view value, uint8_t *to, uint32_t *bytes);

// ---- From binary --------------------------------------------------------------------------------

// Whether a row carries values of this kind as their own text.
inline bool IsPlainText(const ValueType &type) { return type.kind == TypeKind::Text; }

inline constexpr size_t kMostValueText = 160;  // of all kinds but Text, Graphic and Bytes
inline constexpr size_t kNoText = ~size_t{0};

// Text of a value of any kind but Text, Graphic and Bytes, into `to` with room for kMostValueText.
// kNoText: the bytes are no value of the type, such as month 13.
size_t TextFromBinary(const ValueType &type, const uint8_t *value, uint32_t bytes, char *to);

// The same for every kind, appended. False: no value of the type, and nothing was appended.
bool AppendText(const ValueType &type, const uint8_t *value, uint32_t bytes, std::string &to);

// Whether the value is a whole number of 64 bits, for Integer, Boolean, Decimal and Number.
bool IntegerFromBinary(const ValueType &type, const uint8_t *value, uint32_t bytes, int64_t *to);

// A Float, or a Decimal or Number that a double holds so that its text comes back from it: it has
// up to 15 digits. False: it is none.
bool DoubleFromBinary(const ValueType &type, const uint8_t *value, uint32_t bytes, double *to);

}  // namespace fenwire

#endif
