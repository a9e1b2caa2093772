// convert/number_values.cpp - life, comparison, range, integers and texts of NUMBER and DECIMAL.

#include <algorithm>

#include "convert/number.h"
#include "convert/number_text.h"

// ---- Life --------------------------------------------------------------------------------------

static bool IsFloating(int32_t precision)
{
    return precision == kFloating || precision == kFloatingWide;
}

static int32_t CheckDeclaration(NumberClass number_class, int32_t precision, int32_t scale)
{
    if (number_class == NumberClass::Floating)
        return scale >= 0 || scale == kFloating ? kNumberOk : kNumberBadScale;
    if (precision < 1 || precision > kMaxPrecision)
        return kNumberBadPrecision;
    const int32_t most = number_class == NumberClass::LargeDecimal ? precision : -kFloating;
    return scale >= 0 && scale <= most ? kNumberOk : kNumberBadScale;
}

static int32_t Initialize(NumberValue *value, NumberClass number_class, int32_t precision,
                          int32_t scale)
{
    *value = {};
    const int32_t result = CheckDeclaration(number_class, precision, scale);
    if (result != kNumberOk)
        return result;
    value->precision = static_cast<int16_t>(precision);
    value->scale = value->current_scale = static_cast<int16_t>(scale);
    value->maximum_scale = static_cast<int16_t>(scale < kMaxPrecision ? scale + 1 : scale);
    value->exponent = scale > 0 ? -scale : 0;
    value->number_class = number_class;
    value->state = NumberValue::kInitialised;
    return kNumberOk;
}

int32_t NU_Initialize(NumberValue *value, int32_t precision, int32_t scale)
{
    return Initialize(value, IsFloating(precision) ? NumberClass::Floating : NumberClass::Fixed,
                      precision, scale);
}

int32_t LD_Initialize(NumberValue *value, int32_t precision, int32_t scale)
{
    return Initialize(value, NumberClass::LargeDecimal, precision, scale);
}

void NU_Destroy(NumberValue *value) { *value = {}; }
void LD_Destroy(NumberValue *value) { *value = {}; }

// ---- Scale and range ---------------------------------------------------------------------------

bool RescaleMantissa(const NumberValue &value, int32_t scale, Magnitude *mantissa)
{
    *mantissa = value.mantissa;
    const int32_t more = scale + value.exponent;
    if (more >= 0)
        return TimesPowerOfTen(*mantissa, static_cast<uint32_t>(more));
    DropDigits(*mantissa, static_cast<uint32_t>(-more - 1));
    const bool up = DivideBy(*mantissa, 10) >= 5;
    return MultiplyAdd(*mantissa, 1, up ? 1 : 0);
}

static int32_t CheckDigits(const NumberValue &value, int32_t precision, int32_t scale)
{
    Magnitude mantissa;
    if (!RescaleMantissa(value, scale, &mantissa))
        return kNumberOutOfRange;
    return CompareMagnitudes(mantissa, PowerOfTen(static_cast<uint32_t>(precision))) < 0
               ? kNumberOk
               : kNumberOutOfRange;
}

static int32_t CheckFloating(const NumberValue &value, int32_t precision, int32_t scale)
{
    constexpr int kMostBytes = 18;
    constexpr int32_t kMostPower = 126;
    Magnitude mantissa = value.mantissa;
    int32_t exponent = value.exponent;
    if (!IsFloating(precision))
        return kNumberBadPrecision;
    if (scale < 0 && scale != kFloating)
        return kNumberBadScale;
    if (scale > 0 && scale != value.scale) {
        if (!RescaleMantissa(value, scale, &mantissa))
            return kNumberOutOfRange;
        exponent = -scale;
    }
    if (BitLength(mantissa) / 8 + 1 > kMostBytes)
        return kNumberOutOfRange;
    const int32_t digits = static_cast<int32_t>(DigitCount(mantissa));
    return digits <= kMaxNumberDigits && exponent + digits - 1 < kMostPower ? kNumberOk
                                                                            : kNumberOutOfRange;
}

static int32_t RangeCheck(const NumberValue *value, int32_t precision, int32_t scale)
{
    if (value->number_class == NumberClass::Floating)
        return CheckFloating(*value, precision, scale);
    const int32_t result = CheckDeclaration(value->number_class, precision, scale);
    return result == kNumberOk ? CheckDigits(*value, precision, scale) : result;
}

int32_t NU_RangeCheck(const NumberValue *value, int32_t precision, int32_t scale)
{
    return RangeCheck(value, precision, scale);
}

int32_t LD_RangeCheck(const NumberValue *value, int32_t precision, int32_t scale)
{
    return RangeCheck(value, precision, scale);
}

static void Clear(NumberValue *value)
{
    value->mantissa = {};
    value->negative = false;
    value->exponent = value->scale > 0 ? -value->scale : 0;
    value->current_scale = value->scale;
}

int32_t SettleNumber(NumberValue *value, const Magnitude &mantissa, bool negative, int32_t exponent)
{
    Clear(value);
    if (IsZero(mantissa))
        return kNumberOk;
    value->mantissa = mantissa;
    value->negative = negative;
    value->exponent = exponent;
    if (value->number_class != NumberClass::Floating) {
        Magnitude rescaled;
        if (CheckDigits(*value, value->precision, value->scale) != kNumberOk ||
            !RescaleMantissa(*value, value->scale, &rescaled)) {
            Clear(value);
            return kNumberOutOfRange;
        }
        value->mantissa = rescaled;
        value->negative = negative && !IsZero(rescaled);
        value->exponent = -value->scale;
    }
    value->current_scale =
        static_cast<int16_t>(std::clamp(-value->exponent, 0, int32_t{INT16_MAX}));
    return kNumberOk;
}

// ---- Comparison --------------------------------------------------------------------------------

// Magnitudes other than zero. Only where both have the same power of ten at their first digit do the digits
// decide. Then one is taken as it is, and the other gets zeros behind it; it is the larger if they don't fit.
static int CompareSizes(const NumberValue &a, const NumberValue &b)
{
    const int64_t power_a = int64_t{a.exponent} + DigitCount(a.mantissa);
    const int64_t power_b = int64_t{b.exponent} + DigitCount(b.mantissa);
    if (power_a != power_b)
        return power_a < power_b ? -1 : 1;
    const int32_t lower = std::min(a.exponent, b.exponent);
    Magnitude left, right;
    if (!RescaleMantissa(a, -lower, &left))
        return 1;
    return RescaleMantissa(b, -lower, &right) ? CompareMagnitudes(left, right) : -1;
}

int NU_CompareToZero(const NumberValue *value)
{
    return IsZero(value->mantissa) ? 0 : value->negative ? -1 : 1;
}

int NU_Compare(const NumberValue *a, const NumberValue *b)
{
    const int sign_a = NU_CompareToZero(a), sign_b = NU_CompareToZero(b);
    if (sign_a != sign_b)
        return sign_a < sign_b ? -1 : 1;
    return sign_a == 0 ? 0 : sign_a * CompareSizes(*a, *b);
}

int LD_Compare(const NumberValue *a, const NumberValue *b) { return NU_Compare(a, b); }
int LD_CompareToZero(const NumberValue *value) { return NU_CompareToZero(value); }

// ---- Integers, the other class -----------------------------------------------------------------

int32_t NU_SetValueFromInteger64(NumberValue *value, int64_t integer)
{
    Magnitude mantissa;
    const uint64_t bits = static_cast<uint64_t>(integer);
    mantissa.limb[0] = integer < 0 ? 0 - bits : bits;
    return SettleNumber(value, mantissa, integer < 0, 0);
}

int32_t LD_SetValueFromInteger64(NumberValue *value, int64_t integer)
{
    return NU_SetValueFromInteger64(value, integer);
}

int32_t NU_ExportValueToInteger64(const NumberValue *value, int64_t *integer)
{
    Magnitude whole = value->mantissa;
    bool lost = false;
    if (value->exponent < 0)
        lost = DropDigits(whole, static_cast<uint32_t>(-value->exponent));
    else if (!TimesPowerOfTen(whole, static_cast<uint32_t>(value->exponent)))
        return kNumberOutOfRange;
    const uint64_t most = static_cast<uint64_t>(INT64_MAX) + (value->negative ? 1 : 0);
    if (UsedLimbs(whole) > 1 || whole.limb[0] > most)
        return kNumberOutOfRange;
    *integer = static_cast<int64_t>(value->negative ? 0 - whole.limb[0] : whole.limb[0]);
    return lost ? kNumberTruncated : kNumberOk;
}

int32_t LD_ExportValueToInteger64(const NumberValue *value, int64_t *integer)
{
    return NU_ExportValueToInteger64(value, integer);
}

int32_t NU_SetValueFromLargeDecimal(NumberValue *value, const NumberValue *decimal)
{
    return SettleNumber(value, decimal->mantissa, decimal->negative, decimal->exponent);
}

int32_t NU_ExportValueToLargeDecimal(const NumberValue *value, NumberValue *decimal)
{
    return SettleNumber(decimal, value->mantissa, value->negative, value->exponent);
}

// ---- Texts -------------------------------------------------------------------------------------

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Zeros at the end count into the exponent, so that "1" with a hundred zeros is a number of one digit.
struct DigitReader {
    Magnitude mantissa = {};
    int32_t exponent = 0;
    uint32_t zeros = 0;
    bool fits = true, any = false;

    void Read(std::string_view *text, int32_t exponent_step)
    {
        for (; !text->empty() && IsDigit(text->front()); text->remove_prefix(1)) {
            Take(static_cast<uint64_t>(text->front() - '0'));
            exponent -= exponent_step;
        }
    }
    void Take(uint64_t digit)
    {
        any = true;
        if (digit == 0) {
            zeros += IsZero(mantissa) ? 0 : 1;
            return;
        }
        fits = fits && TimesPowerOfTen(mantissa, zeros) && MultiplyAdd(mantissa, 10, digit);
        zeros = 0;
    }
};

// What stands behind an "e". False: no number. A power beyond any value's stays beyond it.
static bool ReadPower(std::string_view text, int64_t *power)
{
    constexpr int64_t kBeyond = 1000000;
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    if (text.empty() || !std::all_of(text.begin(), text.end(), IsDigit))
        return false;
    *power = 0;
    for (const char c : text)
        *power = std::min(*power * 10 + (c - '0'), kBeyond);
    if (negative)
        *power = -*power;
    return true;
}

int32_t NU_SetValueFromString(NumberValue *value, std::string_view text)
{
    constexpr size_t kMaxText = 100000;
    DigitReader reader;
    int64_t power = 0;
    Clear(value);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    if (text.size() > kMaxText)
        return kNumberBadArgument;
    reader.Read(&text, 0);
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        reader.Read(&text, 1);
    }
    if (!text.empty() && (text.front() == 'e' || text.front() == 'E')) {
        if (!ReadPower(text.substr(1), &power))
            return kNumberBadArgument;
        text = {};
    }
    if (!reader.any || !text.empty())
        return kNumberBadArgument;
    if (IsZero(reader.mantissa))
        return kNumberOk;
    power += reader.exponent + int64_t{reader.zeros};
    if (!reader.fits || power < -INT16_MAX || power > INT16_MAX)
        return kNumberOutOfRange;
    return SettleNumber(value, reader.mantissa, negative, static_cast<int32_t>(power));
}

int32_t LD_SetValueFromString(NumberValue *value, std::string_view text)
{
    return NU_SetValueFromString(value, text);
}

int32_t NU_ExportValueToString(const NumberValue *value, char *text, uint32_t size)
{
    char digits[1 + kMaxMagnitudeDigits + 7], area[2 * kNumberText] = "-";
    digits[0] = '-';
    const char *end = WriteMagnitude(digits + (value->negative ? 1 : 0), value->mantissa);
    const std::string_view all(digits, end);
    const bool scaled = value->number_class != NumberClass::Floating &&
                        value->exponent >= -static_cast<int32_t>(kMaxDecimalScale);
    char *last = all == "0" ? WriteDigits(area, 0)
                 : scaled   ? WriteScaled(area, all, static_cast<uint32_t>(-value->exponent))
                            : WriteExponentForm(area, all, value->exponent);
    const size_t length = static_cast<size_t>(last - area);
    if (length >= size)
        return kNumberTruncated;
    memcpy(text, area, length);
    text[length] = '\0';
    return kNumberOk;
}

int32_t LD_ExportValueToString(const NumberValue *value, char *text, uint32_t size)
{
    return NU_ExportValueToString(value, text, size);
}
