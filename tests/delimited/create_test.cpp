// tests/delimited/create_test.cpp - what stands in a record that is written.

#include <gtest/gtest.h>

#include "pm/pm.h"
#include "tests/delimited/creation.h"

using namespace std::string_literals;

namespace {

constexpr auto kNull = std::nullopt;

struct Settings {
    int32_t quoted = kNo;
    std::string delimiter = ",", escape = {}, open = {}, close = {}, quote_escape = {};
    const char *charset = "ASCII";
    bool append = false;
};

void Apply(const Settings &settings)
{
    pmSetCharSet(settings.charset);
    bQuotedData = settings.quoted;
    bAppendDelimiter = settings.append;
    SetMark(TextDelimiter, settings.delimiter);
    SetMark(EscapeTextCharacter, settings.escape);
    SetMark(OpenQuoteMark, settings.open);
    SetMark(CloseQuoteMark, settings.close.empty() ? settings.open : settings.close);
    SetMark(EscapeQuoteCharacter, settings.quote_escape);
    SetColumns({0, 0, 0});
    Validate();
}

}  // namespace

TEST(Create, WhatStandsInTheRecord)
{
    const Settings plain = {}, append = {.append = true}, escape = {.escape = "\\"},
                   yes = {.quoted = kYes, .open = "\""},
                   optional = {.quoted = kOptional, .open = "\""},
                   angles = {.quoted = kOptional, .open = "<", .close = ">"},
                   wide_quotes = {.quoted = kOptional, .open = "<<", .close = ">>"},
                   quote_escape = {.quoted = kOptional, .open = "'", .quote_escape = "\\"},
                   both = {.quoted = kOptional, .escape = "\\", .open = "'"},
                   utf16 = {.quoted = kOptional,
                            .delimiter = ",\0"s,
                            .open = "'\0"s,
                            .charset = "UTF16"},
                   big5 = {.escape = "!", .charset = "TCHBIG5_1R0"},
                   big5_quoted = {.quoted = kOptional,
                                  .delimiter = "|",
                                  .open = "\x7E",
                                  .charset = "TCHBIG5_1R0"},
                   gb2312 = {.escape = "\\", .charset = "SCHGB2312_1T0"};
    // clang-format off
    const struct {
        const char *about;
        Settings settings;
        Values values;
        std::string record;
    } kCases[] = {
        {"NULL and empty are alike",  plain,          {kNull, "", "c"},           ",,c"},
        {"last NULL, append",         append,         {"a", kNull},               "a,,"},
        {"one column of NULL",        plain,          {kNull},                    ""},
        {"no column",                 plain,          {},                         ""},
        {"escape is not escaped",     escape,         {"\\,", "\\\\"},            "\\\\,,\\\\"},
        {"quoted, quotes inside",     yes,            {"\"", "a\"\"b"},           "\"\"\"\",\"a\"\"\"\"b\""},
        {"all NULL, quoted, append",  {.quoted = kYes, .open = "'", .append = true}, {kNull, kNull}, ",,"},
        {"optional",                  optional,       {"a", "", kNull},           "a,\"\","},
        {"open quote is data",        angles,         {"<a", "b<", "c>"},         "<a,b<,<c>>>"},
        {"long quotes",               wide_quotes,    {"a>b", "a>>b", ">>>"},     "a>b,<<a>>>>b>>,<<>>>>>>>"},
        {"quote escape",              quote_escape,   {"a'b", "a\\b", ",\\"},     "'a\\'b',a\\b,',\\'"},
        {"quotes go before escapes",  both,           {"a,b", "c\\"},             "'a,b',c\\"},
        {"UTF-16",                    utf16,          {"a\0,\0"s, "\n\0"s, "b\0"s}, "'\0a\0,\0'\0,\0'\0\n\0'\0,\0b\0"s},
        {"UTF-16, half of a mark",    utf16,          {"\x22,\0\x22"s, "\x0A\x0D"s, "x"s}, "\x22,\0\x22,\0\x0A\x0D,\0x"s},
        {"trail is no mark",          big5,           {"\xA4\x2C", "\xA4\x40,", "\xA4\x7C"}, "\xA4!\x2C,\xA4\x40!,,\xA4\x7C"s},
        {"trail is no quote",         big5_quoted,    {"\xA4\x7C", "\xA4\x7E", "|"}, "\xA4\x7C|\xA4\x7E|\x7E|\x7E"},
        {"a lead is cut off",         big5_quoted,    {"\xA4", "\xA4", "a"},      "\xA4|\xA4|a"},
        {"width 0",                   gb2312,         {"\x85,", "\x90", "a"},     "\x85\\,,\x90,a"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        Apply(c.settings);
        EXPECT_EQ(Create(c.values), c.record) << c.about;
    }
}

TEST(Create, ConvertedColumnsTakeTheirText)
{
    Apply({.quoted = kOptional, .open = "'"});
    DelimitedConvertRec records[3] = {};
    records[1] = {.length = 3, .convert = 1, .text = "1,5"};
    records[2] = {.length = 0xFFFFFFFF, .convert = 1, .text = ""};
    uint8_t null = 1;
    const auto write = [&](const Values &values) {
        std::string record(1000, '\0');
        const RowOfValues bytes(values);
        OutgoingRow row = bytes.Outgoing();
        const uint8_t indicators[] = {0, values[1] ? uint8_t{0} : null,
                                      values[2] ? uint8_t{0} : null};
        row.indicators = indicators;
        row.converted = records;
        auto *to = reinterpret_cast<uint8_t *>(record.data());
        record.resize(static_cast<size_t>(WriteRowLiterally(row, to).end - to));
        return record;
    };
    EXPECT_EQ(write({"a", "\x01\x02", kNull}), "a,'1,5',");
    EXPECT_EQ(write({"a", kNull, "x"}).size(), 3 + sizeof records->text);  // and no byte behind it
    null = 2;  // what stood there in the row before is nobody's value
    EXPECT_EQ(write({"a", kNull, kNull}), "a,,");
}

// Columns that overlap add up to more than the row.
TEST(Create, BufferFitsTheLongestRecord)
{
    Apply({.quoted = kYes, .open = "[", .close = "]", .quote_escape = std::string(100, 'e')});
    const auto create = [](uint32_t bytes, uint8_t of) {
        std::vector<uint8_t> data(bytes, of);
        const std::vector<uint32_t> offsets(50, 0), lengths(50, bytes);
        const std::vector<uint8_t> indicators(50, 0);
        pmBuffer.Data = data.data();
        pmBuffer.DataLength = bytes;
        return CreateDelimitedText(50, offsets.data(), indicators.data(), lengths.data());
    };
    for (const uint32_t bytes : {10U, 1000U, 6000U, 100U}) {
        ASSERT_EQ(create(bytes, ']'), 0);
        EXPECT_EQ(pmBuffer.DataLength, 50 * (bytes * 101 + 2) + 49);
    }
    // No record can be so long, and the next one is as if there had been none.
    EXPECT_EQ(create(1000000, 'x'), 12);
    EXPECT_EQ(Create({"a"}), "[a]");
    FreeCreatedText();
    FreeCreatedText();
}
