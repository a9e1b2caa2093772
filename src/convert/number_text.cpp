// convert/number_text.cpp - DECIMAL and NUMBER as text.

#include "convert/number_text.h"

#include <cstdio>

// Takes a minus off the digits, and writes it.
static char *TakeSign(char *to, std::string_view *digits)
{
    if (!digits->starts_with('-'))
        return to;
    digits->remove_prefix(1);
    *to = '-';
    return to + 1;
}

static char *Put(char *to, std::string_view text)
{
    memcpy(to, text.data(), text.size());
    return to + text.size();
}

static char *PutZeros(char *to, size_t count)
{
    memset(to, '0', count);
    return to + count;
}

char *WriteScaled(char *to, std::string_view digits, uint32_t scale)
{
    to = TakeSign(to, &digits);
    for (; scale > 0 && digits.ends_with('0'); --scale)
        digits.remove_suffix(1);
    if (scale == 0)
        return Put(to, digits);
    if (digits.size() <= scale) {
        to = PutZeros(Put(to, "0."), scale - digits.size());
        return Put(to, digits);
    }
    const size_t whole = digits.size() - scale;
    to = Put(Put(to, digits.substr(0, whole)), ".");
    return Put(to, digits.substr(whole));
}

static char *WriteScientific(char *to, std::string_view digits, int32_t exponent)
{
    const int32_t power = exponent + static_cast<int32_t>(digits.size()) - 1;
    to = Put(to, digits.substr(0, 1));
    if (digits.size() > 1)
        to = Put(Put(to, "."), digits.substr(1));
    *to++ = 'e';
    return WriteInteger(to, power);
}

char *WriteExponentForm(char *to, std::string_view digits, int32_t exponent)
{
    to = TakeSign(to, &digits);
    if (digits == "0")
        return Put(to, digits);
    for (; digits.ends_with('0'); ++exponent)
        digits.remove_suffix(1);
    const int32_t count = static_cast<int32_t>(digits.size());
    if (exponent < 0 && exponent >= -count)
        return WriteScaled(to, digits, static_cast<uint32_t>(-exponent));
    if (exponent >= 0 && (exponent == 0 || count + exponent <= kMaxNumberDigits))
        return PutZeros(Put(to, digits), static_cast<size_t>(exponent));
    return WriteScientific(to, digits, exponent);
}

// ---- DECIMAL -----------------------------------------------------------------------------------

template <class Integer>
static int64_t Load(const uint8_t *value)
{
    Integer integer;
    memcpy(&integer, value, sizeof integer);
    return integer;
}

static int64_t LoadDecimal(const uint8_t *value, uint32_t bytes)
{
    return bytes == 8   ? Load<int64_t>(value)
           : bytes == 4 ? Load<int32_t>(value)
           : bytes == 2 ? Load<int16_t>(value)
                        : Load<int8_t>(value);
}

// Up to eight decimal places, in registers: whole part, and a fraction whose last digit that is no zero
// is found by its bit.
static char *WriteFewPlaces(char *to, int64_t value, uint32_t scale)
{
    *to = '-';
    to += value < 0;
    const uint64_t bits = static_cast<uint64_t>(value), size = value < 0 ? 0 - bits : bits;
    const uint64_t power = kPowersOfTen[scale];
    to = WriteDigits(to, size / power);
    const uint64_t places = EightDigits(static_cast<uint32_t>(size % power)) >> (64 - 8 * scale);
    if (places == 0)
        return to;
    *to = '.';
    StoreEight(to + 1, places);
    return to + 1 + 8 - std::countl_zero(places) / 8;
}

// The 16 bytes as a NUMBER without an exponent, whose digits are the same.
static std::string_view LargeDecimalDigits(const uint8_t *value, NumberValue *work,
                                           char (&digits)[kMaxMantissaText])
{
    constexpr uint32_t kBytes = 16;
    uint8_t column[1 + sizeof(int16_t) + kBytes] = {kBytes + sizeof(int16_t)};
    int32_t exponent = 0;
    memcpy(column + 3, value, kBytes);
    return NU_ExportMantissaToString(work, column, digits, sizeof digits, &exponent) == kNumberOk
               ? digits
               : "";
}

char *WriteDecimal(char *to, const uint8_t *value, uint32_t precision, uint32_t scale,
                   NumberValue *work)
{
    char area[kMaxMantissaText];
    std::string_view digits;
    const uint32_t bytes = DecimalBytes(precision);
    if (bytes == 16) {
        digits = LargeDecimalDigits(value, work, area);
    } else {
        const int64_t integer = LoadDecimal(value, bytes);
        if (scale == 0)
            return WriteInteger(to, integer);
        if (scale <= 8)
            return WriteFewPlaces(to, integer, scale);
        digits = {area, WriteInteger(area, integer)};
    }
    if (digits == "0")
        return Put(to, digits);
    return scale > kMaxDecimalScale ? WriteExponentForm(to, digits, -static_cast<int32_t>(scale))
                                    : WriteScaled(to, digits, scale);
}

// ---- NUMBER ------------------------------------------------------------------------------------

char *WriteNumber(char *to, const uint8_t *value, uint32_t length, NumberValue *work)
{
    uint8_t column[1 + kMaxNumberLength];
    char digits[kMaxMantissaText];
    int32_t exponent = 0;
    if (length > kMaxNumberLength)
        return to;
    column[0] = static_cast<uint8_t>(length);
    memcpy(column + 1, value, length);
    if (NU_ExportMantissaToString(work, column, digits, sizeof digits, &exponent) != kNumberOk)
        return to;
    return WriteExponentForm(to, digits, exponent);
}
