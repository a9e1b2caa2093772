// convert/number.h - NUMBER and DECIMAL values: columns in and out, texts, comparison, range.
//
// A value is mantissa times ten to the power of its exponent. Three classes: a large decimal (LD_) and
// a NUMBER of fixed precision (NU_) keep their declared scale, a floating NUMBER the digits it got.
// A set operation rounds to the declared scale, halves away from zero.
//
// NUMBER as a column:      DECIMAL as a column:
//     u8   L: bytes behind it; 0: zero       a scaled integer of 1, 2, 4, 8 or 16 bytes,
//     i16  the negated exponent              as its precision asks for
//     ...  mantissa of L - 2 bytes
// All little-endian, mantissas in two's complement.
//
// number_columns.cpp: columns; number_values.cpp: the rest.

#ifndef FENWIRE_CONVERT_NUMBER_H
#define FENWIRE_CONVERT_NUMBER_H

#include <cstdint>
#include <string_view>

#include "convert/number_limbs.h"

enum NumberResult : int32_t {
    kNumberOk = 0,
    kNumberNull = 3,  // no value, or a length that none has
    kNumberBadPrecision = 5,
    kNumberBadScale = 6,
    kNumberOutOfRange = 16,
    kNumberTruncated = -5,   // digits or text cut off
    kNumberBadArgument = -6  // no number
};

enum class NumberClass : uint32_t { None = 0, LargeDecimal = 1, Fixed = 2, Floating = 3 };

inline constexpr int32_t kFloating = -128,
                         kFloatingWide = -256;  // precisions; the first a scale too
inline constexpr int32_t kMaxPrecision = 38;
inline constexpr uint32_t kMaxMantissaBytes = 17;
inline constexpr uint32_t kMaxNumberLength = kMaxMantissaBytes + 2;  // L of a column
inline constexpr uint32_t kMaxMantissaText = 100;                    // bytes, the zero included

struct NumberValue {
    Magnitude mantissa;
    bool negative = false;
    int16_t precision = 0;
    int16_t maximum_scale = 0;
    int16_t scale = 0;
    int16_t current_scale = 0;  // of the mantissa now held
    int32_t exponent = 0;
    NumberClass number_class = NumberClass::None;
    uint32_t state = 0;  // kInitialised, or not usable
    static constexpr uint32_t kInitialised = 2;
};

// ---- Life --------------------------------------------------------------------------------------
// Precision and scale as declared: 1 to 38 with a scale of 0 to the precision in an LD_ value; NUMBER
// also takes larger scales, and kFloating for both. 0, 5 or 6; a value is zero after it.
int32_t NU_Initialize(NumberValue *value, int32_t precision, int32_t scale);
int32_t LD_Initialize(NumberValue *value, int32_t precision, int32_t scale);
void NU_Destroy(NumberValue *value);
void LD_Destroy(NumberValue *value);

// ---- Comparison, range -------------------------------------------------------------------------
// Below 0, 0, above 0. The classes may differ.
int NU_Compare(const NumberValue *a, const NumberValue *b);
int NU_CompareToZero(const NumberValue *value);
int LD_Compare(const NumberValue *a, const NumberValue *b);
int LD_CompareToZero(const NumberValue *value);

// 0; 16: more digits than the precision, or no column has room for it; 5 and 6 as for NU_Initialize.
int32_t NU_RangeCheck(const NumberValue *value, int32_t precision, int32_t scale);
int32_t LD_RangeCheck(const NumberValue *value, int32_t precision, int32_t scale);

// ---- Columns -----------------------------------------------------------------------------------
// 3: L is 1 or above 19, and nothing behind it was read. column has L + 1 bytes.
int32_t NU_SetValueFromDBSColumn(NumberValue *value, const uint8_t *column, int32_t precision,
                                 int32_t scale);
// column has room for kMaxNumberLength + 1 bytes; *length is what was written.
int32_t NU_ExportValueToDBSColumn(const NumberValue *value, uint8_t *column, uint32_t *length);
// The mantissa's digits, behind a minus if need be, and a zero; *scale is the power of ten. -5: no room
// in size bytes. value is only worked with.
int32_t NU_ExportMantissaToString(NumberValue *value, const uint8_t *column, char *text,
                                  uint32_t size, int32_t *scale);

// Bytes of a DECIMAL.
constexpr uint32_t DecimalBytes(uint32_t precision)
{
    return precision <= 2 ? 1 : precision <= 4 ? 2 : precision <= 9 ? 4 : precision <= 18 ? 8 : 16;
}
// column has DecimalBytes(precision) bytes. A column may hold more than its precision says.
int32_t LD_SetValueFromDBSColumn(NumberValue *value, const uint8_t *column, int32_t precision,
                                 int32_t scale);
int32_t LD_ExportValueToDBSColumn(const NumberValue *value, uint8_t *column, uint32_t *length);

// ---- Integers, texts, the other class ----------------------------------------------------------
// Results of the set operations: 0; 16: out of the declared range; -6: no number. value keeps what it
// was declared as; unless the result is 0 it is zero.
int32_t NU_SetValueFromInteger64(NumberValue *value, int64_t integer);
int32_t LD_SetValueFromInteger64(NumberValue *value, int64_t integer);
// Sign, digits with or without a point, "e" with a power of ten; nothing else, no blanks.
int32_t NU_SetValueFromString(NumberValue *value, std::string_view text);
int32_t LD_SetValueFromString(NumberValue *value, std::string_view text);
int32_t NU_SetValueFromLargeDecimal(NumberValue *value, const NumberValue *decimal);
int32_t NU_ExportValueToLargeDecimal(const NumberValue *value, NumberValue *decimal);

// 16: no int64_t. -5: the fraction was left out of *integer.
int32_t NU_ExportValueToInteger64(const NumberValue *value, int64_t *integer);
int32_t LD_ExportValueToInteger64(const NumberValue *value, int64_t *integer);
// As the column's text (number_text.h), and a zero. -5: no room in size bytes.
int32_t NU_ExportValueToString(const NumberValue *value, char *text, uint32_t size);
int32_t LD_ExportValueToString(const NumberValue *value, char *text, uint32_t size);

// ---- Shared by the two files ------------------------------------------------------------------
// Takes mantissa, sign and exponent over as declared: rounded and checked.
int32_t SettleNumber(NumberValue *value, const Magnitude &mantissa, bool negative,
                     int32_t exponent);
// The mantissa with that many decimal places, rounded; false: it has no room.
bool RescaleMantissa(const NumberValue &value, int32_t scale, Magnitude *mantissa);

#endif
