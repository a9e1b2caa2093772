// tests/delimited/binary_to_text_test.cpp - every type's text, and values that no database would send.

#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "delimited/binary_to_text.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

namespace {

using Bytes = std::string;

template <class... Fields>
Bytes Pack(Fields... fields)
{
    Bytes bytes;
    (bytes.append(reinterpret_cast<const char *>(&fields), sizeof fields), ...);
    return bytes;
}

Bytes Wide(int64_t high, uint64_t low) { return Pack(low, high); }

// A NUMBER without its length byte: the negated exponent, the mantissa's bytes.
Bytes Number(int16_t negated, const Bytes &mantissa) { return Pack(negated) + mantissa; }

struct Moment {
    uint32_t millionths;
    uint16_t year;
    uint8_t month, day, hour, minute, zone_hour, zone_minute;
};

Bytes Element(uint32_t type, const Moment &m)
{
    Bytes bytes = Pack(m.millionths);
    bytes += type >= 61 ? Pack(m.year, m.month, m.day) : "";
    bytes += Pack(m.hour, m.minute);
    return bytes + (type == 60 || type == 62 ? Pack(m.zone_hour, m.zone_minute) : "");
}

Bytes Period(uint32_t type, const Moment &begin, const Moment &end)
{
    return Element(type, begin) + Element(type, end);
}

// One column and its value, in a row that has not a byte more.
struct Column {
    Column(uint32_t type, uint16_t precision, uint16_t scale)
        : type_(type), precision_(precision), scale_(scale)
    {
        SG_ColCount = 1;
        SG_ColTypes = &type_;
        SG_ColPrecision = &precision_;
        SG_ColScale = &scale_;
        ConvertDelimitedData = 1;
        EXPECT_EQ(PrepareConversion(), 0);
    }
    ~Column() { FreeConversion(); }

    std::string Text(const Bytes &value)
    {
        std::vector<uint8_t> row = {0xA5};  // a row without any byte is none
        row.insert(row.end(), value.begin(), value.end());
        const uint32_t offset = 1, length = static_cast<uint32_t>(value.size());
        const uint8_t indicator = 0;
        const int64_t longer = BinaryToText(1, row.data(), &offset, &indicator, &length);
        const DelimitedConvertRec &record = ConvertRecs[0];
        EXPECT_EQ(longer, record.convert != 0 ? int64_t{record.length} - length : 0);
        EXPECT_LT(record.length, sizeof record.text);
        EXPECT_EQ(record.text[record.length], '\0');
        return {record.text, record.length};
    }

private:
    uint32_t type_;
    uint16_t precision_, scale_;
};

constexpr Moment kZero = {};
constexpr Moment kDay = {59123456, 2026, 3, 9, 23, 5, 16, 0};
constexpr Moment kEast = {7000000, 987, 12, 31, 0, 59, 21, 30};
constexpr Moment kWest = {500000, 5, 1, 1, 1, 1, 11, 45};
constexpr Moment kNonsense = {4294967295, 65535, 200, 255, 255, 255, 255, 255};

}  // namespace

TEST(BinaryToText, EveryTypeHasItsText)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    // clang-format off
    static const struct {
        const char *about;
        uint32_t type;
        uint16_t precision, scale;
        Bytes value;
        const char *text;
    } kCases[] = {
        {"zero",                   1, 0, 0, Pack(0), "0"},
        {"INTEGER",                1, 0, 0, Pack(INT32_MIN), "-2147483648"},
        {"SMALLINT",               2, 0, 0, Pack(INT16_MIN), "-32768"},
        {"BYTEINT",                6, 0, 0, Pack(INT8_MIN), "-128"},
        {"BIGINT",                37, 0, 0, Pack(INT64_MIN), "-9223372036854775808"},
        {"nine digits",           37, 0, 0, Pack(int64_t{100000000}), "100000000"},
        {"17 digits",             37, 0, 0, Pack(int64_t{10000000000000000}), "10000000000000000"},

        {"FLOAT",                  3, 0, 0, Pack(1.5), "1.5"},
        {"minus zero",             3, 0, 0, Pack(-0.0), "0"},
        {"below one",              3, 0, 0, Pack(0.5), "5e-01"},
        {"NaN",                    3, 0, 0, Pack(std::numeric_limits<double>::quiet_NaN()), "nan"},
        {"infinity",               3, 0, 0, Pack(-kInfinity), "-inf"},

        {"DECIMAL of one byte",    4, 2, 1, Pack(int8_t{-15}), "-1.5"},
        {"of two, no fraction",    4, 4, 2, Pack(int16_t{-100}), "-1"},
        {"of four",                4, 5, 2, Pack(int32_t{150}), "1.5"},
        {"below one",              4, 9, 5, Pack(int32_t{-5}), "-0.00005"},
        {"zero",                   4, 18, 2, Pack(int64_t{0}), "0"},
        {"of eight",               4, 18, 2, Pack(int64_t{-123456789012345607}), "-1234567890123456.07"},
        {"more than 8 places",     4, 18, 18, Pack(int64_t{120}), "0.00000000000000012"},
        {"beyond its precision",   4, 18, 9, Pack(INT64_MIN), "-9223372036.854775808"},
        {"of sixteen",             4, 38, 2, Wide(0x4B3B4CA85A86C47A, 0x098A223FFFFFFFFF), "999999999999999999999999999999999999.99"},
        {"sixteen, least",         4, 38, 38, Wide(INT64_MIN, 0), "-1.70141183460469231731687303715884105728"},
        {"sixteen, trailing zeros", 4, 38, 3, Wide(-1, static_cast<uint64_t>(-1500)), "-1.5"},
        {"sixteen, zero",          4, 38, 3, Wide(0, 0), "0"},
        {"scale that is none",     4, 18, 65535, Pack(int64_t{-120}), "-1.2e-65533"},

        {"INTDATE",               11, 0, 0, Pack(1260309), "2026/03/09"},
        {"zero",                  11, 0, 0, Pack(0), "1900/00/00"},
        {"year 9",                11, 0, 0, Pack(-18908769), "0009/12/31"},
        {"beyond the year 9999",  11, 0, 0, Pack(INT32_MAX), "216648/36/47"},
        {"before the year 0",     11, 0, 0, Pack(INT32_MIN), "-212848/36/48"},

        {"PERIOD(INTDATE)",       58, 0, 0, Pack(1260309, 1260310), "('2026/03/09', '2026/03/10')"},
        {"PERIOD(TIME)",          59, 0, 0, Period(59, kZero, kEast), "('00:00:00', '00:59:07')"},
        {"fraction",              59, 1, 0, Period(59, kZero, kDay), "('00:00:00.0', '23:05:59.1')"},
        {"with zones",            60, 6, 0, Period(60, kDay, kEast), "('23:05:59.123456+00:00', '00:59:07.000000+05:30')"},
        {"PERIOD(TIMESTAMP)",     61, 2, 0, Period(61, kEast, kDay), "('0987-12-31 00:59:07.00', '2026-03-09 23:05:59.12')"},
        {"west, below a second",  62, 3, 0, Period(62, kWest, kWest), "('0005-01-01 01:01:00.500-05:45', '0005-01-01 01:01:00.500-05:45')"},
        {"less than a second, no places", 59, 0, 0, Period(59, kWest, kDay), "('01:01:', '23:05:59')"},
        {"seven places",          59, 7, 0, Period(59, kDay, kDay), "('23:05:', '23:05:')"},
        {"nonsense",              62, 6, 0, Period(62, kNonsense, kZero), "('65535-200-255 255:255:4294.967295+239:255', '0000-00-00 00:00:00.000000-16:00')"},

        {"NUMBER of no bytes",    63, 0, 0, "", "0"},
        {"mantissa of no bytes",  63, 0, 0, Number(5, ""), "0"},
        {"whole",                 63, 0, 0, Number(0, "\x7B"), "123"},
        {"negative",              63, 0, 0, Number(1, "\xF1"), "-1.5"},
        {"all behind the point",  63, 0, 0, Number(3, "\x7B"), "0.123"},
        {"further behind it",     63, 0, 0, Number(4, "\x7B"), "1.23e-2"},
        {"one digit",             63, 0, 0, Number(3, "\xFB"), "-5e-3"},
        {"zeros are counted",     63, 0, 0, Number(2, Pack(int16_t{1500})), "15"},
        {"zeros are written",     63, 0, 0, Number(-3, "\x05"), "5000"},
        {"forty digits",          63, 0, 0, Number(-39, "\x01"), "1000000000000000000000000000000000000000"},
        {"more",                  63, 0, 0, Number(-39, "\x0C"), "1.2e40"},
        {"longest",               63, 0, 0, Number(INT16_MIN, Bytes(16, '\0') + "\x80"), "-4.3556142965880123323311949751266331066368e32808"},
        {"most negative power",   63, 0, 0, Number(INT16_MAX, "\x7B"), "1.23e-32765"},
        {"a length of one",       63, 0, 0, Bytes(1, '\5'), ""},
        {"too long a mantissa",   63, 0, 0, Bytes(20, '\5'), ""},

        {"no text for the type",   9, 0, 0, "abc", ""},
        {"no such type",          99, 0, 0, "abc", ""},
    };
    // clang-format on
    for (const auto &[about, type, precision, scale, value, text] : kCases) {
        Column column(type, precision, scale);
        CharSetFamily = kFamilyOrdinary;
        EXPECT_EQ(column.Text(value), text) << about;
        CharSetFamily = kFamilyUtf16;
        std::string wide;
        for (const char *c = text; *c != '\0'; ++c)
            wide += {*c, '\0'};
        EXPECT_EQ(column.Text(value), wide) << about;
    }
}

TEST(BinaryToText, NoValueIsReadBeyondItsLengthAndNoTextIsTooLong)
{
    const uint32_t seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int i = 0; i < 200000; ++i) {
        Column column(static_cast<uint32_t>(random() % 70), static_cast<uint16_t>(random() % 45),
                      static_cast<uint16_t>(random() % 2 == 0 ? random() : random() % 40));
        CharSetFamily = i % 2 == 0 ? kFamilyUtf16 : kFamilyOrdinary;
        Bytes value(random() % 26, '\0');
        for (char &byte : value)
            byte = static_cast<char>(random() % 4 == 0 ? 255 : random());
        column.Text(value);
    }
}

TEST(BinaryToText, NullsAndTextsAreLeftAlone)
{
    uint32_t types[] = {1, 7, 1};
    uint16_t none[3] = {};
    SG_ColCount = 3;
    SG_ColTypes = types;
    SG_ColPrecision = SG_ColScale = none;
    CharSetFamily = kFamilyUtf8;
    ConvertDelimitedData = 1;
    ASSERT_EQ(PrepareConversion(), 0);
    const Bytes row = Pack(77, 'a', 'b', -5);
    const uint32_t offsets[] = {0, 4, 6}, lengths[] = {4, 2, 4};
    const uint8_t indicators[] = {1, 0, 0};
    EXPECT_EQ(BinaryToText(3, reinterpret_cast<const uint8_t *>(row.data()), offsets, indicators,
                           lengths),
              -2);
    EXPECT_EQ(ConvertRecs[0].length, 0u);
    EXPECT_EQ(ConvertRecs[1].convert, 0u);
    EXPECT_STREQ(ConvertRecs[2].text, "-5");
    FreeConversion();
    FreeConversion();
}
