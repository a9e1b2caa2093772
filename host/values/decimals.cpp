// host/values/decimals.cpp - DECIMAL and NUMBER to digits and back.

#include "host/values/decimals.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace fenwire {

namespace {

constexpr int kMostDigits = 38;
constexpr uint32_t kMostMantissa = 17, kScaleBytes = 2;
constexpr int kMostNumberPower = 125, kLeastNumberPower = -130;  // of a Number's first digit
constexpr int kMostPlainPower = 40, kLeastPlainPower = -7;       // written without an exponent
constexpr int kMostExponent = 100'000;
constexpr uint64_t kBillion = 1'000'000'000;

constexpr auto kPowers = [] {
    std::array<Wide, kMostDigits + 1> powers = {};
    powers[0] = 1;
    for (size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// ---- Text to digits -----------------------------------------------------------------------------

// Zeros wait until a digit behind them makes them count.
struct DigitSum {
    Wide magnitude = 0;
    int digits = 0, zeros = 0;
    bool too_many = false;

    void Add(char c)
    {
        if (c == '0') {
            zeros += digits > 0 ? 1 : 0;
            return;
        }
        if (digits + zeros + 1 > kMostDigits) {
            too_many = true;
            return;
        }
        magnitude =
            magnitude * kPowers[static_cast<size_t>(zeros) + 1] + static_cast<Wide>(c - '0');
        digits += zeros + 1;
        zeros = 0;
    }
};

bool ParseExponent(std::string_view text, int &exponent)
{
    const bool plus = text.starts_with('+');
    text.remove_prefix(plus ? 1 : 0);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    return error == std::errc() && end == text.data() + text.size() &&
           !(plus && text.starts_with('-')) && exponent >= -kMostExponent &&
           exponent <= kMostExponent;
}

// ---- Digits to text -----------------------------------------------------------------------------

// At the end of `end`, going left; at least one digit.
char *WriteDigits(Wide magnitude, char *end)
{
    while (magnitude > UINT64_MAX) {
        auto part = static_cast<uint64_t>(magnitude % kBillion);
        magnitude /= kBillion;
        for (int i = 0; i < 9; ++i, part /= 10)
            *--end = static_cast<char>('0' + part % 10);
    }
    auto rest = static_cast<uint64_t>(magnitude);
    do {
        *--end = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    return end;
}

Wide LoadUnsigned(const uint8_t *value, size_t bytes)
{
    Wide wide = 0;
    memcpy(&wide, value, bytes);
    return wide;
}

// Two's complement of up to 16 bytes as sign and magnitude.
Wide LoadMagnitude(const uint8_t *value, size_t bytes, bool &negative)
{
    Wide wide = LoadUnsigned(value, bytes);
    negative = (value[bytes - 1] & 0x80) != 0;
    if (!negative)
        return wide;
    if (bytes < sizeof wide)
        wide |= ~Wide{0} << (8 * bytes);
    return Wide{0} - wide;
}

// A magnitude of up to 136 bits in words of 32.
struct Limbs {
    std::array<uint32_t, 5> words = {};

    bool IsZero() const
    {
        return std::ranges::all_of(words, [](uint32_t word) { return word == 0; });
    }
    uint32_t DivideByBillion()
    {
        uint64_t rest = 0;
        for (size_t i = words.size(); i-- > 0;) {
            const uint64_t part = rest << 32 | words[i];
            words[i] = static_cast<uint32_t>(part / kBillion);
            rest = part % kBillion;
        }
        return static_cast<uint32_t>(rest);
    }
};

// Digits of a mantissa, without zeros in front.
size_t MantissaDigits(const uint8_t *value, uint32_t bytes, bool &negative, char *to)
{
    char room[64];
    char *const end = room + sizeof room;
    char *at = end;
    if (bytes <= sizeof(Wide)) {
        at = WriteDigits(LoadMagnitude(value, bytes, negative), end);
    } else {
        uint8_t copy[4 * 5];
        negative = (value[bytes - 1] & 0x80) != 0;
        memset(copy, negative ? 0xFF : 0, sizeof copy);
        memcpy(copy, value, bytes);
        uint32_t carry = negative ? 1 : 0;
        for (size_t i = 0; negative && i < sizeof copy; ++i) {
            carry += static_cast<uint8_t>(~copy[i]);
            copy[i] = static_cast<uint8_t>(carry);
            carry >>= 8;
        }
        Limbs limbs;
        memcpy(limbs.words.data(), copy, sizeof copy);
        while (!limbs.IsZero()) {
            uint32_t part = limbs.DivideByBillion();
            for (int i = 0; i < 9; ++i, part /= 10)
                *--at = static_cast<char>('0' + part % 10);
        }
        while (at < end - 1 && *at == '0')
            ++at;
    }
    memcpy(to, at, static_cast<size_t>(end - at));
    return static_cast<size_t>(end - at);
}

char *Append(char *to, const char *from, size_t bytes)
{
    memcpy(to, from, bytes);
    return to + bytes;
}

char *Zeros(char *to, size_t count)
{
    memset(to, '0', count);
    return to + count;
}

// digits * 10^exponent; power: of the first digit.
char *PlacePoint(const char *digits, size_t count, int exponent, char *to)
{
    const int power = static_cast<int>(count) - 1 + exponent;
    if (power > kMostPlainPower || power < kLeastPlainPower) {
        *to++ = digits[0];
        if (count > 1)
            *to++ = '.';
        to = Append(to, digits + 1, count - 1);
        *to++ = 'e';
        return std::to_chars(to, to + 8, power).ptr;
    }
    if (exponent >= 0)
        return Zeros(Append(to, digits, count), static_cast<size_t>(exponent));
    if (power < 0) {
        to = Append(to, "0.", 2);
        return Append(Zeros(to, static_cast<size_t>(-power) - 1), digits, count);
    }
    const size_t whole = static_cast<size_t>(power) + 1;
    to = Append(to, digits, whole);
    *to++ = '.';
    return Append(to, digits + whole, count - whole);
}

// Division of 128 bits is slow, and few values need them.
void StripZeros(DecimalValue &value)
{
    while (value.magnitude > UINT64_MAX && value.magnitude % 10 == 0) {
        value.magnitude /= 10;
        ++value.exponent;
    }
    if (value.magnitude > UINT64_MAX)
        return;
    auto magnitude = static_cast<uint64_t>(value.magnitude);
    for (; magnitude % 10 == 0; magnitude /= 10)
        ++value.exponent;
    value.magnitude = magnitude;
}

// The fewest bytes of two's complement.
uint32_t MantissaBytes(Wide value, bool negative)
{
    const auto byte = [&](uint32_t i) { return static_cast<uint8_t>(value >> (8 * i)); };
    uint32_t bytes = sizeof value;
    const uint8_t filler = negative ? 0xFF : 0;
    while (bytes > 1 && byte(bytes - 1) == filler && ((byte(bytes - 2) ^ filler) & 0x80) == 0)
        --bytes;
    return bytes;
}

}  // namespace

Wide PowerOfTen(int exponent) { return kPowers[static_cast<size_t>(exponent)]; }

Misfit ParseDecimal(std::string_view text, DecimalValue &value)
{
    value = {};
    size_t at = 0;
    if (at < text.size() && (text[at] == '-' || text[at] == '+'))
        value.negative = text[at++] == '-';
    DigitSum sum;
    const size_t whole = at;
    for (; at < text.size() && IsDigit(text[at]); ++at)
        sum.Add(text[at]);
    size_t seen = at - whole;
    int fraction = 0;
    if (at < text.size() && text[at] == '.') {
        const size_t from = ++at;
        for (; at < text.size() && IsDigit(text[at]); ++at)
            sum.Add(text[at]);
        fraction = static_cast<int>(std::min<size_t>(at - from, kMostExponent));
        seen += at - from;
    }
    int power = 0;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        if (!ParseExponent(text.substr(at + 1), power))
            return Misfit::Malformed;
        at = text.size();
    }
    if (seen == 0 || at != text.size())
        return Misfit::Malformed;
    if (sum.too_many)
        return Misfit::NotExact;
    value.magnitude = sum.magnitude;
    value.digits = sum.digits;
    value.exponent = sum.digits > 0 ? sum.zeros - fraction + power : 0;
    value.negative = value.negative && sum.digits > 0;
    return Misfit::None;
}

Misfit EncodeDecimal(const ValueType &type, const DecimalValue &value, uint8_t *to)
{
    const int shift = value.exponent + type.scale;
    Wide scaled = value.magnitude;
    if (scaled != 0) {
        if (value.digits + shift > type.precision)
            return Misfit::OutOfRange;
        if (shift < 0)
            return Misfit::TooFine;
        scaled *= kPowers[static_cast<size_t>(shift)];
    }
    if (value.negative)
        scaled = Wide{0} - scaled;
    memcpy(to, &scaled, std::min<size_t>(type.bytes, sizeof scaled));
    return Misfit::None;
}

Misfit EncodeNumber(const ValueType &type, const DecimalValue &value, uint8_t *to, uint32_t *bytes)
{
    *bytes = 0;
    if (value.magnitude == 0)
        return Misfit::None;
    const int power = value.digits - 1 + value.exponent;
    if (power > kMostNumberPower || power < kLeastNumberPower ||
        (type.precision > 0 && power + 1 + type.scale > type.precision))
        return Misfit::OutOfRange;
    if (type.precision > 0 && value.exponent + type.scale < 0)
        return Misfit::TooFine;
    Wide mantissa = value.magnitude;
    int exponent = value.exponent;
    if (exponent > 0 && power < kMostDigits) {  // 100 is 100, not 1 with two zeros
        mantissa *= kPowers[static_cast<size_t>(exponent)];
        exponent = 0;
    }
    if (value.negative)
        mantissa = Wide{0} - mantissa;
    const auto scale = static_cast<int16_t>(-exponent);
    const uint32_t length = MantissaBytes(mantissa, value.negative);
    memcpy(to, &scale, sizeof scale);
    memcpy(to + kScaleBytes, &mantissa, length);
    *bytes = kScaleBytes + length;
    return Misfit::None;
}

size_t DecimalText(const ValueType &type, const uint8_t *value, char *to)
{
    bool negative = false;
    const Wide magnitude = LoadMagnitude(value, type.bytes, negative);
    char room[64];
    char *const end = room + sizeof room;
    char *at = WriteDigits(magnitude, end);
    while (end - at <= type.scale)
        *--at = '0';
    char *out = to;
    if (negative)
        *out++ = '-';
    out = Append(out, at, static_cast<size_t>(end - at) - type.scale);
    if (type.scale > 0) {
        *out++ = '.';
        out = Append(out, end - type.scale, type.scale);
    }
    return static_cast<size_t>(out - to);
}

size_t NumberText(const uint8_t *value, uint32_t bytes, char *to)
{
    if (bytes == 0) {
        *to = '0';
        return 1;
    }
    if (bytes <= kScaleBytes || bytes > kScaleBytes + kMostMantissa)
        return kNoText;
    int16_t scale = 0;
    memcpy(&scale, value, sizeof scale);
    bool negative = false;
    char digits[64];
    size_t count = MantissaDigits(value + kScaleBytes, bytes - kScaleBytes, negative, digits);
    int exponent = -scale;
    for (; count > 1 && digits[count - 1] == '0'; --count)
        ++exponent;
    if (digits[0] == '0') {
        *to = '0';
        return 1;
    }
    char *out = to;
    if (negative)
        *out++ = '-';
    return static_cast<size_t>(PlacePoint(digits, count, exponent, out) - to);
}

bool DecodeDecimal(const ValueType &type, const uint8_t *value, uint32_t bytes,
                   DecimalValue &decoded)
{
    decoded = {};
    if (type.kind == TypeKind::Decimal) {
        decoded.magnitude = LoadMagnitude(value, type.bytes, decoded.negative);
        decoded.exponent = -type.scale;
    } else if (bytes > 0) {
        if (bytes <= kScaleBytes || bytes > kScaleBytes + sizeof(Wide))
            return false;
        int16_t scale = 0;
        memcpy(&scale, value, sizeof scale);
        decoded.magnitude =
            LoadMagnitude(value + kScaleBytes, bytes - kScaleBytes, decoded.negative);
        decoded.exponent = -scale;
    }
    if (decoded.magnitude == 0) {
        decoded = {};
        return true;
    }
    StripZeros(decoded);
    while (decoded.digits <= kMostDigits && decoded.magnitude >= PowerOfTen(decoded.digits))
        ++decoded.digits;
    return true;
}

}  // namespace fenwire
