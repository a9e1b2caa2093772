// tests/operator/access_test.cpp - start, attach and open, as the methods see them.

#include "operator/methods.h"
#include "tests/pm/pm_fixture.h"

class Access : public testing::Test {
protected:
    Access()
    {
        SG_opHandle = fake.op();
        fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, nullptr, 0, &Public_loghandle);
        FW_TraceLvl = 1;
        FileFormat = 1;
        FW_OpenMode = 1;
        BufferSize = 1024;
    }

    void Start()
    {
        ASSERT_EQ(FW_FenwireInit(), PXSTC_Success);
        ASSERT_EQ(FW_FenwireAttach(), PXSTC_Success);
    }

    Fake fake;
    TempDirectory directory;
};

TEST_F(Access, CheckpointsAreTakenUnlessTheirIntervalIsZero)
{
    ASSERT_EQ(FW_FenwireInit(), PXSTC_Success);
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_Success);
    EXPECT_EQ(bTakeAMcheckpoint, 1U);
    fake.integer["SYSTEM_CHECKPOINT"] = 0;
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_Success);
    EXPECT_EQ(bTakeAMcheckpoint, 0U);
    fake.integer.clear();
    fake.text["SYSTEM_CHECKPOINT"] = "60s";
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19202(SYSTEM_CHECKPOINT,3,4) 19015(12) ");
}

TEST_F(Access, ModulesAreNotAvailable)
{
    ASSERT_EQ(FW_FenwireInit(), PXSTC_Success);
    fake.text["AccessModuleName"] = "";
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_Success);
    fake.text["AccessModuleName"] = "queue";
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19990(AccessModuleName,access modules) 19015(12) ");
}

TEST_F(Access, FailedStartIsReportedByItsCode)
{
    FW_TraceLvl = 9;
    EXPECT_EQ(FW_FenwireInit(), PXSTC_FatalError);
    EXPECT_EQ(FW_FenwireAttach(), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log,
              "19427(pmInit,27,Invalid diagnostic trace level) 19301() 19015(12) "
              "19426(pmAttach,26,Access Module API not initialized (call pmInit)) 19302() ");
}
