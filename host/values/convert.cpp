// host/values/convert.cpp - the conversions by kind; integers and floating point.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "host/values/decimals.h"
#include "host/values/moments.h"
#include "host/values/texts.h"
#include "host/values/values.h"

namespace fenwire {

static_assert(std::endian::native == std::endian::little);

namespace {

constexpr int kExactDigits = 15;  // any decimal number of so many comes back from a double
constexpr int kExactPower = 22;   // the powers of ten that a double holds
constexpr int kMostDoublePower = 300;

std::string_view Trimmed(std::string_view text)
{
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

bool FitsBytes(int64_t value, uint32_t bytes)
{
    const int spare = 64 - 8 * static_cast<int>(bytes);
    return value << spare >> spare == value;
}

Misfit StoreInteger(const ValueType &type, int64_t value, uint8_t *to)
{
    const bool fits =
        type.kind == TypeKind::Boolean ? (value == 0 || value == 1) : FitsBytes(value, type.bytes);
    if (!fits)
        return Misfit::OutOfRange;
    memcpy(to, &value, type.bytes);
    return Misfit::None;
}

int64_t LoadInteger(const ValueType &type, const uint8_t *value)
{
    uint64_t wide = 0;
    memcpy(&wide, value, type.bytes);
    const int spare = 64 - 8 * static_cast<int>(type.bytes);
    return static_cast<int64_t>(wide << spare) >> spare;
}

double LoadDouble(const uint8_t *value)
{
    double number = 0;
    memcpy(&number, value, sizeof number);
    return number;
}

bool SameLetters(std::string_view text, std::string_view lower)
{
    if (text.size() != lower.size())
        return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if ((text[i] | 0x20) != lower[i])
            return false;
    }
    return true;
}

// Whole numbers may be written with a point and zeros behind it, or with an exponent.
Misfit IntegerFromText(const ValueType &type, std::string_view text, uint8_t *to)
{
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size())
        return StoreInteger(type, value, to);
    if (type.kind == TypeKind::Boolean && SameLetters(text, "true"))
        return StoreInteger(type, 1, to);
    if (type.kind == TypeKind::Boolean && SameLetters(text, "false"))
        return StoreInteger(type, 0, to);
    DecimalValue number;
    const Misfit misfit = ParseDecimal(text, number);
    if (misfit != Misfit::None)
        return misfit == Misfit::NotExact ? Misfit::OutOfRange : misfit;
    if (number.exponent < 0)
        return Misfit::TooFine;
    if (number.digits + number.exponent > 19)
        return Misfit::OutOfRange;
    const Wide whole = number.magnitude * PowerOfTen(number.exponent);
    constexpr Wide kLimit = Wide{1} << 63;
    if (whole > kLimit - (number.negative ? 0 : 1))
        return Misfit::OutOfRange;
    const auto bits = static_cast<uint64_t>(whole);
    return StoreInteger(type, static_cast<int64_t>(number.negative ? 0 - bits : bits), to);
}

Misfit FloatFromText(std::string_view text, uint8_t *to)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument)
        return Misfit::Malformed;
    if (error != std::errc())
        return Misfit::OutOfRange;
    memcpy(to, &value, sizeof value);
    return Misfit::None;
}

Misfit StoreDecimal(const ValueType &type, const DecimalValue &value, uint8_t *to, uint32_t *bytes)
{
    return type.kind == TypeKind::Decimal ? EncodeDecimal(type, value, to)
                                          : EncodeNumber(type, value, to, bytes);
}

Misfit DecimalFromText(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes)
{
    DecimalValue value;
    const Misfit misfit = ParseDecimal(text, value);
    if (misfit == Misfit::None)
        return StoreDecimal(type, value, to, bytes);
    return misfit == Misfit::NotExact ? Misfit::OutOfRange : misfit;
}

// A double that was meant as a decimal number, or came out of sums of such: the shortest text that stands
// for it, and when a DECIMAL has no room for that, 15 digits, which is all that a double keeps.
Misfit DecimalFromDouble(const ValueType &type, double value, uint8_t *to, uint32_t *bytes)
{
    if (!std::isfinite(value))
        return Misfit::OutOfRange;
    char text[32];
    char *end = std::to_chars(text, text + sizeof text, value).ptr;
    Misfit misfit = DecimalFromText(type, {text, end}, to, bytes);
    if (misfit == Misfit::TooFine && type.kind == TypeKind::Decimal) {
        end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific,
                            kExactDigits - 1)
                  .ptr;
        misfit = DecimalFromText(type, {text, end}, to, bytes);
    }
    return misfit;
}

DecimalValue DecimalOfInteger(int64_t value)
{
    DecimalValue number;
    number.negative = value < 0;
    number.magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    while (number.digits < 20 && number.magnitude >= PowerOfTen(number.digits))
        ++number.digits;
    return number;
}

// False: the bytes can't be a value of the type, so nothing may look at them.
bool HasItsBytes(const ValueType &type, uint32_t bytes)
{
    if (type.kind == TypeKind::Number)
        return true;  // looks for itself
    return type.kind == TypeKind::Period || type.fixed ? bytes == type.bytes : bytes <= type.bytes;
}

char *IntegerText(int64_t value, char *to) { return std::to_chars(to, to + 24, value).ptr; }

char *FloatText(double value, char *to)
{
    if (std::isnan(value))
        return std::copy_n("NaN", 3, to);  // the sign of a NaN means nothing
    return std::to_chars(to, to + kMostValueText, value).ptr;
}

}  // namespace

Misfit BinaryFromText(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes)
{
    *bytes = type.bytes;
    switch (type.kind) {
    case TypeKind::Text:
        return BinaryFromBytes(type, text, to, bytes);
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return IntegerFromText(type, Trimmed(text), to);
    case TypeKind::Float:
        return FloatFromText(Trimmed(text), to);
    case TypeKind::Decimal:
    case TypeKind::Number:
        return DecimalFromText(type, Trimmed(text), to, bytes);
    case TypeKind::Moment:
        return ParseMoment(type, Trimmed(text), to);
    case TypeKind::Period:
        return ParsePeriod(type, Trimmed(text), to);
    case TypeKind::Interval:
        return ParseInterval(type, Trimmed(text), to);
    case TypeKind::Graphic:
        return GraphicFromUtf8(type, text, to, bytes);
    case TypeKind::Bytes:
        return BytesFromHex(type, text, to, bytes);
    }
    return Misfit::Malformed;
}

Misfit BinaryFromInteger(const ValueType &type, int64_t value, uint8_t *to, uint32_t *bytes)
{
    *bytes = type.bytes;
    char text[24];
    switch (type.kind) {
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return StoreInteger(type, value, to);
    case TypeKind::Float: {
        const auto number = static_cast<double>(value);
        if (!(number < 0x1p63) || static_cast<int64_t>(number) != value)
            return Misfit::NotExact;
        memcpy(to, &number, sizeof number);
        return Misfit::None;
    }
    case TypeKind::Decimal:
    case TypeKind::Number:
        return StoreDecimal(type, DecimalOfInteger(value), to, bytes);
    case TypeKind::Text:
    case TypeKind::Graphic:
        if (type.utf16)
            return Misfit::Malformed;
        return BinaryFromText(type, {text, IntegerText(value, text)}, to, bytes);
    default:
        return Misfit::Malformed;
    }
}

Misfit BinaryFromDouble(const ValueType &type, double value, uint8_t *to, uint32_t *bytes)
{
    *bytes = type.bytes;
    char text[kMostValueText];
    switch (type.kind) {
    case TypeKind::Float:
        memcpy(to, &value, sizeof value);
        return Misfit::None;
    case TypeKind::Integer:
    case TypeKind::Boolean:
        if (!(value >= -0x1p63 && value < 0x1p63))
            return Misfit::OutOfRange;
        return value == std::trunc(value) ? StoreInteger(type, static_cast<int64_t>(value), to)
                                          : Misfit::TooFine;
    case TypeKind::Decimal:
    case TypeKind::Number:
        return DecimalFromDouble(type, value, to, bytes);
    case TypeKind::Text:
    case TypeKind::Graphic:
        if (type.utf16)
            return Misfit::Malformed;
        return BinaryFromText(type, {text, FloatText(value, text)}, to, bytes);
    default:
        return Misfit::Malformed;
    }
}

size_t TextFromBinary(const ValueType &type, const uint8_t *value, uint32_t bytes, char *to)
{
    if (!HasItsBytes(type, bytes))
        return kNoText;
    switch (type.kind) {
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return static_cast<size_t>(IntegerText(LoadInteger(type, value), to) - to);
    case TypeKind::Float:
        return static_cast<size_t>(FloatText(LoadDouble(value), to) - to);
    case TypeKind::Decimal:
        return DecimalText(type, value, to);
    case TypeKind::Number:
        return NumberText(value, bytes, to);
    case TypeKind::Moment:
        return MomentText(type, value, to);
    case TypeKind::Period:
        return PeriodText(type, value, to);
    case TypeKind::Interval:
        return IntervalText(type, value, to);
    default:
        return kNoText;
    }
}

bool AppendText(const ValueType &type, const uint8_t *value, uint32_t bytes, std::string &to)
{
    switch (type.kind) {
    case TypeKind::Text:
        to.append(reinterpret_cast<const char *>(value), bytes);
        return true;
    case TypeKind::Graphic:
        return AppendUtf8(value, bytes, to);
    case TypeKind::Bytes:
        AppendHex(value, bytes, to);
        return true;
    default:
        break;
    }
    char text[kMostValueText];
    const size_t length = TextFromBinary(type, value, bytes, text);
    if (length == kNoText)
        return false;
    to.append(text, length);
    return true;
}

bool IntegerFromBinary(const ValueType &type, const uint8_t *value, uint32_t bytes, int64_t *to)
{
    if (!HasItsBytes(type, bytes))
        return false;
    if (type.kind == TypeKind::Integer || type.kind == TypeKind::Boolean) {
        *to = LoadInteger(type, value);
        return true;
    }
    DecimalValue number;
    if ((type.kind != TypeKind::Decimal && type.kind != TypeKind::Number) ||
        !DecodeDecimal(type, value, bytes, number) || number.exponent < 0 ||
        number.digits + number.exponent > 19)
        return false;
    const Wide whole = number.magnitude * PowerOfTen(number.exponent);
    constexpr Wide kLimit = Wide{1} << 63;
    if (whole > kLimit - (number.negative ? 0 : 1))
        return false;
    const auto bits = static_cast<uint64_t>(whole);
    *to = static_cast<int64_t>(number.negative ? 0 - bits : bits);
    return true;
}

bool DoubleFromBinary(const ValueType &type, const uint8_t *value, uint32_t bytes, double *to)
{
    if (!HasItsBytes(type, bytes))
        return false;
    if (type.kind == TypeKind::Float) {
        *to = LoadDouble(value);
        return true;
    }
    DecimalValue number;
    if ((type.kind != TypeKind::Decimal && type.kind != TypeKind::Number) ||
        !DecodeDecimal(type, value, bytes, number) || number.digits > kExactDigits ||
        std::abs(number.exponent) > kMostDoublePower - kExactDigits)
        return false;
    // One rounding of two exact numbers is the nearest double; farther out the text knows best.
    const auto magnitude = static_cast<double>(static_cast<uint64_t>(number.magnitude));
    if (std::abs(number.exponent) <= kExactPower) {
        const auto power =
            static_cast<double>(static_cast<Wide>(PowerOfTen(std::abs(number.exponent))));
        *to = number.exponent < 0 ? magnitude / power : magnitude * power;
        *to = number.negative ? -*to : *to;
        return true;
    }
    char text[kMostValueText];
    const size_t length = TextFromBinary(type, value, bytes, text);
    return std::from_chars(text, text + length, *to).ec == std::errc();
}

}  // namespace fenwire
