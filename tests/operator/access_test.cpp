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

TEST_F(Access, OpenResults)
{
    Start();
    directory.Write("full", "a\n");
    directory.Write("empty", "");
    directory.Write("packed.gz", "a\n");
    EXPECT_EQ(FW_FenwireOpen(directory.File("full").c_str()), PXSTC_Success);
    EXPECT_EQ(FW_FenwireOpen(directory.File("empty").c_str()), PXSTC_Success);
    EXPECT_NE(pmfp, 0U);
    EXPECT_EQ(fake.public_log, "");
    const std::string none = directory.File("none");
    EXPECT_EQ(FW_FenwireOpen(none.c_str()), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19231(" + none + ") 19015(12) ");
    EXPECT_EQ(pmfp, 0U);
    EXPECT_EQ(fake.exit_code, 12);
    fake.public_log.clear();
    const std::string packed = directory.File("packed.gz");
    EXPECT_EQ(FW_FenwireOpen(packed.c_str()), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log,
              "19434(pmOpen,34,compressed files are not available in this version: '" + packed +
                  "') 19304() ");
}

TEST_F(Access, OpenForgetsTheLastFile)
{
    Start();
    directory.Write("a", "a\n");
    const std::string path = directory.File("a");
    for (const int32_t every_file : {0, 1}) {
        RowCount = FileRecordCount = FileRowCount = FileRowsSkipped = RowsSkipped = 5;
        bSkipRowsDone = 1;
        bSkipRowsEveryFile = every_file;
        EXPECT_EQ(FW_FenwireOpen(path.c_str()), PXSTC_Success);
        EXPECT_EQ(FileRecordCount + FileRowCount + FileRowsSkipped, 0U);
        EXPECT_EQ(RowCount + RowsSkipped, 10U);
        EXPECT_EQ(bSkipRowsDone, every_file != 0 ? 0U : 1U);
    }
}

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
