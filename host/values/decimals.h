// host/values/decimals.h - numbers as a sign, decimal digits and an exponent.
//
// DECIMAL is a two's complement integer of 1, 2, 4, 8 or 16 bytes, scaled by the column. NUMBER has two
// bytes of scale and up to 17 of two's complement integer; no bytes at all are zero. Text is taken up to
// 38 digits, which every form and 128 bits have room for; what is there already is read to the last bit.

#ifndef FENWIRE_HOST_VALUES_DECIMALS_H
#define FENWIRE_HOST_VALUES_DECIMALS_H

#include "host/values/values.h"

namespace fenwire {

__extension__ using Wide = unsigned __int128;

// magnitude * 10^exponent. From text the last digit is not 0, but for zero itself, which has exponent 0.
struct DecimalValue {
    bool negative = false;
    Wide magnitude = 0;
    int digits = 0;  // of the magnitude
    int exponent = 0;
};

// "-12.50", "1e6", ".5". Blanks around it are the caller's business. NotExact stands for more than 38 digits.
Misfit ParseDecimal(std::string_view text, DecimalValue &value);

Misfit EncodeDecimal(const ValueType &type, const DecimalValue &value, uint8_t *to);
Misfit EncodeNumber(const ValueType &type, const DecimalValue &value, uint8_t *to, uint32_t *bytes);

size_t DecimalText(const ValueType &type, const uint8_t *value, char *to);
size_t NumberText(const uint8_t *value, uint32_t bytes, char *to);

// Of a Decimal or a Number, with its last zeros moved to the exponent. False: more than 128 bits, or no value.
bool DecodeDecimal(const ValueType &type, const uint8_t *value, uint32_t bytes,
                   DecimalValue &decoded);

Wide PowerOfTen(int exponent);  // up to 38

}  // namespace fenwire

#endif
