// convert/number_columns.cpp - NUMBER and DECIMAL columns, in and out.

#include <cstdio>

#include "convert/number.h"

// ---- Two's complement --------------------------------------------------------------------------

static constexpr uint32_t kWideBytes = sizeof(Magnitude::limb);

static void Negate(uint64_t (&limbs)[Magnitude::kLimbs])
{
    bool carry = true;
    for (uint64_t &limb : limbs) {
        limb = ~limb + carry;
        carry = carry && limb == 0;
    }
}

// bytes is at most kMaxMantissaBytes; none is zero.
static Magnitude LoadMantissa(const uint8_t *from, uint32_t bytes, bool *negative)
{
    Magnitude mantissa;
    *negative = bytes > 0 && (from[bytes - 1] & 0x80) != 0;
    if (*negative)
        memset(mantissa.limb, 0xFF, sizeof mantissa.limb);
    memcpy(mantissa.limb, from, bytes);
    if (*negative)
        Negate(mantissa.limb);
    return mantissa;
}

// The fewest bytes that hold mantissa and sign.
static uint32_t SignedBytes(const Magnitude &mantissa, bool negative)
{
    Magnitude size = mantissa;
    if (negative && !IsZero(size)) {  // -128 has no more bytes than 127
        for (int i = 0; size.limb[i]-- == 0;)
            ++i;
    }
    return static_cast<uint32_t>(BitLength(size)) / 8 + 1;
}

static void StoreMantissa(const Magnitude &mantissa, bool negative, uint8_t *to, uint32_t bytes)
{
    Magnitude signed_form = mantissa;
    if (negative)
        Negate(signed_form.limb);
    memcpy(to, signed_form.limb, bytes);
}

static_assert(kMaxMantissaBytes < kWideBytes);

// ---- NUMBER ------------------------------------------------------------------------------------

static int32_t LoadColumn(const uint8_t *column, Magnitude *mantissa, bool *negative,
                          int32_t *exponent)
{
    const uint32_t length = column[0];
    int16_t negated = 0;
    *mantissa = {};
    *negative = false;
    *exponent = 0;
    if (length == 0)
        return kNumberOk;
    if (length < sizeof negated || length > kMaxNumberLength)
        return kNumberNull;
    memcpy(&negated, column + 1, sizeof negated);
    *exponent = -int32_t{negated};
    *mantissa = LoadMantissa(column + 3, length - 2, negative);
    return kNumberOk;
}

int32_t NU_SetValueFromDBSColumn(NumberValue *value, const uint8_t *column, int32_t precision,
                                 int32_t scale)
{
    Magnitude mantissa;
    bool negative = false;
    int32_t exponent = 0;
    int32_t result = NU_Initialize(value, precision, scale);
    if (result == kNumberOk)
        result = LoadColumn(column, &mantissa, &negative, &exponent);
    return result == kNumberOk ? SettleNumber(value, mantissa, negative, exponent) : result;
}

int32_t NU_ExportValueToDBSColumn(const NumberValue *value, uint8_t *column, uint32_t *length)
{
    column[0] = 0;
    *length = 1;
    if (IsZero(value->mantissa))
        return kNumberOk;
    const uint32_t bytes = SignedBytes(value->mantissa, value->negative);
    const int32_t negated = -value->exponent;
    if (bytes > kMaxMantissaBytes || negated < INT16_MIN || negated > INT16_MAX)
        return kNumberOutOfRange;
    const int16_t stored = static_cast<int16_t>(negated);
    column[0] = static_cast<uint8_t>(bytes + sizeof stored);
    memcpy(column + 1, &stored, sizeof stored);
    StoreMantissa(value->mantissa, value->negative, column + 3, bytes);
    *length = bytes + 3;
    return kNumberOk;
}

int32_t NU_ExportMantissaToString(NumberValue *value, const uint8_t *column, char *text,
                                  uint32_t size, int32_t *scale)
{
    char digits[1 + kMaxMagnitudeDigits + 7];
    const int32_t result = LoadColumn(column, &value->mantissa, &value->negative, scale);
    if (result != kNumberOk)
        return result;
    if (IsZero(value->mantissa))
        *scale = 0;
    digits[0] = '-';
    char *end = WriteMagnitude(digits + (value->negative ? 1 : 0), value->mantissa);
    *end++ = '\0';
    if (static_cast<uint32_t>(end - digits) > size)
        return kNumberTruncated;
    memcpy(text, digits, static_cast<size_t>(end - digits));
    return kNumberOk;
}

// ---- DECIMAL -----------------------------------------------------------------------------------

int32_t LD_SetValueFromDBSColumn(NumberValue *value, const uint8_t *column, int32_t precision,
                                 int32_t scale)
{
    bool negative = false;
    const int32_t result = LD_Initialize(value, precision, scale);
    if (result != kNumberOk)
        return result;
    value->mantissa =
        LoadMantissa(column, DecimalBytes(static_cast<uint32_t>(precision)), &negative);
    value->negative = negative;
    value->exponent = -scale;
    return kNumberOk;
}

int32_t LD_ExportValueToDBSColumn(const NumberValue *value, uint8_t *column, uint32_t *length)
{
    Magnitude mantissa;
    const int32_t result = LD_RangeCheck(value, value->precision, value->scale);
    if (result != kNumberOk)
        return result;
    if (!RescaleMantissa(*value, value->scale, &mantissa))
        return kNumberOutOfRange;
    *length = DecimalBytes(static_cast<uint32_t>(value->precision));
    StoreMantissa(mantissa, value->negative, column, *length);
    return kNumberOk;
}
