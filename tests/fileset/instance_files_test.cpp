// tests/fileset/instance_files_test.cpp - what an instance takes out of the published variables.

#include "tests/fileset/fileset_fixture.h"

TEST_F(Fileset, InstanceWalksItsOwnFilesInOrder)
{
    TotalInstances = 2;
    ThisInstance = 2;
    Publish({{1, 1}, {1, 2, 20}, {0, 1}, {0, 2, 40}});
    ASSERT_EQ(GetAllFileNames(), PXSTC_Success);
    ASSERT_EQ(GetNextFileName(kInProcess), PXSTC_Success);
    EXPECT_EQ(CurrentFileIndex, 2);
    EXPECT_EQ(CurrentFile.Size, 20);
    ASSERT_EQ(GetNextFileName(kPending), PXSTC_Success);
    EXPECT_EQ(CurrentFileIndex, 4);
    EXPECT_STREQ(CurrentFile.Name, "4");
    EXPECT_EQ(Entry(4).Status, kInProcess);
    EXPECT_EQ(Entry(3).Status, kPending);
    EXPECT_EQ(GetNextFileName(kPending), PXSTC_EndOfData);
    EXPECT_EQ(GetNextFileName(kPending), PXSTC_EndOfData);
    FreeFileNodes();
    FreeFileNodes();
    EXPECT_EQ(FirstFileNode, nullptr);
}

TEST_F(Fileset, FileInAnotherStateThanWantedIsNotTaken)
{
    Publish({{2, 1}});
    ASSERT_EQ(GetAllFileNames(), PXSTC_Success);
    EXPECT_EQ(GetNextFileName(kInProcess), PXSTC_EndOfData);
    EXPECT_EQ(GetNextFileName(7), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19242() 19015(12) ");
    FreeFileNodes();
}

TEST_F(Fileset, TallyCountsFinishedFilesAndFailsOverAnyOther)
{
    int32_t count = -1;
    Publish({{2, 1}, {3, 1}});
    EXPECT_EQ(GetScanFileCount(&count), PXSTC_Success);
    EXPECT_EQ(count, 2);
    Publish({{2, 1}, {1, 1}, {0, 1}});
    EXPECT_EQ(GetScanFileCount(&count), PXSTC_FatalError);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(fake.Traced("file '2' by instance 1 failed.  Status is: still processing."));
    EXPECT_TRUE(fake.Traced("Status is: unprocessed."));
}

TEST_F(Fileset, VariablesThatNoInstanceWroteAreFatalAndNotTakenOver)
{
    // clang-format off
    const struct {
        const char *about;
        void (*damage)(FileNamesEntry &entry, DirInfoImage &image);
    } cases[] = {
        {"19100(PX_ReadGlobalVar: FileNames[1]: name without an end,2) ", [](auto &e, auto &) { memset(e.Name, 'x', sizeof e.Name); }},
        {"19100(PX_ReadGlobalVar: FileNames[1]: no such instance,2) ", [](auto &e, auto &) { e.Instance = 0; }},
        {"19100(PX_ReadGlobalVar: FileNames[1]: no such instance,2) ", [](auto &e, auto &) { e.Instance = 2; }},
        {"19100(PX_ReadGlobalVar: FileNames[1]: negative size,2) ", [](auto &e, auto &) { e.Size = -1; }},
        {"negative file count,", [](auto &, auto &d) { d.FileCount = -1; }},
        {"directory without an end,", [](auto &, auto &d) { memset(d.DirName, 'x', sizeof d.DirName); }},
    };
    // clang-format on
    for (const auto &c : cases) {
        Publish({{1, 1}});
        FileNamesEntry entry = Entry(1);
        DirInfoImage image = DirInfo;
        c.damage(entry, image);
        fake.globals["FileNames"][0].assign(reinterpret_cast<const char *>(&entry), sizeof entry);
        fake.globals["DirInfo"][0].assign(reinterpret_cast<const char *>(&image), sizeof image);
        fake.public_log.clear();
        EXPECT_EQ(GetDirectoryName(1) == PXSTC_Success ? GetAllFileNames() : PXSTC_FatalError,
                  PXSTC_FatalError);
        EXPECT_TRUE(fake.Told(c.about)) << fake.public_log;
        EXPECT_EQ(DirInfo.FileCount, 1) << "the image stays as it was";
    }
    fake.globals["FileNames"][0].resize(4119);
    EXPECT_EQ(GetAllFileNames(), PXSTC_FatalError);
    Publish({{1, 1}});
    DirInfo.FileCount = INT32_MAX;  // more than there are: the first one missing ends it
    EXPECT_EQ(GetAllFileNames(), PXSTC_FatalError);
    FreeFileNodes();
    fake.globals.erase("DirInfo");
    EXPECT_EQ(GetDirectoryName(0), PXSTC_NotFound);
    EXPECT_EQ(GetDirectoryName(1), PXSTC_FatalError);
}
