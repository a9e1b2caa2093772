// tests/pm/char_sets_test.cpp - names and numbers of character sets, lengths of characters.

#include "tests/pm/pm_fixture.h"

using CharSets = Pm;

TEST_F(CharSets, NamesAndNumbers)
{
    // clang-format off
    static constexpr struct {
        const char *given;
        int code;
        const char *established;
        int32_t family;
        uint32_t single, unsupported;
    } kCases[] = {
        {"",                               0,   "ASCII",         0, 1, 0},
        {"ASCII",                          0,   "ASCII",         0, 1, 0},
        {"utf8",                           0,   "UTF8",          3, 0, 0},
        {"UTF8   ",                        0,   "UTF8",          3, 0, 0},
        {"UTF16",                          0,   "UTF16",         2, 0, 0},
        {"UCS-2",                          101, "UCS-2",         2, 0, 0},
        {"KANJISJIS_0S",                   0,   "KANJISJIS_0S",  0, 0, 0},
        {"LATIN1_0A",                      0,   "LATIN1_0A",     0, 1, 0},
        {"ABC_A",                          100, "ABC_A",         0, 1, 1},
        {"ABC_0B",                         100, "ABC_0B",        0, 1, 1},
        {"62",                             0,   "UTF16",         2, 0, 0},
        {"63",                             0,   "UTF8",          3, 0, 0},
        {"122",                            0,   "TCHBIG5_1R0",   0, 0, 0},
        {"64",                             100, "ASCII",         0, 1, 0},
        {"0",                              100, "ASCII",         0, 1, 0},
        {"255",                            100, "ASCII",         0, 1, 0},
        {"256",                            102, "ASCII",         0, 1, 1},
        {"99999999999999999999",           102, "ASCII",         0, 1, 1},
        {"A23456789012345678901234567890", 100, "A23456789012345678901234567890", 0, 1, 1},
    };
    // clang-format on
    for (const auto &c : kCases) {
        EXPECT_EQ(pmSetCharSet(c.given), c.code) << c.given;
        EXPECT_STREQ(SG_CharsetName, c.established);
        EXPECT_EQ(CharSetFamily, c.family) << c.given;
        EXPECT_EQ(UsingSingleByteCharSet, c.single) << c.given;
        EXPECT_EQ(bUnsupportedCharacterSet, c.unsupported) << c.given;
    }
    EXPECT_EQ(fake.exit_code, 0);
    EXPECT_EQ(pmSetCharSet("A234567890123456789012345678901"), 48);
    EXPECT_EQ(fake.public_log, "19014(Init_MBCS,31,31) 19015(12) ");
}

TEST_F(CharSets, LengthsOfCharacters)
{
    // clang-format off
    static const struct {
        const char *set;
        const char *bytes;
        int32_t result;
        uint32_t length;  // 9: not stored
        int bad;
    } kCases[] = {
        {"ASCII",             "\xC3\xA9",         0, 9, 0},
        {"UTF8",              "a",                0, 1, 0},
        {"UTF8",              "\xC1\x80",         0, 1, 0},
        {"UTF8",              "\xC2\x80",         1, 2, 0},
        {"UTF8",              "\xC3" "a",         0, 1, 0},
        {"UTF8",              "\xE2\x96\xA1",     1, 3, 0},
        {"UTF8",              "\xE2\x96",         0, 1, 0},
        {"UTF8",              "\xED\xA0\x80",     1, 3, 0},
        {"UTF8",              "\xF7\xBF\xBF\xBF", 1, 4, 0},
        {"UTF8",              "\xF8\x80\x80\x80", 0, 1, 0},
        {"UTF8",              "\x80",             0, 1, 0},
        {"UTF16",             "a\x01",            1, 2, 0},
        {"UTF16",             "\x01\xD8\x01\x01", 1, 4, 0},
        {"UTF16",             "\x01\xDF\x01\x01", 1, 4, 0},
        {"UCS-2",             "\x01\xE0",         1, 2, 0},
        {"SCHINESE936_6R0",   "\x80",             0, 1, 0},
        {"SCHINESE936_6R0",   "\x81\x01",         1, 2, 0},
        {"SCHGB2312_1T0",     "\x80",             0, 0, 0},
        {"SCHGB2312_1T0",     "\xA0\xA1",         1, 0, 1},
        {"SCHGB2312_1T0",     "\xA1\xFE",         1, 2, 0},
        {"SCHGB2312_1T0",     "\xA1\xFF",         1, 0, 1},
        {"KANJIEUC_0U",       "\x7F",             0, 0, 0},
        {"KANJIEUC_0U",       "\x8E\xA1",         1, 2, 0},
        {"KANJIEUC_0U",       "\x8E" "a",         0, 2, 1},
        {"KANJIEUC_0U",       "\x8F\xA1\xA1",     1, 3, 0},
        {"KANJIEUC_0U",       "\x8F\xA1",         0, 2, 1},
        {"KANJIEUC_0U",       "\x8F" "a\xA1",     0, 3, 1},
        {"SDKANJIEUC_1U3",    "\xA1\xA0",         0, 2, 1},
        {"SDKANJIEUC_1U3",    "\xA1\xFE",         1, 2, 0},
        {"SDKANJIEUC_1U3",    "\xA1",             0, 1, 1},
        {"KANJISJIS_0S",      "\xA0",             0, 0, 0},
        {"KANJISJIS_0S",      "\x9F\x40",         1, 2, 0},
        {"SDKANJISJIS_1S3",   "\xE0\x7F",         0, 2, 1},
        {"KANJI932_1S0",      "\xFC\xFC",         1, 2, 0},
        {"KANJI932_1S0",      "\xFD\x40",         0, 0, 0},
        {"KANJI932_1S0",      "\x81",             0, 1, 1},
        {"TCHBIG5_1R0",       "\xFF\x7E",         1, 2, 0},
        {"SDTCHBIG5_3R0",     "\x81\xFF",         0, 2, 1},
        {"HANGULKSC5601_2R4", "\x81\xFF",         1, 2, 0},
        {"SDHANGULKSC5601_4R4", "\x81\x3F",       0, 2, 1},
    };
    // clang-format on
    for (const auto &c : kCases) {
        uint8_t bytes[8] = {};
        memcpy(bytes, c.bytes, strlen(c.bytes));
        uint32_t length = 9;
        badmbcs = 0;
        pmSetCharSet(c.set);
        EXPECT_EQ(CharLengthFn(bytes, &length), c.result) << c.set << " " << int{bytes[0]};
        EXPECT_EQ(length, c.length) << c.set << " " << int{bytes[0]} << " " << int{bytes[1]};
        EXPECT_EQ(badmbcs, c.bad) << c.set << " " << int{bytes[0]} << " " << int{bytes[1]};
    }
    const uint8_t pair[] = {0x00, 0xD8, 0, 0}, unit[] = {0x61, 0x00, 0, 0};
    uint32_t length = 0;
    pmSetCharSet("UTF16");
    CharLengthFn(pair, &length);
    EXPECT_EQ(fourByteUTF, 1);
    CharLengthFn(unit, &length);
    EXPECT_EQ(fourByteUTF, 0);
}
