// tests/delimited/extract_test.cpp - limits, verdicts and their words.
//
// What becomes of a record is differential_test's: every scanner against the literal scan.

#include <gtest/gtest.h>

#include "delimited/verdict.h"
#include "operator/operator_state.h"
#include "tests/delimited/extraction.h"
#include "tests/support/fake_infrastructure.h"

namespace {

void Choose(int32_t quoted, const char *escape = "", const char *quote_escape = "")
{
    SetMark(TextDelimiter, "|");
    SetMark(EscapeTextCharacter, escape);
    bQuotedData = quoted;
    // Also marks that do not count.
    const char *quote = quoted != kNo || *escape != '\0' ? "'" : "";
    SetMark(OpenQuoteMark, quote);
    SetMark(CloseQuoteMark, quote);
    SetMark(EscapeQuoteCharacter, quote_escape);
    Validate();
}

}  // namespace

TEST(Extract, ColumnsAreHeldToTheirMaximum)
{
    const std::string longest(65536, 'x');
    SetColumns({3, 0});
    Choose(kNo);
    EXPECT_EQ(Extract("abc|" + longest), "abc," + longest + " ->0");
    EXPECT_EQ(Extract("a|b" + longest), "a,b" + longest + " ->3");
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
    Choose(kOptional, "", "\\");
    FileRecordCount = 7;
    pmBuffer.RecCount = 0;
    for (const auto &c : kCases) {
        Extract(c.record);
        EXPECT_EQ(ExtractErrMsg, std::string("Delimited Data Parsing error: ") + c.words);
    }
    Choose(kYes);
    EXPECT_EQ(Extract("a|'b'"), "NULL,NULL ->8");
    EXPECT_STREQ(ExtractErrMsg, "Delimited Data Parsing error: First character not open quote mark "
                                "in record 8, field 1, 'c1'");
    Choose(kNo, "\\");
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
    for (const int32_t number : {1100000, 2222229, 0, -1, 3100000, 1300000, 1130000, 1103000,
                                 1100300, 1100030, 11100000}) {
        UDDI_ParsingCase = number;
        EXPECT_EQ(ValidateUDDIcase(), number == 1100000 || number == 2222229 ? 0 : 7) << number;
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
