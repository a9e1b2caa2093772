// tests/attributes/delimited_attributes_test.cpp - special characters, trim, the parsing case.

#include <cstring>

#include "attributes/special_chars.h"
#include "convert/unicode.h"
#include "pm/pm_state.h"
#include "tests/attributes/attributes_fixture.h"

class DelimitedAttributes : public Attributes {
protected:
    DelimitedAttributes()
    {
        fake.text.insert({{"FileName", "a.csv"}, {"Format", "Delimited"}, {"OpenMode", "Read"}});
    }
    std::string ReadFile(const Given &given) { return Read(ReadFileAttributes, given); }
};

TEST_F(DelimitedAttributes, SpecialCharactersInEverySpelling)
{
    const SpecialCharValue &mark = TextDelimiter, &open = OpenQuoteMark, &close = CloseQuoteMark,
                           &leading = TrimLeadingChar, &trailing = TrimTrailingChar;
    // clang-format off
    const struct {
        const char *about, *set;
        Given given;
        std::vector<std::pair<const SpecialCharValue *, const char *>> become;
    } cases[] = {
        {"default", "UTF8", {}, {{&mark, "x'7C'"}, {&open, "x''"}, {&close, "x''"}, {&leading, "x''"}, {&trailing, "x''"}}},
        {"plain", "UTF8", {{"TextDelimiter", "||"}}, {{&mark, "x'7C7C'"}}},
        {"hexadecimal", "UTF8", {{"TextDelimiterHEX", "1f0a"}}, {{&mark, "x'1F0A'"}}},
        {"tab", "UTF8", {{"TextDelimiter", "TAB"}}, {{&mark, "x'09'"}}},
        {"tab spelled in hexadecimal", "ASCII", {{"TextDelimiterHEX", "544142"}}, {{&mark, "x'09'"}}},
        {"no tab in lower case", "UTF8", {{"TextDelimiter", "Tab"}}, {{&mark, "x'546162'"}}},
        {"tabs inside", "UTF8", {{"TextDelimiter", "aTABTABb"}}, {{&mark, "x'61090962'"}}},
        {"a tab cut short", "UTF8", {{"TextDelimiter", "xTA"}}, {{&mark, "x'785441'"}}},
        {"default, two bytes a character", "UTF16", {}, {{&mark, "x'7C00'"}}},
        {"by the number of the set", "62", {{"TextDelimiter", ","}}, {{&mark, "x'2C00'"}}},
        {"beyond ASCII", "UTF16", {{"TextDelimiter", "\xE2\x82\xAC"}}, {{&mark, "x'AC20'"}}},
        {"hexadecimal is final", "UTF16", {{"TextDelimiterHEX", "2C00"}}, {{&mark, "x'2C00'"}}},
        {"tab and more", "UTF16", {{"TextDelimiter", "TAB;"}}, {{&mark, "x'09003B00'"}}},
        {"tab, high byte first", "UTF16", {{"TextDelimiterHEX", "005400410042"}}, {{&mark, "x'0009'"}}},
        {"no tab by the set's number", "62", {{"TextDelimiter", "TAB"}}, {{&mark, "x'540041004200'"}}},
        {"optional quotes", "UTF8", {{"QuotedData", "Optional"}}, {{&open, "x'22'"}, {&close, "x'22'"}}},
        {"own mark", "UTF8", {{"QuotedData", "Y"}, {"OpenQuoteMark", "<<"}}, {{&open, "x'3C3C'"}, {&close, "x'3C3C'"}}},
        {"own marks", "UTF8", {{"QuotedData", "Y"}, {"OpenQuoteMark", "<"}, {"CloseQuoteMarkHEX", "3E"}}, {{&open, "x'3C'"}, {&close, "x'3E'"}}},
        {"converted once", "UTF16", {{"QuotedData", "Y"}, {"OpenQuoteMark", "'"}}, {{&open, "x'2700'"}, {&close, "x'2700'"}}},
        {"marks without quoted data", "UTF8", {{"OpenQuoteMark", "'"}}, {{&open, "x'27'"}, {&close, "x''"}}},
        {"trim both", "UTF8", {{"TrimColumns", "Both"}}, {{&leading, "x'20'"}, {&trailing, "x'20'"}}},
        {"trim leading", "UTF8", {{"TrimColumns", "leading"}, {"TrimChar", "0"}}, {{&leading, "x'30'"}, {&trailing, "x''"}}},
        {"trim trailing", "UTF8", {{"TrimColumns", "Trailing"}, {"TrimCharHEX", "2E"}}, {{&leading, "x''"}, {&trailing, "x'2E'"}}},
        {"trim nothing", "UTF8", {{"TrimColumns", "None"}, {"TrimChar", "0"}}, {{&leading, "x''"}, {&trailing, "x''"}}},
    };
    // clang-format on
    for (const auto &c : cases) {
        SCOPED_TRACE(c.about);
        snprintf(SG_CharSetName, sizeof SG_CharSetName, "%s", c.set);
        TrimLeadingChar = TrimTrailingChar = {};
        EXPECT_EQ(ReadFile(c.given).substr(0, 2), "0 ");
        for (const auto &[value, bytes] : c.become)
            EXPECT_STREQ(pHEXvalue(value->value, static_cast<uint32_t>(value->length)), bytes);
        EXPECT_EQ(bTrimLeadingBlanks, leading.length == 1 ? 1U : 0U);
        EXPECT_EQ(bTrimTrailingBlanks, trailing.length == 1 ? 1U : 0U);
    }
}

TEST_F(DelimitedAttributes, SpecialCharactersAreRefused)
{
    const std::string bar = "19203(TextDelimiter,|) ";
    // clang-format off
    const struct {
        const char *about;
        Given given;
        std::string result;
    } cases[] = {
        {"both spellings", {{"TextDelimiter", "|"}, {"TextDelimiterHEX", "7C"}}, "48 19128(TextDelimiter,TextDelimiterHEX) 19015(12) "},
        {"odd digits", {{"TextDelimiterHEX", "7C0"}}, "48 19205(TextDelimiterHEX,7C0,hexadecimal digits) 19015(12) "},
        {"no digit", {{"TextDelimiterHEX", "7G"}}, "48 19205(TextDelimiterHEX,7G,hexadecimal digits) 19015(12) "},
        {"101 bytes", {{"TextDelimiter", std::string(101, 'd')}}, "48 19202(TextDelimiter,101,100) 19015(12) "},
        {"a list", {{"TextDelimiterHEX", "*"}}, "48 19205(TextDelimiterHEX,Multi-value,Single-value) 19015(12) "},
        {"nothing", {{"TextDelimiter", ""}}, "48 19205(TextDelimiter,,one byte or more) 19015(12) "},
        {"escape of zeros", {{"EscapeTextDelimiterHEX", "0000"}}, "48 " + bar + "19205(EscapeTextDelimiter,x'0000',those with at least one non-null (non-zero) byte) 19015(12) "},
        {"escape of nothing", {{"EscapeTextDelimiter", ""}}, "48 " + bar + "19205(EscapeTextDelimiter,x'',those with at least one non-null (non-zero) byte) 19015(12) "},
        {"close without open", {{"CloseQuoteMark", "'"}}, "48 " + bar + "19247(CloseQuoteMark,OpenQuoteMark) 19015(12) "},
        {"quote escape without marks", {{"EscapeQuoteDelimiter", "\\"}}, "48 " + bar + "19247(EscapeQuoteDelimiter,OpenQuoteMark) 19015(12) "},
        {"a consumer's attribute", {{"AppendDelimiter", "Y"}}, "16 19246(AppendDelimiter) 19015(8) "},
        {"the same, off", {{"AppendDelimiter", "N"}}, "0 " + bar},
        {"trim word", {{"TrimColumns", "left"}}, "48 " + bar + "19205(TrimColumns,left,None, Both, Leading, or Trailing) 19015(12) "},
        {"trim of two bytes", {{"TrimColumns", "Both"}, {"TrimChar", "xy"}}, "48 " + bar + "19248(TrimChar,1) 19015(12) "},
        {"trim character alone", {{"TrimChar", "xy"}}, "0 " + bar},
        {"trim none", {{"TrimColumns", "None"}, {"TrimChar", "xy"}}, "0 " + bar},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(ReadFile(c.given), c.result) << c.about;
    OperatorType = 2;
    fake.text["OpenMode"] = "Write";
    EXPECT_EQ(ReadFile({{"TrimColumns", "None"}}), "16 " + bar + "19230(TrimColumns) 19015(8) ");
    EXPECT_EQ(ReadFile({{"AppendDelimiter", "Y"}, {"AcceptEOFasEOR", "*"}}), "0 " + bar);
}

TEST_F(DelimitedAttributes, ValueThatOutgrowsItsRoomIsNotConverted)
{
    snprintf(SG_CharSetName, sizeof SG_CharSetName, "%s", "UTF16");
    EXPECT_EQ(ReadFile({{"TextDelimiter", std::string(51, 'd')}}), "48 19154() 19015(12) ");
    EXPECT_EQ(ReadFile({{"TextDelimiter", "\xC3("}}), "48 19154() 19015(12) ");
    EXPECT_TRUE(fake.Traced("UTF8 to UTF16 conversion failed, status=12"));
    EXPECT_EQ(ReadFile({{"TextDelimiter", std::string(50, 'd')}}), "0 ");
    EXPECT_EQ(TextDelimiter.length, 100);
    px_nvicu_term();
    EXPECT_STRNE(px_nvicuversion(), kNoUnicodeLibrary);
}

TEST_F(DelimitedAttributes, SettingsComposeTheParsingCase)
{
    // clang-format off
    const struct {
        const char *about;
        uint32_t single_byte;
        Given given;
        int32_t number;
    } cases[] = {
        {"plain", 1, {}, 1100000},
        {"characters", 0, {}, 2100000},
        {"two bytes in a single-byte set", 1, {{"TextDelimiter", "||"}}, 1200000},
        {"escape", 1, {{"EscapeTextDelimiter", "\\"}}, 1110000},
        {"long escape", 1, {{"EscapeTextDelimiter", "\\\\"}}, 1120000},
        {"quoted", 1, {{"QuotedData", "Y"}}, 1101100},
        {"quote escape", 1, {{"QuotedData", "O"}, {"EscapeQuoteDelimiter", "\\"}}, 1101110},
        {"long marks", 1, {{"QuotedData", "Y"}, {"OpenQuoteMark", "<<"}, {"CloseQuoteMark", ">"}}, 1102100},
        {"long mark alone", 1, {{"QuotedData", "Y"}, {"OpenQuoteMark", "<<"}}, 1102200},
        {"marks without quoted data", 1, {{"OpenQuoteMark", "'"}, {"EscapeQuoteDelimiter", "\\"}}, 1100000},
        {"trim", 1, {{"TrimColumns", "Leading"}}, 1100001},
        {"all", 0, {{"QuotedData", "Y"}, {"EscapeTextDelimiter", "\\"}, {"EscapeQuoteDelimiter", "\\"}, {"TrimColumns", "Both"}}, 2111111},
        {"general", 1, {{"UseGeneralUDDIcase", "Y"}}, 2222222},
    };
    // clang-format on
    for (const auto &c : cases) {
        UsingSingleByteCharSet = c.single_byte;
        TrimLeadingChar = TrimTrailingChar = {};
        EXPECT_EQ(ReadFile(c.given).substr(0, 2), "0 ") << c.about;
        EXPECT_EQ(UDDI_ParsingCase, c.number) << c.about;
    }
    EXPECT_TRUE(fake.Traced("!ALERT! UDDI_ParsingCase changed from 1100000 to 2222222."));
    EXPECT_EQ(bValidateParsingCase, 1U);
    EXPECT_EQ(bUsingSingleByteDelimiter, 1U);
    EXPECT_EQ(cDelimiter, '|');
}

TEST_F(DelimitedAttributes, TextHelpers)
{
    EXPECT_TRUE(is_it_a_number("0063"));
    EXPECT_TRUE(is_it_a_number(""));
    EXPECT_FALSE(is_it_a_number("-1"));
    EXPECT_FALSE(is_it_a_number("6\xB2"));

    const std::vector<uint8_t> bytes(300, 0xAB);
    const std::string text = pHEXvalue(bytes.data(), 300);
    EXPECT_EQ(text.size(), 603U);
    EXPECT_EQ(text.substr(600), "AB'");
    EXPECT_STREQ(pHEXvalue(bytes.data(), 247), (text.substr(0, 2 + 494) + "'").c_str());

    const std::string long_name(50, 'N');
    SpecialCharValue value = {.length = 1, .value = {'x'}};
    EXPECT_EQ(GetSpecialChars(long_name.c_str(), "X", &value, nullptr), PXSTC_FatalError);
    EXPECT_EQ(value.length, 1);
    EXPECT_EQ(fake.public_log, "19014(GetSpecialChars,50,50) 19015(12) ");

    char *slot = nullptr;
    EXPECT_EQ(SetStrAttribute(&slot, "", 0), PXSTC_Success);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(SetStrAttribute(&slot, "first", 5), PXSTC_Success);
    EXPECT_EQ(SetStrAttribute(&slot, "second one", 6), PXSTC_Success);
    EXPECT_STREQ(slot, "second");
    free(slot);
}
