// tests/operator/fw_initiate_test.cpp - the start of an instance: identity, logs, trace level, banner.

#include <gtest/gtest.h>
#include <string>

#include <unistd.h>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "tests/support/fake_infrastructure.h"

class FwInitiate : public testing::Test {
protected:
    FwInitiate() { SG_opHandle = fake.op(); }
    Fake fake;
};

TEST_F(FwInitiate, WithoutAttributesTheLogHoldsStatisticsUnderAMadeUpName)
{
    EXPECT_EQ(FW_Initiate(), PXSTC_Success);
    const std::string name = "fwrop-tester-" + std::to_string(getpid()) + "-1";
    EXPECT_EQ(fake.private_log_name, name);
    EXPECT_EQ(fake.public_log, "19006(Fenwire,16.10.00.10) 19206(TraceLevel,Statistics Only) "
                               "19010(1," +
                                   name + ") ");
    EXPECT_EQ(fake.last_leader, "load[1]:");
    EXPECT_EQ(FW_TraceLvl, 2);
    EXPECT_EQ(FW_StatsOnly, 1U);
    EXPECT_EQ(SG_LatencyOn, 'N');
    EXPECT_TRUE(fake.Traced("FENWIRE OPERATOR VERSION  16.10.00.10"));
    EXPECT_TRUE(fake.Traced("Operator name: 'load' instance 1 of 1 [Producer]"));
}

TEST_F(FwInitiate, TraceLevelAndLogNameDecideOnThePrivateLog)
{
    // clang-format off
    const struct {
        const char *level, *name, *messages;
        int32_t trace_level;
    } cases[] = {
        {"milestones", "mine", "19010(2,mine-2) ", 2},
        {"ALL", "mine", "19010(2,mine-2) ", 5},
        {"NONE", "mine", "19009(2) ", 1},
        {"NONE", nullptr, "19009(2) ", 1},
        {"ALL", "", "19009(2) ", 1},
        {"loud", "mine", "19009(2) ", 1},
    };
    // clang-format on
    fake.text["TraceLevel"] = "loud";
    EXPECT_EQ(FW_Initiate(), PXSTC_Success);
    EXPECT_EQ(fake.public_log, "19006(Fenwire,16.10.00.10) 19205(TraceLevel,loud,ALL, IO_BUFFERS, "
                               "IO_COUNTS, MILESTONES or NONE) 19009(1) ");
    fake.integer["SYSTEM_InstanceNumber"] = 2;
    fake.integer["SYSTEM_MaxInstances"] = 2;
    fake.failing["PX_GetUserId"] = 5;
    for (const auto &c : cases) {
        fake.public_log.clear();
        Private_loghandle = nullptr;
        fake.text["TraceLevel"] = c.level;
        fake.text.erase("PrivateLogName");
        if (c.name != nullptr)
            fake.text["PrivateLogName"] = c.name;
        EXPECT_EQ(FW_Initiate(), PXSTC_Success);
        EXPECT_EQ(fake.public_log, c.messages) << c.level;
        EXPECT_EQ(FW_TraceLvl, c.trace_level) << c.level;
        EXPECT_EQ(Private_loghandle != nullptr, c.trace_level > 1) << c.level;
    }
    EXPECT_EQ(FW_StatsOnly, 0U);
    EXPECT_EQ(fake.exit_code, 0);
}

TEST_F(FwInitiate, WhatFailsBeforeThePublicLogGoesToTheConsole)
{
    fake.integer["SYSTEM_OperatorType"] = 3;
    EXPECT_EQ(FW_Initiate(), PXSTC_FatalError);
    EXPECT_EQ(fake.console,
              "FATAL_ERROR:  SYSTEM_OperatorType: value 3 must lie between 1 and 2\n");
    fake.console.clear();
    fake.integer["SYSTEM_OperatorType"] = 1;
    fake.failing["PX_Loginit"] = 54;
    EXPECT_EQ(FW_Initiate(), PXSTC_FatalError);
    EXPECT_EQ(fake.console, "FATAL_ERROR: PX_Loginit failed, return code = 54\n");
    EXPECT_EQ(fake.public_log, "");
    EXPECT_EQ(fake.exit_code, 12);
    EXPECT_EQ(Public_loghandle, nullptr);
}

TEST_F(FwInitiate, LatencyIsRequiredAndOneByte)
{
    for (const char *value : {"NO", ""}) {
        fake.text["SYSTEM_LATENCYON"] = value;
        EXPECT_EQ(FW_Initiate(), PXSTC_FatalError);
    }
    fake.text.erase("SYSTEM_LATENCYON");
    EXPECT_EQ(FW_Initiate(), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19202(SYSTEM_LATENCYON,2,1) 19015(12) 19202(SYSTEM_LATENCYON,0,1) "
                               "19201(SYSTEM_LATENCYON) ");
}

TEST_F(FwInitiate, PublicLogThatCantBeWrittenEndsTheStart)
{
    fake.failing["PX_LogWrite"] = 54;
    EXPECT_EQ(FW_Initiate(), PXSTC_FatalError);
    EXPECT_EQ(fake.calls.size(), 0U);
    EXPECT_EQ(Private_loghandle, nullptr);
}

TEST_F(FwInitiate, ControlBytesOfNamesAreShownNotWritten)
{
    fake.text["PrivateLogName"] = "a\x1b[2Jb\n";
    EXPECT_EQ(FW_Initiate(), PXSTC_Success);
    EXPECT_TRUE(fake.Told("19010(1,a\\x1B[2Jb\\x0A-1) "));
    FW_ERROR("name '%s'", PrivateLogName);
    EXPECT_TRUE(fake.Traced("name 'a\\x1B[2Jb\\x0A'\n"));
}
