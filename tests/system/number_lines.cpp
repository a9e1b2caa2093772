// tests/system/number_lines.cpp - NUMBER and DECIMAL values at work, a line each, for numbers_equal_decimal.py.
//
//     number TEXT PRECISION SCALE    result, column in hexadecimal, its text, the value's text
//     decimal TEXT PRECISION SCALE   the same
//     compare TEXT TEXT              -1, 0 or 1
//     range TEXT PRECISION SCALE     result, of a floating NUMBER
//     integer TEXT                   result, integer

#include <cstdio>
#include <iostream>
#include <string>

#include "convert/number_text.h"

namespace {

NumberValue Floating(const std::string &text)
{
    NumberValue value;
    NU_Initialize(&value, kFloating, kFloating);
    NU_SetValueFromString(&value, text);
    return value;
}

std::string Hex(const uint8_t *bytes, uint32_t length)
{
    std::string hex;
    for (uint32_t i = 0; i < length; ++i) {
        char pair[3];
        snprintf(pair, sizeof pair, "%02x", bytes[i]);
        hex += pair;
    }
    return hex;
}

std::string Number(const std::string &text, int precision, int scale)
{
    NumberValue value, back, work;
    uint8_t column[kMaxNumberLength + 1];
    char area[kNumberText], own[2 * kNumberText];
    uint32_t length = 0;
    NU_Initialize(&work, kFloating, kFloating);
    int32_t result = NU_Initialize(&value, precision, scale);
    if (result == 0)
        result = NU_SetValueFromString(&value, text);
    if (result == 0)
        result = NU_ExportValueToDBSColumn(&value, column, &length);
    if (result == 0)
        result = NU_SetValueFromDBSColumn(&back, column, precision, scale);
    if (result != 0 || NU_Compare(&value, &back) != 0)
        return std::to_string(result);
    const char *end = WriteNumber(area, column + 1, column[0], &work);
    NU_ExportValueToString(&back, own, sizeof own);
    return "0 " + Hex(column, length) + " " + std::string(area, static_cast<size_t>(end - area)) +
           " " + own;
}

std::string Decimal(const std::string &text, int precision, int scale)
{
    NumberValue value, back, work;
    uint8_t column[16];
    char area[kNumberText], own[kNumberText];
    uint32_t length = 0;
    NU_Initialize(&work, kFloating, kFloating);
    int32_t result = LD_Initialize(&value, precision, scale);
    if (result == 0)
        result = LD_SetValueFromString(&value, text);
    if (result == 0)
        result = LD_ExportValueToDBSColumn(&value, column, &length);
    if (result == 0)
        result = LD_SetValueFromDBSColumn(&back, column, precision, scale);
    if (result != 0 || LD_Compare(&value, &back) != 0)
        return std::to_string(result);
    const char *end = WriteDecimal(area, column, static_cast<uint32_t>(precision),
                                   static_cast<uint32_t>(scale), &work);
    LD_ExportValueToString(&back, own, sizeof own);
    return "0 " + Hex(column, length) + " " + std::string(area, static_cast<size_t>(end - area)) +
           " " + own;
}

std::string Answer(const std::string &what, const std::string &text)
{
    std::string other;
    int precision = 0, scale = 0;
    int64_t integer = 0;
    NumberValue value = Floating(text);
    if (what == "integer") {
        const int32_t result = NU_ExportValueToInteger64(&value, &integer);
        return std::to_string(result) + " " + std::to_string(integer);
    }
    if (what == "compare") {
        std::cin >> other;
        const NumberValue right = Floating(other);
        return std::to_string(NU_Compare(&value, &right));
    }
    std::cin >> precision >> scale;
    if (what == "range")
        return std::to_string(NU_RangeCheck(&value, precision, scale));
    return what == "number" ? Number(text, precision, scale) : Decimal(text, precision, scale);
}

}  // namespace

int main()
{
    std::string what, text;
    while (std::cin >> what >> text)
        std::cout << Answer(what, text) << '\n';
}
