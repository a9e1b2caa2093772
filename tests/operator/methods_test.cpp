// tests/operator/methods_test.cpp - what the methods answer to phases, flags and events.

#include <cstring>
#include <gtest/gtest.h>

#include "attributes/attributes_state.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "tests/support/fake_infrastructure.h"

class Methods : public testing::Test {
protected:
    Methods()
    {
        SG_opHandle = fake.op();
        fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, nullptr, 0, &Public_loghandle);
        fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, "private", 0, &Private_loghandle);
        FW_TraceLvl = 3;
        StatsTraceLevel = 2;
        OperatorType = 1;
        TotalInstances = 1;
    }
    bool Traced(const std::string &line) const
    {
        return ("\n" + fake.private_log).find("\n" + line + "\n") != std::string::npos;
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

TEST_F(Methods, SecondUseInOneProcessIsRefused)
{
    bOperatorInUse = 1;
    EXPECT_EQ(PX_Initiate(fake.op(), 1), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19116() 19015(12) ");
    EXPECT_TRUE(Traced("operator ID: 'Fenwire'"));
}

TEST_F(Methods, CheckpointAndRestartNeedAnOperatorThatIsInitiated)
{
    EXPECT_EQ(PX_Checkpoint(fake.op(), 1), PXSTC_FatalError);
    EXPECT_EQ(PX_Restart(fake.op(), 1), PXSTC_FatalError);
    EXPECT_EQ(fake.exit_code, 12);
    EXPECT_EQ(CountTraced("Operator Fenwire NOT initialized!"), 2U);
    bOperatorInUse = 1;
    EXPECT_EQ(PX_Restart(fake.op(), 3), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19015(12) 19148(3) ");
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
    EXPECT_TRUE(Traced("Null op instance"));
    EXPECT_EQ(fake.statistics,
              (std::vector<std::string>{"126=0", "119=7", "121=0", "125=0", "124=*.csv"}));
    EXPECT_EQ(PX_Execute(fake.op(), 1), PXSTC_EndMethod);
    EXPECT_EQ(fake.statistics.size(), 5U);
    EXPECT_EQ(CountTraced("Execute EndMethod flag set"), 1U);
    EXPECT_EQ(CountTraced("Entering phase 1"), 1U);
    EXPECT_EQ(PX_Execute(fake.op(), 2), PXSTC_EndMethod);
    EXPECT_EQ(CountTraced("Entering phase"), 2U);
}

TEST_F(Methods, OnlyInstanceOneCountsCheckpoints)
{
    ThisInstance = 2;
    PutJobStats();
    EXPECT_EQ(fake.statistics, (std::vector<std::string>{"119=0", "121=0", "125=0", "124="}));
}

TEST_F(Methods, CountBeyond32BitsIsSaidAndSentInItsLowHalf)
{
    EvtRecordCount = (uint64_t{1} << 32) + 5;
    PutJobStats();
    EXPECT_EQ(fake.statistics[1], "119=5");
    EXPECT_TRUE(Traced("FWRowsRead=4294967301 does not fit a 32-bit statistic"));
}

TEST_F(Methods, FormatsFitTheRowsOfTheJob)
{
    const struct {
        uint32_t writing, format;
        int32_t allowed;
        PxStatus status;
        const char *messages;
    } cases[] = {
        {0, 6, 64, PXSTC_FatalError, "19166(BINARY4,64) 19015(12) "},
        {0, 7, 64, PXSTC_FatalError, "19166(FORMATTED4,64) "},
        {0, 6, 1024, PXSTC_Success, ""},
        {0, 1, 64, PXSTC_Success, ""},
        {1, 2, 1024, PXSTC_FatalError, "19165(BINARY) "},
        {1, 3, 1024, PXSTC_FatalError, "19165(FORMATTED) "},
        {1, 2, 64, PXSTC_Success, ""},
        {1, 6, 64, PXSTC_Success, ""},
    };
    for (const auto &c : cases) {
        bJobMaxRowSizeRead = 0;
        bWriting = c.writing;
        FileFormat = c.format;
        fake.integer["SYSTEM_JobMaxRowSize_Allow"] = c.allowed;
        fake.public_log.clear();
        EXPECT_EQ(CheckJobRowSize(), c.status);
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
        PxStatus status;
        const char *messages;
    } cases[] = {
        {"no such variable", 5, "", 4, 4, 1, PXSTC_Success, ""},
        {"the service fails", 8, "", 1, 1, 0, PXSTC_FatalError, "19015(12) "},
        {"no delete task", 0, std::string(1, '\0'), 4, 4, 1, PXSTC_Success, ""},
        {"alone", 0, "\1", 1, 1, 0, PXSTC_Success, ""},
        {"several instances", 0, "\1", 2, 1, 0, PXSTC_FatalError, "19168() 19015(12) "},
        {"several operators", 0, "\1", 1, 2, 0, PXSTC_FatalError, "19168() 19015(12) "},
        {"a scan", 0, "\1", 1, 1, 1, PXSTC_FatalError, "19169() 19015(12) "},
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
        EXPECT_EQ(CheckForDeleteTask(), c.status) << c.about;
        EXPECT_EQ(fake.public_log, c.messages) << c.about;
    }
}

// ---- Event ------------------------------------------------------------------------------------

TEST_F(Methods, EveryEventIsRefusedWithoutAFailure)
{
    for (const int64_t number : {1, 15, 17, 36, 0, 999}) {
        fake.text["EventFunction"] =
            std::string(reinterpret_cast<const char *>(&number), sizeof number);
        EXPECT_EQ(PX_Event(fake.op()), PXSTC_NotSupported) << number;
    }
    EXPECT_EQ(fake.exit_code, 0);
    EXPECT_EQ(fake.public_log, "");
}

TEST_F(Methods, EventFunctionIsEightBytesOrFatal)
{
    const struct {
        const char *messages;
        void (*give)(Fake &fake);
    } cases[] = {
        {"19201(EventFunction) 19015(12) ", [](Fake &) {}},
        {"19202(EventFunction,4,8) ", [](Fake &f) { f.integer["EventFunction"] = 1; }},
        {"19205(EventFunction,Multi-value,Single-value) ",
         [](Fake &f) { f.lists.insert("EventFunction"); }},
        {"19100(PX_GetAttribute,8) ",
         [](Fake &f) { f.failing["PX_GetAttribute:EventFunction"] = 8; }},
    };
    for (const auto &c : cases) {
        c.give(fake);
        fake.public_log.clear();
        EXPECT_EQ(PX_Event(fake.op()), PXSTC_FatalError);
        EXPECT_EQ(fake.public_log, c.messages);
    }
    ThisInstance = 2;
    fake.public_log.clear();
    EXPECT_EQ(PX_Event(fake.op()), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "") << "instance 1 alone speaks of attributes";
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
        {"y", PXSTC_NextPhase, 1, "Attribute 'SYSTEM_ExecutePassed' value is 'Y'"},
        {"No", PXSTC_NextPhase, 0, "Attribute 'SYSTEM_ExecutePassed' value is 'NO'"},
        {"YEP", PXSTC_NextPhase, 1,
         "Invalid SYSTEM_ExecutePassed attribute value ('YEP') provided"},
        {nullptr, PXSTC_NextPhase, 1,
         "Attribute 'SYSTEM_ExecutePassed' value is 'Yes (defaulted)'"},
        {"FALSE", PXSTC_FatalError, 1, ""},
    };
    for (const auto &c : cases) {
        fake.text.erase("SYSTEM_ExecutePassed");
        if (c.value != nullptr)
            fake.text["SYSTEM_ExecutePassed"] = c.value;
        fake.private_log.clear();
        EXPECT_EQ(PX_Terminate(fake.op(), 1), c.status);
        EXPECT_EQ(ExecuteSuccessFlag, c.passed);
        EXPECT_TRUE(c.trace[0] == '\0' || Traced(c.trace)) << fake.private_log;
    }
    EXPECT_EQ(fake.public_log, "19202(SYSTEM_ExecutePassed,5,3) 19015(12) ");
}
