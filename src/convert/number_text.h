// convert/number_text.h - numbers as the texts that delimited records hold.
//
// Each writes from `to` on, which has room for kNumberText bytes, and answers the end of the text. No
// zero is put behind it. What stands behind the end is undefined up to the room's end.

#ifndef FENWIRE_CONVERT_NUMBER_TEXT_H
#define FENWIRE_CONVERT_NUMBER_TEXT_H

#include <cstdint>
#include <string_view>

#include "convert/number.h"

inline constexpr uint32_t kNumberText = 148;

// A DECIMAL whose scale is above this is written with an exponent: no zeros could show it.
inline constexpr uint32_t kMaxDecimalScale = 100;
// A NUMBER is written without an exponent up to so many digits before the point, which is what it holds.
inline constexpr int32_t kMaxNumberDigits = 40;

// "0", "1.5", "5e-01", "1e+14", "nan", "-inf": 15 digits, without trailing zeros.
char *WriteFloat(char *to, double value);

// value has DecimalBytes(precision) bytes. "0", "100", "1.5", "-0.05".
char *WriteDecimal(char *to, const uint8_t *value, uint32_t precision, uint32_t scale,
                   NumberValue *work);

// value has length bytes: a column of NUMBER without its length byte. "0", "120", "1.5", "5e-2".
// work is an initialised value. Nothing is written for a length that no NUMBER has.
char *WriteNumber(char *to, const uint8_t *value, uint32_t length, NumberValue *work);

// digits, with a sign or without, times ten to the power of the exponent, as a NUMBER.
char *WriteExponentForm(char *to, std::string_view digits, int32_t exponent);

// digits, with a sign or without, with a point before the last `scale`; zeros at the fraction's end go.
char *WriteScaled(char *to, std::string_view digits, uint32_t scale);

#endif
