// tests/delimited/extract_test.cpp - what becomes of a record: columns, NULLs, verdicts and their words.

#include <gtest/gtest.h>

#include "delimited/verdict.h"
#include "operator/operator_state.h"
#include "tests/delimited/extraction.h"
#include "tests/support/fake_infrastructure.h"

namespace {

// Settings in a row of a table: delimiter, delimiter escape, quote mark, quote escape, trim character.
struct Settings {
    const char *delimiter = "|", *escape = "", *quote = "'", *quote_escape = "", *trim = "";
    int32_t quoted = kOptional;
};

void Apply(const Settings &settings)
{
    SetMark(TextDelimiter, settings.delimiter);
    SetMark(EscapeTextCharacter, settings.escape);
    bQuotedData = settings.quoted;
    SetMark(OpenQuoteMark, settings.quote);
    SetMark(CloseQuoteMark, settings.quote);
    SetMark(EscapeQuoteCharacter, settings.quote_escape);
    SetMark(TrimLeadingChar, settings.trim);
    SetMark(TrimTrailingChar, settings.trim);
    Validate();
}

std::vector<uint32_t> Unlimited(int columns) { return std::vector<uint32_t>(columns, 0); }

}  // namespace

TEST(Extract, RecordsBecomeColumns)
{
    // clang-format off
    static constexpr Settings kPlain = {.quote = "", .quoted = kNo}, kQuoted = {}, kRequired = {.quoted = kYes},
        kEscaped = {.escape = "\\"}, kBothEscaped = {.escape = "\\", .quote_escape = "\\"},
        kQuoteEscaped = {.quote_escape = "\\"}, kTrimmed = {.trim = " "};
    static constexpr struct {
        const char *about;
        const Settings &settings;
        const char *record;
        int columns;
        const char *result;
    } kCases[] = {
        {"exact",                                   kPlain,        "a|b",       2, "a,b ->0"},
        {"short by one",                            kPlain,        "a|b",       3, "a,b,NULL ->2"},
        {"a trailing delimiter fills the last one", kPlain,        "a|b|",      3, "a,b,NULL ->0"},
        {"a trailing delimiter, nothing missing",   kPlain,        "a|b|",      2, "a,b ->0"},
        {"excess",                                  kPlain,        "a|b|c",     2, "a,b ->1"},
        {"empty record, one column",                kPlain,        "",          1, "NULL ->0"},
        {"empty record, two columns",               kPlain,        "",          2, "NULL,NULL ->2"},
        {"quotes do not count without the setting", kPlain,        "'a|b'",     2, "'a,b' ->0"},
        {"quoted delimiter",                        kQuoted,       "'a|b'|c",   2, "a|b,c ->0"},
        {"quoted, short by one: taken as empty",    kQuoted,       "'a'|'b'",   3, "a,b,NULL ->0"},
        {"short by two",                            kQuoted,       "'a'",       3, "a,NULL,NULL ->2"},
        {"quotes around nothing are no NULL",       kQuoted,       "''|b",      2, ",b ->0"},
        {"a blank behind the close quote",          kQuoted,       "'a' |b",    2, "NULL,NULL ->9"},
        {"a letter behind the close quote",         kQuoted,       "x|'a'b",    2, "x,NULL ->9"},
        {"doubled close quote",                     kQuoted,       "'a''b'|c",  2, "a'b,c ->0"},
        {"quote mark inside unquoted data",         kQuoted,       "a'b|c",     2, "a'b,c ->0"},
        {"never closed: the mark stays",            kQuoted,       "x|'abc",    2, "x,'ab ->0"},
        {"required quotes: empty field allowed",    kRequired,     "|'b'",      2, "NULL,b ->0"},
        {"required quotes: unquoted data",          kRequired,     "'a'|b",     2, "a,NULL ->8"},
        {"escaped delimiter",                       kEscaped,      "a\\|b|c",   2, "a|b,c ->0"},
        {"escape before something else",            kEscaped,      "a\\b|c",    2, "a\\b,c ->0"},
        {"of two escapes the first is data",        kEscaped,      "a\\\\|b|c", 2, "a\\|b,c ->0"},
        {"escape at the record's end",              kEscaped,      "a|b\\",     2, "a,b\\ ->0"},
        {"escaped marks in quotes",                 kQuoteEscaped, "'a\\'\\\\'|b", 2, "a'\\,b ->0"},
        {"quote escape before something else",      kQuoteEscaped, "'a\\b'|c",  2, "NULL,NULL ->10"},
        {"the same, when both escapes are one",     kBothEscaped,  "'a\\b'|c",  2, "a\\b,c ->0"},
        {"several escapes, later columns in place", kBothEscaped,  "a\\|a|'b\\'b''b'|c\\|\\|c|d", 4, "a|a,b'b'b,c||c,d ->0"},
        {"blanks trimmed to nothing are NULL",      kTrimmed,      " a |   ",   2, "a,NULL ->0"},
        {"trimmed inside the quotes, too",          kTrimmed,      "' a '|'  '", 2, "a, ->0"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        SetColumns(Unlimited(c.columns));
        Apply(c.settings);
        EXPECT_EQ(Extract(c.record), c.result) << c.about;
    }
    bNullColumns = 0;
    EXPECT_EQ(Extract("|"), ", ->0") << "without NullColumns";
}

TEST(Extract, ColumnsAreHeldToTheirMaximum)
{
    const std::string longest(65536, 'x');
    SetColumns({3, 0});
    Apply({.quote = "", .quoted = kNo});
    EXPECT_EQ(Extract("abc|" + longest), "abc," + longest + " ->0");
    EXPECT_EQ(Extract("a|b" + longest).substr(0, 9), "a,b"
                                                     "xxxxxx");
    EXPECT_EQ(ExtractDelimitedText(), 3) << "65,537 bytes";
    EXPECT_EQ(Extract("abcd|b").substr(4), ",NULL ->3") << "the scan stops there";
    TruncateColumnsOpt = kYes;
    EXPECT_EQ(Extract("abcd|b"), "abc,b ->3");
    EXPECT_EQ(SG_ColLensOrig[0], 4U);
    Extract("a|b" + longest);
    EXPECT_STREQ(ExtractErrMsg,
                 "Delimited Data Parsing error: Field length overflow(s) in record 1, field 2, "
                 "'c2'. Expected 0 bytes, received 65537 bytes.");
}

TEST(Extract, VerdictsHaveTheirWords)
{
    // clang-format off
    static constexpr struct {
        const char *record, *words;
    } kCases[] = {
        {"a",       "Too few columns in row 1"},
        {"a|b|c",   "Too many columns in row 2"},
        {"a|bbbb",  "Field length overflow(s) in record 8, field 2, 'c2'. Expected 3 bytes, received 4 bytes."},
        {"'a'b|c",  "Delimiter did not immediately follow close quote mark in row 8, col 1"},
        {"a|'\\a'", "QuoteEscape should be followed by OpenQuote or CloseQuote or QuoteEscape in row 8, col 2"},
    };
    // clang-format on
    Fake fake;
    SetColumns({3, 3});
    Apply({.quote_escape = "\\"});
    FileRecordCount = 7;
    pmBuffer.RecCount = 0;
    for (const auto &c : kCases) {
        Extract(c.record);
        EXPECT_EQ(ExtractErrMsg, std::string("Delimited Data Parsing error: ") + c.words);
    }
    Apply({.quoted = kYes});
    EXPECT_EQ(Extract("a|'b'"), "NULL,NULL ->8");
    EXPECT_STREQ(ExtractErrMsg, "Delimited Data Parsing error: First character not open quote mark "
                                "in record 8, field 1, 'c1'");
    Apply({.delimiter = "|", .escape = "\\", .quoted = kNo});
    TextDelimiter.value[0] = '\0';  // a mark of a zero can be cut off by the record's end
    Validate();
    EXPECT_EQ(Extract("a\\"), "NULL,NULL ->11");
    EXPECT_STREQ(ExtractErrMsg,
                 "Delimited Data Parsing error: DelimiterEscape should be followed by "
                 "DelimiterEscape or Delimeter 8, col 1");
    bUsingUDDI = 0;
    EXPECT_EQ(ExtractDelimitedText(), 6);
    EXPECT_STREQ(ExtractErrMsg, "'UDDI' feature not initialized.");
}

TEST(Extract, ParsingCasesAreValidated)
{
    SetColumns({0, 0xFFFFFFFF, 0xFFFFFFFF, 10});
    // clang-format off
    static constexpr struct {
        int32_t parsing_case, result;
    } kCases[] = {{1100000, 0}, {2222229, 0}, {0, 7}, {-1, 7}, {3100000, 7}, {1300000, 7},
                  {1130000, 7}, {1103000, 7}, {1100300, 7}, {1100030, 7}, {11100000, 7}};
    // clang-format on
    for (const auto &c : kCases) {
        UDDI_ParsingCase = c.parsing_case;
        EXPECT_EQ(ValidateUDDIcase(), c.result) << c.parsing_case;
    }
    EXPECT_GE(TargetBufferSize, 3U * 65536 + 10) << "no column is delivered with more";
    EXPECT_LT(TargetBufferSize, 4U * 65536);
    FreeDelimitedBuffers();
}

TEST(Extract, TrimBlanksTrimsARecordInPlace)
{
    // clang-format off
    static constexpr struct {
        uint32_t leading, trailing;
        const char *record, *result;
    } kCases[] = {
        {1, 1, "  a b  |  |c  ", "a b||c"},
        {1, 0, "  a |b  ",       "a |b  "},
        {0, 1, "  a |b  ",       "  a|b"},
        {1, 1, " a\\|  | b ",    "a\\||b"},
        {1, 1, "",               ""},
    };
    // clang-format on
    SetMark(EscapeTextCharacter, "\\");
    cDelimiter = '|', cEscapeTextCharacter = '\\';
    cTrimLeadingChar = cTrimTrailingChar = ' ';
    for (const auto &c : kCases) {
        bTrimLeadingBlanks = c.leading;
        bTrimTrailingBlanks = c.trailing;
        SetRecord(c.record);
        TrimBlanks();
        EXPECT_EQ(std::string(reinterpret_cast<char *>(pmBuffer.Data), pmBuffer.DataLength),
                  c.result);
    }
}
