// tests/fileset/scan_test.cpp - BuildGlobalInfo over real directories.

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "fileset/directory_calls.h"
#include "tests/fileset/fileset_fixture.h"

class Scan : public Fileset {
protected:
    std::vector<std::string> Names()
    {
        std::vector<std::string> names;
        for (size_t i = 1; i <= fake.globals["FileNames"].size(); ++i)
            names.push_back(Entry(i).Name);
        std::sort(names.begin(), names.end());
        return names;
    }
};

TEST_F(Scan, RegularFilesPipesAndLinksThatMatchAreStored)
{
    directory.Write("a.csv", "12345");
    directory.Write("b.txt", "1");
    mkfifo(directory.File("pipe.csv").c_str(), 0600);
    std::filesystem::create_directory(directory.File("sub.csv"));
    std::filesystem::create_symlink(directory.File("a.csv"), directory.File("link.csv"));
    Name("*.csv");
    TotalInstances = 2;
    ASSERT_EQ(BuildGlobalInfo(), PXSTC_Success);
    EXPECT_EQ(Names(), (std::vector<std::string>{"a.csv", "link.csv", "pipe.csv"}));
    EXPECT_EQ(Entry(1).Status, 1);
    EXPECT_EQ(Entry(2).Status, 1);
    EXPECT_EQ(Entry(3).Status, 0);
    EXPECT_EQ(Entry(1).Instance, 1);
    EXPECT_EQ(Entry(2).Instance, 2);
    for (size_t i = 1; i <= 3; ++i) {
        if (strcmp(Entry(i).Name, "a.csv") == 0) {
            EXPECT_EQ(Entry(i).Size, 5);
            EXPECT_GT(Entry(i).Time, 0);
        }
    }
    EXPECT_TRUE(fake.Traced("leads to '" + directory.File("a.csv") + "'"));
}

TEST_F(Scan, PublishedDirInfoTellsWhatWasStored)
{
    directory.Write("a", "1");
    directory.Write("b", "1");
    Name("*");
    ASSERT_EQ(BuildGlobalInfo(), PXSTC_Success);
    DirInfo = {};
    ASSERT_EQ(GetDirectoryName(1), PXSTC_Success);
    EXPECT_EQ(DirInfo.FileCount, 2);
    EXPECT_EQ(DirInfo.TotalInstances, 1);
    EXPECT_EQ(DirInfo.PassNumber, 1);
    EXPECT_EQ(DirInfo.DirName, directory.path() + "/");
    EXPECT_EQ(fake.calls, (std::vector<std::string>{"create DirInfo", "create FileNames"}));
}

TEST_F(Scan, MissingFileAndNullDeviceAreEnteredForTheOpenToDecide)
{
    for (const char *name : {"missing", "/dev/null"}) {
        Name(name);
        ASSERT_EQ(BuildGlobalInfo(), PXSTC_Success) << name;
        EXPECT_EQ(Entry(1).Size, 0);
        EXPECT_STREQ(Entry(1).Name, name);
    }
    EXPECT_EQ(fake.public_log, "");
}

TEST_F(Scan, FileMayVanishBetweenThePassesButNotAppear)
{
    static std::string file;
    static bool appears;
    static int passes;
    directory_calls.opendir = [](const char *path) {
        if (++passes == 2 && appears)
            std::ofstream(file) << "x";
        else if (passes == 2)
            std::filesystem::remove(file);
        return opendir(path);
    };
    for (const bool to_appear : {true, false}) {
        directory.Write("a", "1");
        file = directory.File("b");
        appears = to_appear;
        passes = 0;
        fake.public_log.clear();
        Name("*");
        EXPECT_EQ(BuildGlobalInfo(), appears ? PXSTC_FatalError : PXSTC_Success);
        EXPECT_EQ(fake.public_log, appears ? "19223() 19015(12) " : "");
    }
    EXPECT_EQ(DirInfo.FileCount, 1);
    EXPECT_STREQ(Entry(1).Name, "a");
    EXPECT_EQ(GetAllFileNames(), PXSTC_Success);
    FreeFileNodes();
}

TEST_F(Scan, EntryThatCanNotBeExaminedIsPassedOverOrFatal)
{
    static int why = 0;
    directory.Write("a", "1");
    directory.Write("other.txt", "1");
    directory_calls.fstatat64 = [](int at, const char *name, struct stat64 *found, int flags) {
        if (strcmp(name, "other.txt") != 0)
            return fstatat64(at, name, found, flags);
        errno = why;
        return -1;
    };
    const struct {
        int why;
        const char *pattern;
        PxStatus status;
    } cases[] = {{ENOENT, "*", PXSTC_Success},
                 {EIO, "*", PXSTC_Success},
                 {EACCES, "*", PXSTC_FatalError},
                 {EACCES, "a*", PXSTC_Success}};
    for (const auto &c : cases) {
        why = c.why;
        Name(c.pattern);
        EXPECT_EQ(BuildGlobalInfo(), c.status) << c.why << " " << c.pattern;
    }
}

TEST_F(Scan, DirectoryThatCanNotBeReadOnLosesNoFilesInSilence)
{
    directory.Write("a", "1");
    directory_calls.readdir64 = [](DIR *) -> struct dirent64 *
    {
        errno = EIO;
        return nullptr;
    };
    Name("*");
    EXPECT_EQ(BuildGlobalInfo(), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log.rfind("19119(", 0), 0) << fake.public_log;
}

TEST_F(Scan, SecondAllocationKeepsVariablesThatAreLargeEnough)
{
    DirInfo.FileCount = 3;
    ASSERT_EQ(AllocateGlobalVariables(), PXSTC_Success);
    DirInfo.FileCount = 2;
    ASSERT_EQ(AllocateGlobalVariables(), PXSTC_Success);
    EXPECT_EQ(fake.calls.size(), 2U);
    DirInfo.FileCount = 4;
    ASSERT_EQ(AllocateGlobalVariables(), PXSTC_Success);
    EXPECT_EQ(fake.calls,
              (std::vector<std::string>{"create DirInfo", "create FileNames", "delete DirInfo",
                                        "delete FileNames", "create DirInfo", "create FileNames"}));
}

// A quadratic step shows at this count; the bound is far above what linear work needs.
TEST_F(Scan, ManyFilesAreDealtInLinearTime)
{
    constexpr int kFiles = 50000;
    FW_TraceLvl = 1;
    TotalInstances = 16;
    std::vector<Published> files;
    static int left = 0;
    directory_calls.opendir = [](const char *path) {
        left = kFiles;
        return opendir(path);
    };
    directory_calls.readdir64 = [](DIR *) -> struct dirent64 *
    {
        static struct dirent64 entry;
        errno = 0;
        snprintf(entry.d_name, sizeof entry.d_name, "%d", left);
        return left-- > 0 ? &entry : nullptr;
    };
    directory_calls.fstatat64 = [](int, const char *name, struct stat64 *found, int) {
        found->st_mode = S_IFREG;
        found->st_size = atoi(name) % 1000;
        return 0;
    };
    Name("*");
    const clock_t start = clock();
    ASSERT_EQ(BuildGlobalInfo(), PXSTC_Success);
    ASSERT_EQ(GetAllFileNames(), PXSTC_Success);
    EXPECT_EQ(DirInfo.FileCount, kFiles);
    EXPECT_LT(static_cast<double>(clock() - start) / CLOCKS_PER_SEC, 5.0);
    FreeFileNodes();
}
