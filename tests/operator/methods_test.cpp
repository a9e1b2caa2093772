// tests/operator/methods_test.cpp - what the methods answer to phases, flags and events.

#include <cstring>
#include <gtest/gtest.h>

#include "attributes/attributes_state.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "tests/support/open_logs.h"

class Methods : public testing::Test {
protected:
    Methods()
    {
        OpenLogs(fake);
        FW_TraceLvl = 3;
        StatsTraceLevel = 2;
        OperatorType = 1;
        TotalInstances = 1;
    }
    size_t CountTraced(const std::string &words) const
    {
        size_t count = 0;
        for (size_t at = fake.private_log.find(words); at != std::string::npos;
             at = fake.private_log.find(words, at + 1))
            ++count;
        return count;
    }
    Fake fake;
};

TEST_F(Methods, UnknownPhaseIsFatalAndNamed)
{
    EXPECT_EQ(PX_Initiate(fake.op(), 3), PXSTC_FatalError);
    EXPECT_EQ(PX_Terminate(fake.op(), 3), PXSTC_FatalError);
    EXPECT_EQ(PX_Initiate(fake.op(), 0), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19148(3) 19015(12) 19148(3) 19148(0) ");
}

TEST_F(Methods, StartThatFailsIsReportedByItsCode)
{
    FW_TraceLvl = 9;
    EXPECT_EQ(FW_FenwireInit(), PXSTC_FatalError);
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log,
              "19427(pmInit,27,Invalid diagnostic trace level) 19301() 19015(12) "
              "19426(pmAttach,26,Access Module API not initialized (call pmInit)) 19302() ");
}

TEST_F(Methods, WantAnOperatorThatIsInitiatedOnce)
{
    EXPECT_EQ(PX_Checkpoint(fake.op(), 1), PXSTC_FatalError);
    EXPECT_EQ(PX_Restart(fake.op(), 1), PXSTC_FatalError);
    EXPECT_EQ(fake.exit_code, 12);
    EXPECT_EQ(CountTraced("Operator Fenwire NOT initialized!"), 2U);
    bOperatorInUse = 1;
    EXPECT_EQ(PX_Restart(fake.op(), 3), PXSTC_FatalError);
    EXPECT_EQ(PX_Initiate(fake.op(), 1), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19015(12) 19148(3) 19116() ");
}

// ---- Execute ----------------------------------------------------------------------------------

TEST_F(Methods, CheckpointIsAskedForOnceAndBeforeTheEnd)
{
    bNoFileForInstance = 1;
    LastExecutePhase = 1;
    bRequestCheckpoint = 1;
    EXPECT_EQ(PX_Execute(fake.op(), 1), PXSTC_Checkpoint);
    EXPECT_EQ(PX_Execute(fake.op(), 1), PXSTC_EndMethod);
    EXPECT_EQ(fake.statistics[0], "126=1");
}

TEST_F(Methods, InstanceWithoutFilesEndsOnceAndStaysEnded)
{
    snprintf(FW_FileName, sizeof FW_FileName, "*.csv");
    EvtRecordCount = 7;
    bNoFileForInstance = 1;
    EXPECT_EQ(PX_Execute(fake.op(), 1), PXSTC_EndMethod);
    EXPECT_TRUE(fake.Traced("\nNull op instance\n"));
    EXPECT_EQ(fake.statistics,
              (std::vector<std::string>{"126=0", "119=7", "121=0", "125=0", "124=*.csv"}));
    EXPECT_EQ(PX_Execute(fake.op(), 1), PXSTC_EndMethod);
    EXPECT_EQ(fake.statistics.size(), 5U);
    EXPECT_EQ(CountTraced("Execute EndMethod flag set"), 1U);
    EXPECT_EQ(CountTraced("Entering phase 1"), 1U);
    EXPECT_EQ(PX_Execute(fake.op(), 2), PXSTC_EndMethod);
    EXPECT_EQ(CountTraced("Entering phase"), 2U);
}

TEST_F(Methods, OnlyInstanceOneCountsCheckpointsAndLowHalvesOfCountsAreSent)
{
    ThisInstance = 2;
    EvtRecordCount = (uint64_t{1} << 32) + 5;
    PutJobStats();
    EXPECT_EQ(fake.statistics, (std::vector<std::string>{"119=5", "121=0", "125=0", "124="}));
    EXPECT_TRUE(fake.Traced("FWRowsRead=4294967301 does not fit a 32-bit statistic\n"));
}

TEST_F(Methods, FormatsFitTheRowsOfTheJob)
{
    const struct {
        uint32_t writing, format;
        int32_t allowed;
        const char *messages;
    } cases[] = {
        {0, 6, 64, "19166(BINARY4,64) 19015(12) "},
        {0, 7, 64, "19166(FORMATTED4,64) "},
        {0, 6, 1024, ""},
        {0, 1, 64, ""},
        {1, 2, 1024, "19165(BINARY) "},
        {1, 3, 1024, "19165(FORMATTED) "},
        {1, 2, 64, ""},
        {1, 6, 64, ""},
    };
    for (const auto &c : cases) {
        bJobMaxRowSizeRead = 0;
        bWriting = c.writing;
        FileFormat = c.format;
        fake.integer["SYSTEM_JobMaxRowSize_Allow"] = c.allowed;
        fake.public_log.clear();
        EXPECT_EQ(CheckJobRowSize(), *c.messages ? PXSTC_FatalError : PXSTC_Success);
        EXPECT_EQ(fake.public_log, c.messages);
    }
}

TEST_F(Methods, DeleteTaskRunsAloneAndOnOneFile)
{
    const struct {
        const char *about;
        PxStatus service;
        std::string value;
        int32_t instances, operators, scan;
        const char *messages;
    } cases[] = {
        {"no such variable", 5, "", 4, 4, 1, ""},
        {"the service fails", 8, "", 1, 1, 0, "19015(12) "},
        {"no delete task", 0, std::string(1, '\0'), 4, 4, 1, ""},
        {"alone", 0, "\1", 1, 1, 0, ""},
        {"several instances", 0, "\1", 2, 1, 0, "19168() 19015(12) "},
        {"several operators", 0, "\1", 1, 2, 0, "19168() 19015(12) "},
        {"a scan", 0, "\1", 1, 1, 1, "19169() 19015(12) "},
    };
    for (const auto &c : cases) {
        FirstTimeReadSingleRowForZarnDelete = 1;
        CurrentExitCode = 0;
        fake.public_log.clear();
        fake.failing["PX_ReadUniversalVar"] = c.service;
        fake.globals["SingleRowForZarnDelete"] = {c.value};
        fake.integer["SYSTEM_MaxOperators"] = c.operators;
        TotalInstances = c.instances;
        bEnableScan = c.scan;
        EXPECT_EQ(CheckForDeleteTask(), *c.messages ? PXSTC_FatalError : PXSTC_Success) << c.about;
        EXPECT_EQ(fake.public_log, c.messages) << c.about;
    }
}

// ---- Event ------------------------------------------------------------------------------------

TEST_F(Methods, EveryEventIsRefusedAndOneThatIsNoNumberIsFatal)
{
    for (const int64_t number : {1, 15, 17, 36, 0, 999}) {
        fake.text["EventFunction"] =
            std::string(reinterpret_cast<const char *>(&number), sizeof number);
        EXPECT_EQ(PX_Event(fake.op()), PXSTC_NotSupported) << number;
    }
    EXPECT_EQ(fake.exit_code, 0);
    // clang-format off
    const struct {
        const char *messages;
        void (*give)(Fake &fake);
    } cases[] = {
        {"", [](Fake &) {}},
        {"19201(EventFunction) 19015(12) ", [](Fake &f) { f.text.clear(); }},
        {"19202(EventFunction,4,8) ", [](Fake &f) { f.integer["EventFunction"] = 1; }},
        {"19205(EventFunction,Multi-value,Single-value) ", [](Fake &f) { f.lists.insert("EventFunction"); }},
        {"19100(PX_GetAttribute,8) ", [](Fake &f) { f.failing["PX_GetAttribute:EventFunction"] = 8; }},
        {"", [](Fake &) { ThisInstance = 2; }},  // instance 1 alone speaks of attributes
    };
    // clang-format on
    for (const auto &c : cases) {
        c.give(fake);
        const bool refused = fake.text.count("EventFunction") != 0;
        EXPECT_EQ(PX_Event(fake.op()), refused ? PXSTC_NotSupported : PXSTC_FatalError);
        EXPECT_EQ(fake.public_log, c.messages);
        fake.public_log.clear();
    }
}

// ---- Terminate --------------------------------------------------------------------------------

TEST_F(Methods, ExecutePassedIsReadAtEveryPhase)
{
    const struct {
        const char *value;
        PxStatus status;
        int32_t passed;
        const char *trace;
    } cases[] = {
        {"y", PXSTC_NextPhase, 1, "value is 'Y'\n"},
        {"No", PXSTC_NextPhase, 0, "value is 'NO'\n"},
        {"YEP", PXSTC_NextPhase, 1,
         "Invalid SYSTEM_ExecutePassed attribute value ('YEP') provided\n"},
        {nullptr, PXSTC_NextPhase, 1, "value is 'Yes (defaulted)'\n"},
        {"FALSE", PXSTC_FatalError, 1, ""},
    };
    for (const auto &c : cases) {
        fake.text.erase("SYSTEM_ExecutePassed");
        if (c.value != nullptr)
            fake.text["SYSTEM_ExecutePassed"] = c.value;
        fake.private_log.clear();
        EXPECT_EQ(PX_Terminate(fake.op(), 1), c.status);
        EXPECT_EQ(ExecuteSuccessFlag, c.passed);
        EXPECT_TRUE(fake.Traced(c.trace)) << fake.private_log;
    }
    EXPECT_EQ(fake.public_log, "19202(SYSTEM_ExecutePassed,5,3) 19015(12) ");
}
