// tests/attributes/operator_attributes_test.cpp - general attributes, file set, yes/no words, hostile answers.

#include <filesystem>

#include "attributes/attribute_table.h"
#include "tests/attributes/attributes_fixture.h"

TEST_F(Attributes, YesNoWordsCountOnlyInTheirModes)
{
    // clang-format off
    const struct {
        const char *word;
        int32_t by_mode[3];  // -1: refused
    } cases[] = {
        {"Y", {1, 1, 1}}, {"y", {1, 1, 1}}, {"Yes", {1, 1, 1}}, {"N", {0, 0, 0}}, {"no", {0, 0, 0}},
        {"YE", {-1, -1, -1}}, {"", {-1, -1, -1}}, {"OPT", {-1, -1, -1}}, {"YESWITHOUT", {-1, -1, -1}},
        {"O", {-1, 2, -1}}, {"Optional", {-1, 2, -1}}, {"yesw", {-1, -1, 3}}, {"YesWithoutLog", {-1, -1, 3}},
    };
    // clang-format on
    for (const auto &c : cases) {
        fake.text["X"] = c.word;
        for (int32_t mode = 0; mode < 3; ++mode) {
            int32_t value = 7;
            EXPECT_EQ(FW_GetYN("X", &value, 0, kYes, mode), c.by_mode[mode] < 0 ? 1 : 0) << c.word;
            EXPECT_EQ(value, c.by_mode[mode]) << c.word << " in mode " << mode;
            EXPECT_EQ(bAttributeSeen, 1U);
        }
    }
    EXPECT_EQ(fake.exit_code, 0);  // what a refused word costs is the caller's business
}

TEST_F(Attributes, YesNoDefaultsAndFailures)
{
    int32_t value = 7;
    EXPECT_EQ(FW_GetYN("X", &value, 1, kNone, 0), 0);
    EXPECT_EQ(value, kNone);
    EXPECT_EQ(bAttributeSeen, 0U);
    EXPECT_EQ(fake.private_log, "");
    EXPECT_EQ(FW_GetYN("X", &value, 0, kYesWithoutLog, 2), 0);
    EXPECT_TRUE(fake.Traced("X: 'YESWITHOUTLOG (default)' (=3)"));
    EXPECT_EQ(FW_GetYN("X", &value, 0, kOptional, 0), 0);  // a default that the mode forbids
    EXPECT_EQ(fake.public_log, "19015(12) 19243(X) ");
    fake.text["X"] = "sixteen letters.";
    EXPECT_EQ(FW_GetYN("X", &value, 0, kNo, 0), PXSTC_FatalError);
    EXPECT_TRUE(fake.Told("19202(X,16,15) "));
}

TEST_F(Attributes, GeneralAttributesAreHeldToTheirRules)
{
    // clang-format off
    const struct {
        const char *about;
        int32_t side;
        Given given;
        const char *result;
    } cases[] = {
        {"nothing given", 1, {}, "0 "},
        {"presence alone, consumer", 2, {{"SkipRows", "#0"}}, "48 19230(SkipRows) 19015(12) "},
        {"no time-out, consumer", 2, {{"TimeOut", "#0"}, {"NamedPipeTimeOut", "#0"}}, "0 "},
        {"time-out, consumer", 2, {{"TimeOut", "#1"}}, "48 19230(TimeOut) 19015(12) "},
        {"pipe, consumer", 2, {{"NamedPipeTimeOut", "#1"}}, "48 19230(NamedPipeTimeOut) 19015(12) "},
        {"longest time-out", 1, {{"TimeOut", "#99999"}}, "0 "},
        {"time-out too long", 1, {{"TimeOut", "#100000"}}, "48 19224(TimeOut,99999) 19015(12) "},
        {"negative time-out", 1, {{"TimeOut", "#-1"}}, "48 19224(TimeOut,99999) 19015(12) "},
        {"text for a number", 1, {{"MaxDumpBytes", "12"}}, "48 19202(MaxDumpBytes,2,4) 19015(12) "},
        {"a list", 1, {{"TimeOut", "*"}}, "48 19205(TimeOut,Multi-value,Single-value) 19015(12) "},
        {"32 bytes of set name", 1, {{"SYSTEM_CharSetId", std::string(32, 'x')}}, "48 19202(SYSTEM_CharSetId,32,31) 19015(12) "},
        {"bad word", 1, {{"NullColumns", "perhaps"}}, "48 19205(NullColumns,perhaps,Y[es] or N[o]) 19015(12) "},
        {"not asked for without SkipRows", 1, {{"SkipRowsEveryFile", "perhaps"}}, "0 "},
        {"asked for with SkipRows", 1, {{"SkipRows", "#1"}, {"SkipRowsEveryFile", "perhaps"}}, "48 19205(SkipRowsEveryFile,perhaps,Y[es] or N[o]) 19015(12) "},
        {"restart", 1, {{"SYSTEM_RestartMode", "#1"}}, "0 19011(1) "},
    };
    // clang-format on
    for (const auto &c : cases) {
        OperatorType = c.side;
        EXPECT_EQ(Read(ReadGeneralAttributes, c.given), c.result) << c.about;
    }
    fake.integer.erase("SYSTEM_RestartMode");
    EXPECT_EQ(Read(ReadGeneralAttributes, {}), "48 19201(SYSTEM_RestartMode) 19015(12) ");
}

TEST_F(Attributes, GeneralValuesAndDefaultsArrive)
{
    EXPECT_EQ(Read(ReadGeneralAttributes, {}), "0 ");
    EXPECT_EQ(MaxBytesToDump, 4096);
    EXPECT_EQ(RowsPerInstanceLimit, 0xFFFFFFFFU);
    EXPECT_EQ(bNullColumns, kYes);
    EXPECT_EQ(bDisplayFuncName, kNo);
    EXPECT_STREQ(SG_CharSetName, "UTF8");
    EXPECT_EQ(Read(ReadGeneralAttributes, {{"RowsPerInstance", "#9"},
                                           {"SkipRows", "#3"},
                                           {"SkipRowsEveryFile", "y"},
                                           {"NullColumns", "N"},
                                           {"SYSTEM_CharSetId", "utf16"},
                                           {"NamedPipeTimeOut", "#5"}}),
              "0 ");
    EXPECT_EQ(RowsPerInstanceLimit, 9U);
    EXPECT_EQ(SkipRows, 3U);
    EXPECT_EQ(bSkipRowsEveryFile, kYes);
    EXPECT_EQ(bNullColumns, kNo);
    EXPECT_STREQ(SG_CharSetName, "UTF16");
    EXPECT_EQ(FIFO_TimeOutSeconds, 5U);
    EXPECT_TRUE(fake.Traced("RowsPerInstance=9\n"));
    EXPECT_TRUE(fake.Traced("  SkipRowsEveryFile: 'YES' (=1)  "));
}

TEST_F(Attributes, FilesetAttributesAreHeldToTheirRules)
{
    const std::string long_path(4097, 'p');
    // clang-format off
    const struct {
        const char *about;
        int32_t side, instances;
        Given given;
        const char *result;
    } cases[] = {
        {"nothing given", 1, 1, {}, "0 "},
        {"nothing given, consumer", 2, 1, {}, "0 "},
        {"list and path", 1, 1, {{"DirectoryPath", "/in"}, {"FileList", "Y"}}, "48 19128(FileList,DirectoryPath) 19015(12) "},
        {"list", 1, 1, {{"FileList", "Y"}}, "48 19990(FileList,a list of files) 19015(12) "},
        {"readers, one instance", 1, 1, {{"MultipleReaders", "Y"}}, "0 19241(MultipleReaders,2) "},
        {"readers, consumer", 2, 4, {{"MultipleReaders", "Y"}}, "0 19237(MultipleReaders) "},
        {"readers", 1, 4, {{"MultipleReaders", "Y"}}, "0 "},
        {"most records", 1, 1, {{"RecordsPerBuffer", "#999999"}}, "0 "},
        {"too many records", 1, 1, {{"RecordsPerBuffer", "#1000000"}}, "48 19204(RecordsPerBuffer,1000000,1,999999) 19015(12) "},
        {"the default is no value", 1, 1, {{"RecordsPerInstance", "#-1"}}, "48 19204(RecordsPerInstance,-1,1,999999) 19015(12) "},
        {"old name behind the new", 1, 1, {{"RecordsPerBuffer", "#5"}, {"RecordsPerInstance", "#0"}}, "0 "},
        {"scan, strict words", 1, 1, {{"EnableScan", "yes"}}, "0 "},
        {"scan, bad word", 1, 1, {{"EnableScan", "O"}}, "48 19205(EnableScan,O,Y[es], N[o]) 19015(12) "},
        {"scan, long word", 1, 1, {{"EnableScan", "nope"}}, "48 19202(EnableScan,4,3) 19015(12) "},
        {"scan, consumer", 2, 1, {{"EnableScan", "No"}}, "48 19230(EnableScan) 19015(12) "},
        {"archive fatal, consumer", 2, 1, {{"ArchiveFatal", "No"}}, "48 19230(ArchiveFatal) 19015(12) "},
        {"archive", 1, 1, {{"ArchiveDirectoryPath", "/done"}}, "48 19990(ArchiveDirectoryPath,archiving) 19015(12) "},
        {"no archive", 1, 1, {{"ArchiveDirectoryPath", ""}}, "0 "},
        {"another storage", 1, 1, {{"HadoopHost", "h"}}, "48 19990(HadoopHost,Hadoop) 19015(12) "},
    };
    // clang-format on
    for (const auto &c : cases) {
        OperatorType = c.side;
        TotalInstances = c.instances;
        EXPECT_EQ(Read(ReadFilesetAttributes, c.given), c.result) << c.about;
    }
}

TEST_F(Attributes, FilesetValuesArrive)
{
    TotalInstances = 4;
    EXPECT_EQ(Read(ReadFilesetAttributes, {{"MultipleReaders", "Y"}, {"RecordsPerInstance", "#7"}}),
              "0 ");
    EXPECT_EQ(bAllowMultiInstanceRead, kYes);
    EXPECT_EQ(MaxRecordsPerInstance, 7);
    EXPECT_EQ(bEnableScan, kYes);
    EXPECT_EQ(bDirectoryPathGiven, 0U);
    OperatorType = 2;
    EXPECT_EQ(Read(ReadFilesetAttributes, {{"DirectoryPath", "/in"}, {"MultipleReaders", "Y"}}),
              "0 19237(MultipleReaders) ");
    EXPECT_EQ(bAllowMultiInstanceRead, kNo);
    EXPECT_EQ(MaxRecordsPerInstance, -1);
    EXPECT_EQ(bEnableScan, kNo);
    EXPECT_EQ(bDirectoryPathGiven, 1U);
    EXPECT_STREQ(DirectoryPath, "/in/");
    const std::string longest = "/" + std::string(4095, 'p');
    EXPECT_EQ(Read(ReadFilesetAttributes, {{"DirectoryPath", longest}}), "0 ");
    EXPECT_EQ(DirectoryPath, longest + "/");
    EXPECT_EQ(Read(ReadFilesetAttributes, {{"DirectoryPath", "in/"}}), "0 ");
    EXPECT_STREQ(DirectoryPath, "in/");
    EXPECT_EQ(Read(ReadFilesetAttributes, {}), "0 ");
    EXPECT_EQ(DirectoryPath, std::filesystem::current_path().string() + "/");
}

TEST_F(Attributes, WildAnswersOfTheInfrastructureAreRefused)
{
    static const void *bytes;
    static int32_t size;
    static PxStatus status;
    fake.op()->PX_GetAttribute = [](PxOperator *, const char *, const void **value,
                                    int32_t *length) {
        *value = bytes;
        *length = size;
        return status;
    };
    const struct {
        const void *value;
        int32_t length;
        PxStatus status;
        const char *code;
    } cases[] = {
        {"x", -1, 0, "29"}, {"x", INT32_MAX, 0, "29"}, {nullptr, 3, 0, "21"}, {nullptr, 0, 7, "7"}};
    for (const auto &c : cases) {
        bytes = c.value, size = c.length, status = c.status;
        EXPECT_EQ(Read(ReadFilesetAttributes, {}),
                  std::string("48 19100(PX_GetAttribute,") + c.code + ") 19015(12) ");
    }
    bytes = nullptr, size = status = 0;
    const void *value = nullptr;
    EXPECT_EQ(FetchAttribute("X", &value), PXSTC_Success);
    EXPECT_STREQ(static_cast<const char *>(value), "");
}
