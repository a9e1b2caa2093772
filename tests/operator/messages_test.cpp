// tests/operator/messages_test.cpp - reports: logs, prefixes, exit code.

#include <gtest/gtest.h>

#include "operator/messages.h"
#include "tests/support/open_logs.h"

TEST(Messages, ExitCodeIsRaisedOnceForEachHigherCode)
{
    Fake fake;
    OpenLogs(fake);
    EXPECT_EQ(MapStatus(PXSTC_NotFound), PXSTC_NotFound);
    EXPECT_EQ(MapStatus(PXSTC_FatalError), PXSTC_FatalError);
    EXPECT_EQ(MapStatus(PXSTC_NotFound), PXSTC_NotFound);
    EXPECT_EQ(MapStatus(PXSTC_Length), PXSTC_Length);
    EXPECT_EQ(fake.public_log, "19015(8) 19015(12) ");
    EXPECT_EQ(fake.exit_code, 12);
}

TEST(Messages, RoutineNameIsCutAndPaddedToTwentyBytes)
{
    Fake fake;
    OpenLogs(fake);
    FW_Trace("ARoutineOfTwentyFiveBytes", TraceKind::Plain, "x");
    EXPECT_EQ(fake.private_prefixes, "ARoutineOfTwentyFive-");
    FW_Trace("Short", TraceKind::Error, "x");
    EXPECT_EQ(fake.private_prefixes, "Short               - !ERROR! ");
    bDisplayFuncName = 0;
    FW_Trace("Short", TraceKind::Warning, "x");
    EXPECT_EQ(fake.private_prefixes, "     WARNING! ");
}

TEST(Messages, FailingPrivateLogGoesToTheConsoleAndFailsNothing)
{
    Fake fake;
    OpenLogs(fake);
    fake.failing["PX_LogWrite"] = 54;
    FW_ERROR("row %d", 7);
    EXPECT_NE(fake.console.find("PX_LogWrite to Private log failed (rc=54).  Message 'row 7'."),
              std::string::npos);
    EXPECT_NE(fake.console.find("MACRO TRCELOG from"), std::string::npos);
    EXPECT_EQ(fake.exit_code, 0);
}

TEST(Messages, WrongKindWordGivesBadHandleWithoutTheCall)
{
    Fake fake;
    OpenLogs(fake);
    fake.op()->kind = PX_KIND_LOG;
    EXPECT_EQ(Service(fake.op(), &PxOperator::PX_DeleteGlobalVar, "DirInfo"), PXSTC_BadHandle);
    EXPECT_TRUE(fake.calls.empty());
    EXPECT_STREQ(PxStatusName(71), "JumpPhase");
    EXPECT_STREQ(PxStatusName(72), "Unknown Status");
    EXPECT_STREQ(PxStatusName(-1), "Unknown Status");
}

TEST(Messages, AttributeFailuresBeforeThePublicLogGoToTheConsole)
{
    Fake fake;
    SG_opHandle = fake.op();
    EXPECT_EQ(FW_AttributeFatal<19201>("SYSTEM_OperatorType"), PXSTC_FatalError);
    EXPECT_EQ(FW_AttributeFatal<19202>("A", 5, 4), PXSTC_FatalError);
    EXPECT_EQ(FW_AttributeFatal<19205>("A", "Multi-value", "Single-value"), PXSTC_FatalError);
    EXPECT_EQ(FW_AttributeFatal<19100>("PX_GetAttribute", 8), PXSTC_FatalError);
    EXPECT_EQ(NotAvailable("A", "feature"), PXSTC_FatalError);
    ThisInstance = 2;
    EXPECT_EQ(FW_AttributeFatal<19201>("and instance 1 alone speaks"), PXSTC_FatalError);
    EXPECT_EQ(fake.console,
              "FATAL_ERROR: FW_Initiate can't find required attribute SYSTEM_OperatorType\n"
              "FATAL_ERROR:  A attribute length error\n"
              "FATAL_ERROR:  A: Multi-value received for single-value attribute\n"
              "FATAL_ERROR: PX_GetAttribute returned rc = 8 - called from FW_Initiate\n"
              "FATAL_ERROR:  A: message 19990\n");
    EXPECT_EQ(fake.exit_code, 12);
}

TEST(Messages, LongBannerTextIsBrokenOverLinesOf74Columns)
{
    Fake fake;
    OpenLogs(fake);
    BoxLine("Test", 1, std::string(100, 'x').c_str());
    EXPECT_EQ(fake.private_log, "=" + std::string(72, 'x') + "=\n=" + std::string(22, ' ') +
                                    std::string(28, 'x') + std::string(22, ' ') + "=\n");
}
