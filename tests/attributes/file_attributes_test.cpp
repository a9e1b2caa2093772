// tests/attributes/file_attributes_test.cpp - file name, mode, format and the rules between them.

#include "pm/pm_state.h"
#include "tests/attributes/attributes_fixture.h"

class FileAttributes : public Attributes {
protected:
    FileAttributes()
    {
        fake.text.insert({{"FileName", "a.csv"}, {"Format", "TEXT"}, {"OpenMode", "Read"}});
        snprintf(SG_CharSetName, sizeof SG_CharSetName, "%s", "UTF8");
    }
    std::string ReadFile(const Given &given)
    {
        return Read(
            [] {
                const PxStatus status = ReadFileAttributes();
                return status != PXSTC_Success ? status : ReadErrorFileAttributes();
            },
            given);
    }
};

TEST_F(FileAttributes, AreHeldToTheirRules)
{
    const std::string long_name(4097, 'n');
    // clang-format off
    const struct {
        const char *about;
        Given given;
        const char *result;
    } cases[] = {
        {"least", {}, "0 "},
        {"empty name", {{"FileName", ""}}, "48 19239(FileName) 19015(12) "},
        {"long name", {{"FileName", long_name}}, "48 19202(FileName,4097,4096) 19015(12) "},
        {"a consumer's mode", {{"OpenMode", "Write"}}, "48 19205(OpenMode,Write,Read) 19015(12) "},
        {"no such format", {{"Format", "CSV"}}, "48 19205(Format,CSV,TEXT, FORMATTED, BINARY, FORMATTED4, BINARY4, UNFORMATTED or DELIMITED) 19015(12) "},
        {"format not offered", {{"Format", "Formatted2"}}, "0 "},
        {"delimited attributes are no business of TEXT", {{"TextDelimiterHEX", "X"}, {"TrimColumns", "*"}}, "0 "},
        {"its character alone is not read", {{"ReplacementUTF8Char", "long"}}, "0 "},
        {"connector", {{"HadoopJobType", "hive"}}, "48 19990(HadoopJobType,Hadoop) 19015(12) "},
        {"byte order mark on reading", {{"WriteBOM", "Y"}}, "0 19246(WriteBOM) "},
        {"old buffer size", {{"IOBufferSize", "#1000"}}, "0 "},
        {"long log directory", {{"RowErrFileName", "bad"}, {"SYSTEM_LOGDIRECTORY", long_name}}, "48 19202(SYSTEM_LOGDIRECTORY,4097,4096) 19015(12) "},
        {"nobody asks for it without the file", {{"SYSTEM_LOGDIRECTORY", long_name}}, "0 "},
        {"no error file", {{"RecordErrorFileName", ""}, {"ErrorLimit", "#5"}, {"RecordErrorFilePrefixHEX", "X"}}, "0 "},
        {"excess columns", {{"AcceptExcessColumns", "optional"}}, "48 19205(AcceptExcessColumns,optional,Y[es], N[o] or YesW[ithoutLog]) 19015(12) "},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(ReadFile(c.given), c.result) << c.about;
    fake.text.erase("FileName");
    EXPECT_EQ(ReadFile({}), "48 19201(FileName) 19015(12) ");
    bIOviaAccessModule = 1;
    EXPECT_EQ(ReadFile({}), "0 ");
}

TEST_F(FileAttributes, ValidUtf8NeedsUtf8AndDelimitedData)
{
    // clang-format off
    const struct {
        const char *about;
        int32_t family;
        Given given;
        const char *result;
        uint32_t truncates;
        const char *replacement;
    } cases[] = {
        {"absent",              kFamilyUtf8, {}, "0 ", 0, "\xE2\x96\xA1"},
        {"in any case",         kFamilyUtf8, {{"ValidUTF8", "utfx"}}, "0 ", 1, "\xE2\x96\xA1"},
        {"replacement",         kFamilyUtf8, {{"ValidUTF8", "UTF8"}, {"ReplacementUTF8Char", "?"}}, "0 ", 1, "?"},
        {"unknown",             kFamilyUtf8, {{"ValidUTF8", "yes"}}, "48 19205(ValidUTF8,yes,UTF8 or UTFX) 19015(12) ", 0, ""},
        {"long",                kFamilyUtf8, {{"ValidUTF8", std::string(201, 'u')}}, "48 19202(ValidUTF8,201,200) 19015(12) ", 0, ""},
        {"a list",              kFamilyUtf8, {{"ValidUTF8", "*"}}, "48 19205(ValidUTF8,Multi-value,Single-value) 19015(12) ", 0, ""},
        {"another set",     kFamilyOrdinary, {{"ValidUTF8", "utf8"}}, "48 19244(ValidUTF8,UTF8,SYSTEM_CharSetId,UTF8,63) 19015(12) ", 0, ""},
        {"text",                kFamilyUtf8, {{"ValidUTF8", "UTF8"}, {"Format", "Text"}}, "48 19208(ValidUTF8,TEXT) 19015(12) ", 0, ""},
        {"two bytes",           kFamilyUtf8, {{"ValidUTF8", "UTF8"}, {"ReplacementUTF8Char", "\xC3\xA9"}}, "48 19202(ReplacementUTF8Char,2,1) 19015(12) ", 1, ""},
        {"no byte",             kFamilyUtf8, {{"ValidUTF8", "UTF8"}, {"ReplacementUTF8Char", ""}}, "48 19202(ReplacementUTF8Char,0,1) 19015(12) ", 1, ""},
        {"no character",        kFamilyUtf8, {{"ValidUTF8", "UTF8"}, {"ReplacementUTF8Char", "\xC3"}}, "48 19245(ReplacementUTF8Char) 19015(12) ", 1, ""},
    };
    // clang-format on
    fake.text["Format"] = "Delimited";
    fake.text["TextDelimiter"] = "|";
    for (const auto &c : cases) {
        CharSetFamily = c.family;
        bTruncateUTF8 = 0;
        EXPECT_EQ(ReadFile(c.given), c.result) << c.about;
        EXPECT_EQ(bTruncateUTF8, c.truncates) << c.about;
        const std::string kept(UTF8Replacement, UTF8Replacement + UTF8ReplacementLength);
        EXPECT_TRUE(*c.replacement == '\0' || kept == c.replacement) << c.about;
    }
    EXPECT_EQ(ByteFixTable[0], 0xAC82E2U);  // the euro sign
    EXPECT_EQ(ByteFixTable[1], 0U);         // no character
    EXPECT_EQ(ByteFixTable[0x7F], 0xBFC3U);
}

TEST_F(FileAttributes, ConsumerHasItsOwnModesAndMarks)
{
    // clang-format off
    const struct {
        const char *about, *set;
        int32_t instance, restart;
        Given given;
        const char *result;
        uint16_t mode;
        int32_t mark;
    } cases[] = {
        {"write", "UTF8", 1, 0, {{"OpenMode", "write"}}, "0 ", 2, 0},
        {"a producer's mode", "UTF8", 1, 0, {{"OpenMode", "Read"}}, "48 19205(OpenMode,Read,Write or WriteAppend) 19015(12) ", 2, 0},
        {"zip", "UTF8", 1, 0, {{"OpenMode", "write"}, {"FileName", "a.zip"}}, "0 ", 2, 0},
        {"append to zip", "UTF8", 1, 0, {{"OpenMode", "WriteAppend"}, {"FileName", "a.zip"}}, "48 19251(OpenMode,WRITEAPPEND) 19015(12) ", 3, 0},
        {"another instance does not look", "UTF8", 2, 0, {{"OpenMode", "WriteAppend"}, {"FileName", "a.zip"}}, "0 ", 3, 0},
        {"zip inside the name", "UTF8", 1, 0, {{"OpenMode", "WriteAppend"}, {"FileName", "a.zip.x"}}, "0 ", 3, 0},
        {"restart appends", "UTF8", 1, 1, {{"OpenMode", "write"}}, "0 19206(OpenMode,WRITEAPPEND) ", 3, 0},
        {"mark", "UTF8", 1, 0, {{"OpenMode", "write"}, {"WriteBOM", "Y"}}, "0 ", 2, 1},
        {"mark in a wrong set", "ASCII", 1, 0, {{"OpenMode", "write"}, {"WriteBOM", "Y"}}, "0 19249(WriteBOM,ASCII) ", 2, 0},
        {"mark in a wrong format", "UTF8", 1, 0, {{"OpenMode", "write"}, {"WriteBOM", "Y"}, {"Format", "UNFORMATTED"}}, "0 19208(WriteBOM,) ", 2, 0},
        {"its word is another's", "UTF8", 1, 0, {{"OpenMode", "write"}, {"WriteBOM", "Y"}, {"Format", "BINARY"}}, "0 19208(WriteBOM,FORMATTED2) ", 2, 0},
    };
    // clang-format on
    OperatorType = 2;
    TotalInstances = 2;
    for (const auto &c : cases) {
        ThisInstance = c.instance;
        FW_RestartMode = c.restart;
        snprintf(SG_CharSetName, sizeof SG_CharSetName, "%s", c.set);
        bWriteBOM = 0;
        EXPECT_EQ(ReadFile(c.given), c.result) << c.about;
        EXPECT_EQ(FW_OpenMode, c.mode) << c.about;
        EXPECT_EQ(bWriteBOM, c.mark) << c.about;
    }
    EXPECT_EQ(Reading, 0U);
    EXPECT_TRUE(fake.Traced("FileName: 'a.csv'"));
    FW_RestartMode = 0;
    fake.text.erase("OpenMode");
    EXPECT_EQ(ReadFile({}), "0 19203(OpenMode,Write) ");
    EXPECT_EQ(FW_OpenMode, 2);
    OperatorType = 1;
    EXPECT_EQ(ReadFile({}), "0 19203(OpenMode,Read) ");
    EXPECT_EQ(FW_OpenMode, 1);
    EXPECT_EQ(Reading, 1U);
}

TEST_F(FileAttributes, IndicatorsAndUnsupportedSetsDoNotGoWithText)
{
    SG_IndicatorData = kYes;
    EXPECT_EQ(ReadFile({}), "48 19208(IndicatorMode,TEXT) 19015(12) ");
    EXPECT_EQ(ReadFile({{"Format", "Delimited"}}), "48 19208(IndicatorMode,DELIMITED) 19015(12) ");
    EXPECT_EQ(ReadFile({{"Format", "Binary"}}), "0 ");
    bUnsupportedCharacterSet = 1;
    EXPECT_EQ(ReadFile({{"Format", "Delimited"}}), "48 19465() 19015(12) ");
    EXPECT_EQ(ReadFile({{"Format", "Binary"}}), "0 ");
}

TEST_F(FileAttributes, FirstNameOfTruncationThatIsGivenCounts)
{
    const std::pair<Given, int32_t> cases[] = {
        {{}, kNo},
        {{{"TruncateColumns", "Yes"}}, kYes},
        {{{"TruncateLongCols", "YesW"}}, kYesWithoutLog},
        {{{"TruncateColumnData", "No"}, {"TruncateColumns", "Yes"}}, kNo},
        {{{"TruncateColumns", "No"}, {"TruncateLongCols", "Yes"}}, kNo},
    };
    for (const auto &[given, option] : cases) {
        EXPECT_EQ(ReadFile(given), "0 ");
        EXPECT_EQ(TruncateColumnsOpt, option);
    }
}

TEST_F(FileAttributes, WhatGoesWithAnErrorFileIsTakenWithOneOnly)
{
    const Given given = {{"ErrorLimit", "#5"}, {"RecordErrorVerbosity", "h"}};
    EXPECT_EQ(ReadFile({given[0], given[1], {"RecordErrorFilePrefix", "*"}}), "0 ");
    EXPECT_EQ(SG_ErrorRowLimit, -1);
    EXPECT_EQ(RowErrorVerbosity, 0);
    EXPECT_TRUE(fake.Traced("Definition of attribute ErrorLimit ignored"));
    EXPECT_TRUE(fake.Traced("RecordErrorVerbosity: 'OFF' (IGNORED)"));
    SG_pmFpErrors = 1;  // it was opened between the two groups
    EXPECT_EQ(
        ReadFile(
            {given[0], given[1], {"RowErrFileName", "bad"}, {"RecordErrorFilePrefixHEX", "2A00"}}),
        "0 ");
    EXPECT_STREQ(SG_RowErrFileName, "bad");
    EXPECT_EQ(SG_ErrorRowLimit, 5);
    EXPECT_EQ(RowErrFilePrefixChar.length, 2);
    EXPECT_EQ(RowErrorVerbosity, 3);
    EXPECT_EQ(ReadFile({{"RecordErrorFileName", "new"}, {"RowErrFileName", "old"}}), "0 ");
    EXPECT_STREQ(SG_RowErrFileName, "new");
    EXPECT_EQ(SG_ErrorRowLimit, -1);
}
