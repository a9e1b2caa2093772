// tests/host/values/values_test.cpp - values as text and back, and what does not fit.

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

#include "tests/host/values/typed_columns.h"

using namespace fenwire;

TEST(Values, TextAndBinaryFormStandForEachOther)
{
    const std::string k38(38, '9');
    // clang-format off
    const struct {
        std::string type, text, hex;
    } kCases[] = {
        {"BYTEINT",  "-128", "80"},
        {"SMALLINT", "-32768", "0080"},
        {"INTEGER",  "2147483647", "FFFFFF7F"},
        {"NULLABLE BIGINT", "-9223372036854775808", "0000000000000080"},
        {"BOOLEAN",  "1", "01"},
        {"FLOAT",    "-0", "0000000000000080"},
        {"FLOAT",    "0.1", "9A9999999999B93F"},
        {"FLOAT",    "1.7976931348623157e+308", "FFFFFFFFFFFFEF7F"},
        {"FLOAT",    "5e-324", "0100000000000000"},
        {"FLOAT",    "-inf", "000000000000F0FF"},
        {"FLOAT",    "NaN", "000000000000F87F"},
        {"DECIMAL(2,1)", "-9.9", "9D"},
        {"DECIMAL(4,4)", "0.0001", "0100"},
        {"DECIMAL(9,2)", "0.00", "00000000"},
        {"DECIMAL(18,0)", "999999999999999999", "FFFF63A7B3B6E00D"},
        {"DECIMAL(19,2)", "-1.00", "9CFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF"},
        {"DECIMAL(38,0)", "-" + k38, "01000000C0DD75F6853B79A557B3C4B4"},
        {"NUMBER",   "0", ""},
        {"NUMBER",   "-1", "0000FF"},
        {"NUMBER",   "128", "00008000"},
        {"NUMBER",   "12.5", "01007D"},
        {"NUMBER",   "100", "000064"},
        {"NUMBER",   "0.0000001", "070001"},
        {"NUMBER",   "1e-8", "080001"},
        {"NUMBER",   "1.5e100", "9DFF0F"},
        {"INTDATE",  "2024-02-29", "A5EC1200"},
        {"INTDATE",  "0001-01-01", "B53CDEFE"},
        {"INTDATE",  "9999-12-31", "FFD3D304"},
        {"TIME(0)",  "23:59:60", "0087930317" "3B"},
        {"TIME(3)",  "00:00:01.500", "60E316000000"},
        {"TIME WITH TIME ZONE", "12:34:56.000001-08:00", "017E56030C22" "0800"},
        {"TIMESTAMP(0)", "2024-01-31 23:59:59", "C0448403" "E807" "011F173B"},
        {"TIMESTAMP(6) WITH TIME ZONE", "1999-12-31 00:00:00.000000+05:30", "00000000CF070C1F0000151E"},
        {"PERIOD(INTDATE)", "('1900-01-01', '1900-12-31')", "65000000CF040000"},
        {"PERIOD(TIME(0))", "('00:00:00', '00:01:00')", "000000000000" "000000000001"},
        {"PERIOD(TIMESTAMP(0) WITH TIME ZONE)", "('2000-01-01 00:00:00+00:00', '2000-01-02 00:00:00-01:00')",
         "00000000D007010100001000" "00000000D007010200000F00"},
        {"INTERVAL YEAR TO MONTH", "-1-06", "FFFFFAFF"},
        {"INTERVAL DAY TO SECOND(2)", "3 04:05:06.70", "0300040005000600" "60AE0A00"},
        {"INTERVAL SECOND(0)", "-7", "F9FF00000000"},
        {"CHAR(4)",  "ab  ", "61622020"},
        {"VARCHAR(4)", "", ""},
        {"BYTE(3)",  "00FF00", "00FF00"},
        {"VARBYTE(3)", "", ""},
        {"VARGRAPHIC(3)", "a\xF0\x9F\x98\x80", "61003DD800DE"},
        {"GRAPHIC(2)", "\xC3\xA9 ", "E9002000"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        EXPECT_EQ(Hex(BinaryOf(c.type, c.text)), c.hex) << c.type << " " << c.text;
        EXPECT_EQ(TextOf(c.type, Unhex(c.hex)), c.text) << c.type << " " << c.hex;
    }
}

TEST(Values, OtherWritingsOfAValueAreUnderstood)
{
    // clang-format off
    static constexpr struct {
        const char *type, *given, *same;
    } kCases[] = {
        {"INTEGER",      " 12 ",    "12"},
        {"INTEGER",      "1.20e1",  "12"},
        {"BIGINT",       "-9.223372036854775808e18", "-9223372036854775808"},
        {"BOOLEAN",      "TRUE",    "1"},
        {"FLOAT",        "+1E3",    "1000"},
        {"DECIMAL(5,2)", "+1.5",    "1.50"},
        {"DECIMAL(5,2)", ".5",      "0.50"},
        {"DECIMAL(5,2)", "-0",      "0.00"},
        {"DECIMAL(5,2)", "00012000e-3", "12.00"},
        {"DECIMAL(5,2)", "1.000000000000000000000000000000000000000000", "1.00"},
        {"NUMBER(5,2)",  "12.50",   "12.5"},
        {"NUMBER",       "1e37",    "10000000000000000000000000000000000000"},
        {"TIMESTAMP(3)", "2024-01-31T10:00", "2024-01-31 10:00:00.000"},
        {"TIME(1) WITH TIME ZONE", "10:00:00.5000Z", "10:00:00.5+00:00"},
        {"CHAR(3)",      "a",       "a  "},
        {"GRAPHIC(2)",   "a",       "a "},
        {"BYTE(3)",      "ab",      "AB0000"},
    };
    // clang-format on
    for (const auto &c : kCases)
        EXPECT_EQ(TextOf(c.type, BinaryOf(c.type, c.given)), c.same) << c.type << " " << c.given;
}

TEST(Values, WhatDoesNotFitIsRefusedWithTheReason)
{
    const std::string k39 = "1" + std::string(37, '0') + "1";
    // clang-format off
    const struct {
        std::string type, text, reason;
    } kCases[] = {
        {"BYTEINT",      "128",     "it takes -128 to 127"},
        {"BIGINT",       "9223372036854775808", "it takes -9223372036854775808 to 9223372036854775807"},
        {"BIGINT",       "1e200",   "it takes -9223372036854775808"},
        {"INTEGER",      "1.5",     "it takes whole numbers only"},
        {"INTEGER",      "",        "it takes a whole number"},
        {"INTEGER",      "0x10",    "it takes a whole number"},
        {"BOOLEAN",      "2",       "it takes 0 and 1"},
        {"FLOAT",        "1e400",   "it takes up to about 1.8e308"},
        {"FLOAT",        "1,5",     "it takes a number"},
        {"DECIMAL(5,2)", "1000",    "it takes 3 digits in front of the point"},
        {"DECIMAL(5,2)", "1.255",   "it keeps 2 digits behind the point"},
        {"DECIMAL(5,2)", "NaN",     "it takes a number"},
        {"DECIMAL(5,2)", "1e",      "it takes a number"},
        {"DECIMAL(5,2)", "1e+-1",   "it takes a number"},
        {"DECIMAL(5,2)", ".",       "it takes a number"},
        {"DECIMAL(38,0)", k39,      "it takes 38 digits in front"},
        {"NUMBER",       k39 + "1", "it takes up to 38 digits"},
        {"NUMBER",       "1e126",   "magnitudes from 1e-130"},
        {"NUMBER(5,2)",  "0.001",   "it keeps 2 digits behind the point"},
        {"INTDATE",      "2023-02-29", "such as 2024-01-31"},
        {"INTDATE",      "2024-1-31", "such as 2024-01-31"},
        {"INTDATE",      "2024-01-31 10:00", "such as 2024-01-31"},
        {"TIME(2)",      "10:00:00.125", "it keeps 2 digits behind the seconds"},
        {"TIME(0)",      "24:00:00", "such as 23:59:59"},
        {"TIME(6) WITH TIME ZONE", "10:00:00-00:30", "such as 23:59:59+01:00"},
        {"PERIOD(INTDATE)", "('2024-01-31')", "such as ('2024-01-31', '2024-01-31')"},
        {"INTERVAL YEAR TO MONTH", "1-12", "the fields from left to right"},
        {"INTERVAL DAY TO SECOND(0)", "1 00:00:00.5", "it keeps 0 digits behind the seconds"},
        {"VARCHAR(2)",   "abc",     "it takes up to 2 bytes"},
        {"BYTE(1)",      "0",       "an even number of hexadecimal digits"},
        {"BYTE(1)",      "0000",    "it takes up to 1 bytes"},
        {"GRAPHIC(1)",   "\xF0\x9F\x98\x80", "it takes up to 2 bytes"},
        {"GRAPHIC(1)",   "\xFF",    "text in UTF-8"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        const std::string got = BinaryOf(c.type, c.text);
        EXPECT_TRUE(got.starts_with("! ") && got.find(c.reason) != std::string::npos &&
                    got.find(c.type + ": ") != std::string::npos)
            << c.type << " " << c.text << " gave " << got;
    }
}

TEST(Values, BytesThatAreNoValueHaveNoText)
{
    // clang-format off
    static constexpr struct {
        const char *type, *hex;
    } kCases[] = {
        {"INTEGER",         "000000"},
        {"INTDATE",         "00000000"},
        {"INTDATE",         "FFFFFF7F"},
        {"TIME(6)",         "FFFFFFFF0000"},
        {"TIME(6)",         "000000001800"},
        {"TIME(0) WITH TIME ZONE", "0000000000004000"},
        {"PERIOD(TIMESTAMP)", "0000"},
        {"INTERVAL MINUTE TO SECOND", "0100FFFF00000000"},
        {"INTERVAL SECOND", "010000000080"},
        {"INTERVAL YEAR",   "0080"},
        {"NUMBER",          "00"},
        {"NUMBER",          "0000"},
        {"NUMBER",          "0000000000000000000000000000000000000000"},
        {"VARGRAPHIC(2)",   "61"},
        {"VARGRAPHIC(2)",   "00D86100"},
    };
    // clang-format on
    for (const auto &c : kCases)
        EXPECT_EQ(TextOf(c.type, Unhex(c.hex)), "no value") << c.type << " " << c.hex;
    // Longer than any text that is taken, but there all the same: 2^135 - 1 and -2^135.
    EXPECT_EQ(TextOf("NUMBER", Unhex("0000FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF7F")),
              "43556142965880123323311949751266331066367");
    EXPECT_EQ(TextOf("NUMBER", Unhex("0A000000000000000000000000000000000080")),
              "-4355614296588012332331194975126.6331066368");
}

TEST(Values, NumbersOfADatabaseBecomeValues)
{
    const auto from = [](const char *type, auto number) {
        const ValueType of = ValueTypeOf(TypedColumn(std::string("x ") + type));
        std::string bytes(of.bytes, '\0'), text;
        uint32_t length = 0;
        auto *to = reinterpret_cast<uint8_t *>(bytes.data());
        Misfit misfit = Misfit::None;
        if constexpr (std::is_integral_v<decltype(number)>)
            misfit = BinaryFromInteger(of, number, to, &length);
        else
            misfit = BinaryFromDouble(of, number, to, &length);
        if (misfit != Misfit::None)
            return std::string("!");
        AppendText(of, to, length, text);
        return text;
    };
    EXPECT_EQ(from("SMALLINT", int64_t{-5}), "-5");
    EXPECT_EQ(from("SMALLINT", int64_t{40000}), "!");
    EXPECT_EQ(from("DECIMAL(18,2)", INT64_MIN / 1000), "-9223372036854775.00");
    EXPECT_EQ(from("DECIMAL(18,2)", INT64_MIN), "!");
    EXPECT_EQ(from("NUMBER", INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(from("FLOAT", int64_t{1} << 62), "4611686018427387904");
    EXPECT_EQ(from("FLOAT", (int64_t{1} << 53) + 1), "!");
    EXPECT_EQ(from("FLOAT", INT64_MAX), "!");
    EXPECT_EQ(from("VARCHAR(3)", int64_t{-12}), "-12");
    EXPECT_EQ(from("INTDATE", int64_t{1240131}), "!");
    EXPECT_EQ(from("INTEGER", 12.0), "12");
    EXPECT_EQ(from("INTEGER", 12.5), "!");
    EXPECT_EQ(from("BIGINT", 0x1p63), "!");
    EXPECT_EQ(from("DECIMAL(9,2)", 0.1 + 0.2), "0.30");
    EXPECT_EQ(from("DECIMAL(9,2)", 0.125), "!");
    EXPECT_EQ(from("DECIMAL(9,2)", std::nan("")), "!");
    EXPECT_EQ(from("NUMBER", 0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(from("VARCHAR(9)", -1.5), "-1.5");
}

TEST(Values, ExactNumbersGoIntoWhatADatabaseKeeps)
{
    const auto numbers = [](const char *type, const char *text) {
        const ValueType of = ValueTypeOf(TypedColumn(std::string("x ") + type));
        const std::string value = BinaryOf(type, text);
        const auto *bytes = reinterpret_cast<const uint8_t *>(value.data());
        int64_t whole = 0;
        double real = 0;
        const auto length = static_cast<uint32_t>(value.size());
        std::string words =
            IntegerFromBinary(of, bytes, length, &whole) ? std::to_string(whole) : "-";
        return words + (DoubleFromBinary(of, bytes, length, &real) && real == std::stod(text)
                            ? " real"
                            : "");
    };
    EXPECT_EQ(numbers("DECIMAL(9,2)", "12.00"), "12 real");
    EXPECT_EQ(numbers("DECIMAL(9,2)", "-12.01"), "- real");
    EXPECT_EQ(numbers("DECIMAL(38,0)", "-9223372036854775808"), "-9223372036854775808");
    EXPECT_EQ(numbers("DECIMAL(38,0)", "9223372036854775808"), "-");
    EXPECT_EQ(numbers("DECIMAL(38,2)", "1234567890123.45"), "- real");
    EXPECT_EQ(numbers("DECIMAL(38,2)", "12345678901234.56"), "-");
    EXPECT_EQ(numbers("NUMBER", "0"), "0 real");
    EXPECT_EQ(numbers("NUMBER", "-1.23456789012345e-100"), "- real");
    EXPECT_EQ(numbers("NUMBER", "7e100"), "- real");
}
