// tests/host/job/data_files_test.cpp - finding the files of a job, and saying why there are none.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include "host/job/data_files.h"
#include "tests/host/job/job_files.h"
#include "tests/support/holds.h"

using namespace fenwire;

TEST(DataFiles, PatternTakesWhatTheOperatorTakes)
{
    static constexpr struct {
        const char *pattern, *name;
        bool fits;
    } kCases[] = {
        {"a*b", "ab", true},          {"a*b", "axb", true},          {"a*b", "xab", false},
        {"a*b", "abx", false},        {"*.dat", "x.dat", true},      {"*.dat", ".dat", true},
        {"*.dat", "x.dat.dat", true}, {"*.dat", "x.dat.old", false}, {"a*", "abc", true},
        {"a*", "ba", false},          {"a**b", "axb", true},         {"*", "anything", true},
        {"ab*ba", "aba", true},       {"ab*ba", "ab", false},        {"a*c*e", "abcde", true},
        {"a*c*e", "abde", false},     {"plain", "plain", true},      {"plain", "plainer", false},
    };
    for (const auto &c : kCases)
        EXPECT_EQ(FitsPattern(c.pattern, c.name), c.fits) << c.pattern << " " << c.name;
}

TEST(DataFiles, SearchSaysWhatIsThereAndWhatIsWrong)
{
    const JobFolder folder;
    std::filesystem::create_directories(folder.path() / "in" / "sub.csv");
    std::filesystem::create_directory(folder.path() / "empty");
    folder.Write("in/a.csv", "1,2\n");
    folder.Write("in/b.csv", "1,2,3\n");
    folder.Write("in/c.csv.gz", "");
    mkfifo((folder.path() / "in" / "pipe").c_str(), 0600);
    std::filesystem::create_symlink("nowhere", folder.path() / "in" / "link.txt");
    std::filesystem::create_symlink("a.csv", folder.path() / "in" / "link.lnk");

    // clang-format off
    static constexpr struct {
        const char *about, *directory, *name;
        size_t files;
        uint64_t bytes;
        const char *fault, *hint;
    } kCases[] = {
        {"pattern, without the directory in it", "in",      "*.csv",   2, 10, "", ""},
        {"one file",                             "in",      "a.csv",   1, 4,  "", ""},
        {"path in the name",                     nullptr,   "in/b.csv", 1, 6, "", ""},
        {"named pipe",                           "in",      "pipe",    1, 0,  "", ""},
        {"link to a file",                       "in",      "*.lnk",   1, 4,  "", ""},
        {"nothing fits",                         "in",      "*.cvs",   0, 0,  "fits \"*.cvs\"", "the directory holds \"a.csv\", \"b.csv\", \"c.csv.gz\" and 4 more"},
        {"empty directory",                      "empty",   "*.csv",   0, 0,  "fits \"*.csv\"", "the directory is empty"},
        {"no such directory",                    "out",     "*.csv",   0, 0,  "No such file or directory", "folder of the job file"},
        {"file as a directory",                  "in/a.csv", "*.csv",  0, 0,  "is not a directory", "FileName"},
        {"no such file",                         "in",      "aa.csv",  0, 0,  "aa.csv\" can't be examined", "did you mean \"a.csv\"?"},
        {"directory as a file",                  "in",      "sub.csv", 0, 0,  "is a directory", "pattern"},
        {"device as a file",                     nullptr,   "/dev/zero", 0, 0, "neither a file nor a named pipe", ""},
        {"link to nothing",                      "in",      "*.txt",   0, 0,  "link.txt\" can't be examined", ""},
        {"compressed",                           "in",      "*.gz",    0, 0,  "is compressed", "unpack"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        Job job;
        job.folder = folder.path();
        job.producer.attributes = {{"FileName", c.name, {7, 12}}};
        if (c.directory != nullptr)
            job.producer.attributes.push_back({"DirectoryPath", c.directory, {6, 17}});
        const DataFiles found = FindDataFiles(job);
        uint64_t bytes = 0;
        for (const DataFile &file : found.files)
            bytes += file.bytes;
        EXPECT_EQ(found.files.size(), c.files) << c.about;
        EXPECT_EQ(bytes, c.bytes) << c.about;
        ASSERT_EQ(found.faults.size(), *c.fault != '\0' ? 1u : 0u) << c.about;
        if (!found.faults.empty()) {
            EXPECT_TRUE(Holds(found.faults[0].what, c.fault));
            EXPECT_TRUE(Holds(found.faults[0].hint, c.hint));
            EXPECT_GT(found.faults[0].at.line, 0) << c.about;
        }
    }
}
