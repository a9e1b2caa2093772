// tests/pm/handles_test.cpp - handles, return codes, modules, trace levels.

#include <cstdlib>

#include "pm/pm_trace.h"
#include "tests/pm/pm_fixture.h"

using Handles = Pm;

TEST(PmUnstarted, EveryCallAsksForPmInit)
{
    pmRecord record = {};
    EXPECT_EQ(pmRead(1, &record), pmrcNotInitialised);
    EXPECT_EQ(pmWrite(1, &record), pmrcNotInitialised);
    EXPECT_EQ(pmDetach(1, 2), pmrcNotInitialised);
    EXPECT_EQ(pmShutDown(2), pmrcNotInitialised);
    const pmVersion *first = nullptr;
    EXPECT_EQ(pmGetID(0, &first), pmrcOk);  // but the versions are known
    int records = 0;
    for (; first != nullptr; first = first->next)
        ++records;
    EXPECT_EQ(records, 9);
}

TEST_F(Handles, InitChecksItsParametersAndMayComeTwice)
{
    static const std::string long_id(256, 'x');
    const std::pair<pmInitParms, int> cases[] = {
        {{5, "test", 3}, pmrcOk},
        {{0, "test", 3}, pmrcTraceLevel},
        {{6, "test", 3}, pmrcTraceLevel},
        {{1, "test", 2}, pmrcVersion},
        {{1, long_id.c_str(), 3}, pmrcUtility},
    };
    for (const auto &[parms, code] : cases)
        EXPECT_EQ(pmInit(&parms), code) << parms.TraceLvl;
    EXPECT_EQ(pmGlobalTraceLvl, 1U);  // each call that had a level set it
    setenv("FENWIRE_LITERAL_READER", "1", 1);
    EXPECT_EQ(pmInit(&cases[0].first), pmrcOk);
    EXPECT_EQ(bLiteralReader, 1U);
}

TEST_F(Handles, AttachChecksItsParameters)
{
    static const char text[600] = "x";
    // clang-format off
    static const struct {
        const char *about;
        pmAttachParms parms;
        uint32_t method;
        int code;
    } kCases[] = {
        {"default module",    {0,   text, 512, text}, 2, pmrcOk              },
        {"long name",         {513, text, 0,   text}, 1, pmrcBadParameter    },
        {"long init string",  {0,   text, 513, text}, 1, pmrcBadParameter    },
        {"checkpoint method", {0,   text, 0,   text}, 3, pmrcCheckpointMethod},
        {"loadable module",   {1,   text, 0,   text}, 1, pmrcText            },
    };
    // clang-format on
    for (const auto &c : kCases) {
        pmToken token = 77;
        EXPECT_EQ(pmAttach(&c.parms, c.method, &token), c.code) << c.about;
        EXPECT_EQ(token != 0, c.code == pmrcOk) << c.about;
    }
}

TEST_F(Handles, StaleAndForeignHandlesAreRefused)
{
    pmRecord record = {};
    OpenText("a\n");
    const pmToken open = file;
    for (const pmToken wrong : {0U, 5000U, module, Object()->BufferToken}) {
        EXPECT_EQ(pmRead(wrong, &record), pmrcBadFile) << wrong;
        EXPECT_EQ(pmClose(wrong), pmrcBadFile) << wrong;
    }
    EXPECT_EQ(pmDetach(open, 2), pmrcBadHandle);
    EXPECT_EQ(pmOpen(kOpenRead, false, 1, nullptr, 64, 0, "x", open, nullptr, &file),
              pmrcBadHandle);
    EXPECT_EQ(file, 0U);
    EXPECT_EQ(pmClose(open), pmrcOk);
    EXPECT_EQ(pmRead(open, &record), pmrcBadFile);
    EXPECT_EQ(pmClose(open), pmrcBadFile);
}

TEST_F(Handles, OpenRefusesWhatItCanNotServe)
{
    const std::string path = directory.File("a.csv"), longest(4096, 'x'), longer(4097, 'x');
    directory.Write("a.csv", "a\n");
    directory.Write("b.gz", "a\n");
    directory.Write("c.gz.gz", "a\n");
    const auto open = [&](const std::string &name, uint16_t mode = kOpenRead, uint32_t format = 1,
                          bool master = false) {
        file = 9;
        const int code =
            pmOpen(mode, master, format, nullptr, 64, 0, name.c_str(), module, nullptr, &file);
        EXPECT_EQ(file != 0, code == pmrcOk) << name;
        return code;
    };
    EXPECT_EQ(open(path), pmrcOk);
    EXPECT_EQ(open(path, 0), pmrcBadParameter);
    EXPECT_EQ(open(path, kOpenWriteAppend | kOpenPrivate), pmrcBadParameter);
    EXPECT_EQ(open(path, kOpenRead, 0), pmrcBadFormat);
    EXPECT_EQ(open(path, kOpenRead, 9), pmrcBadFormat);
    EXPECT_EQ(open(path, kOpenRead, 1, true), pmrcUnsupported);
    EXPECT_EQ(open(longer), pmrcNameTooLong);
    EXPECT_EQ(open(longest), pmrcText);  // the system's own limit
    EXPECT_EQ(open(directory.File("none")), pmrcNotFound);
    EXPECT_EQ(open(directory.File("b.gz")), pmrcText);
    EXPECT_NE(strstr(pmErrorText(pmrcText), "compressed files are not available"), nullptr);
    EXPECT_EQ(open(directory.File("c.gz.gz")), pmrcOk);  // its first ".gz" is not at the end
}

TEST_F(Handles, CallsMindTheirModeAndTheFiles)
{
    pmRecord record = {};
    OpenText("a\n");
    EXPECT_EQ(pmDetach(module, 0), pmrcBadParameter);
    EXPECT_EQ(pmDetach(module, 1), pmrcFilesOpen);
    EXPECT_EQ(pmShutDown(3), pmrcBadParameter);
    EXPECT_EQ(pmShutDown(1), pmrcModulesActive);
    EXPECT_EQ(pmWrite(file, &record), pmrcReadOnly);
    EXPECT_EQ(pmFlush(file), pmrcReadOnly);
    EXPECT_EQ(pmRead(file, &record), pmrcOk);  // all of that changed nothing
    EXPECT_EQ(pmDetach(module, 2), pmrcOk);
    EXPECT_EQ(pmRead(file, &record), pmrcBadFile);
    EXPECT_EQ(pmDetach(module, 2), pmrcBadHandle);
    EXPECT_EQ(pmShutDown(1), pmrcOk);
    Start(1);
    EXPECT_EQ(ReadText("a\n"), "a|->9");
}

TEST_F(Handles, ManyFilesLeaveNoMemoryBehind)
{
    EXPECT_EQ(ReadText("a\n"), "a|->9");
    const uint32_t entries = MemoryEntryCount;
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(ReadText("a\n"), "a|->9");
    EXPECT_EQ(MemoryEntryCount, entries);
}

TEST_F(Handles, ErrorTexts)
{
    EXPECT_STREQ(pmErrorText(9), "End-of-file");
    EXPECT_STREQ(pmErrorText(56), "Can not checkpoint or restart a PIPE");
    for (const int code : {-1, 47, 55, 57}) {
        pmData text = {};
        EXPECT_EQ(pmGetErrText(code, &text), pmrcOk);
        EXPECT_EQ(std::string(static_cast<const char *>(text.bytes), text.length),
                  "No such Access Module API return code");
    }
    const std::string longest(32001, 'x');
    pmSetErrTxt(longest.data(), 32001);
    EXPECT_EQ(strlen(pmErrorText(pmrcText)), 32000U);
    fwfini();
    EXPECT_STREQ(pmErrorText(pmrcText), "Unknown Access Module failure");
    fwfini();
}

TEST_F(Handles, TraceLevelOfOneFile)
{
    OpenText("one\ntwo\n");
    OpenPrivateLog();
    pmRecord record = {};
    EXPECT_EQ(pmTrace(3, &file, 1), pmrcOk);
    fake.private_log.clear();
    pmRead(file, &record);
    EXPECT_EQ(fake.private_log, "");
    EXPECT_EQ(pmTrace(3, &file, 4), pmrcOk);
    fake.private_log.clear();
    pmRead(file, &record);
    EXPECT_TRUE(fake.Traced("*two*"));
    EXPECT_EQ(pmTrace(0, &file, 1), pmrcBadParameter);
    EXPECT_EQ(pmTrace(4, &file, 1), pmrcBadParameter);
    EXPECT_EQ(pmTrace(1, nullptr, 6), pmrcTraceLevel);
    EXPECT_EQ(pmTrace(2, &file, 1), pmrcBadHandle);
    EXPECT_EQ(pmTrace(3, &module, 1), pmrcBadFile);
}

TEST_F(Handles, FailedCloseIsAWarningAndCostsNothing)
{
    Close_pmFile(0, "Data File");
    EXPECT_EQ(fake.public_log, "");
    Close_pmFile(4711, "Data File");
    EXPECT_EQ(fake.public_log, "19407(pmClose,7,Invalid pmFp parameter) 19309() ");
    EXPECT_EQ(fake.exit_code, 0);
}

TEST_F(Handles, DumpsShowOffsetsAndLeaveRepeatsOut)
{
    OpenPrivateLog();
    fake.private_log.clear();
    const std::string bytes = std::string(48, 'a') + "b";
    pmHexDmp(kDumpMessage, 49, bytes.data(), 49, "X", false);
    const std::string hex = " 61 61 61 61.61 61 61 61.61 61 61 61.61 61 61 61";
    EXPECT_EQ(fake.private_log, " 0000" + hex + " *aaaaaaaaaaaaaaaa*\n  ....\n 0030 62" +
                                    std::string(45, ' ') + " *b*\n");
    fake.private_log.clear();
    pmHexDmp(kDumpMessage, 1, bytes.data(), 49, "X", false);
    EXPECT_TRUE(fake.Traced("truncated buffer from 49 bytes to 1 bytes."));
    pmHexDmp(kDumpMessage, 1, nullptr, 49, "X", true);
    EXPECT_TRUE(fake.Traced("Address provided is null"));
}
