// tests/host/job/unload_job_test.cpp - jobs with a source or a consumer: what they may say, which files they write.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "host/job/output_files.h"
#include "tests/host/job/job_files.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

const char *const kTranscode = R"toml([producer]
FileName = "*.csv"
Format = "Delimited"
RecordErrorFileName = "bad"

[consumer]
instances = 2
DirectoryPath = "out"
FileName = "a.dat"
Format = "Formatted4"
IndicatorMode = true
TimeOut = 0

[schema]
columns = ["id VARCHAR(12)", "name VARCHAR(40)"]
)toml";

const char *const kUnload = R"toml([source]
type = "generator"
rows = 5
instances = 3

[consumer]
FileName = "a.dat"
Format = "Delimited"

[schema]
columns = ["id INTEGER", "name VARCHAR(40)"]
)toml";

struct OutputFolder : JobFolder {
    OutputFolder()
    {
        std::filesystem::create_directory(path() / "out");
        Write("b.csv", "1,2\n");
    }
};

}  // namespace

TEST(UnloadJob, BadFileGetsItsComplaint)
{
    // clang-format off
    const struct {
        const char *about, *good, *piece, *instead, *complaint, *hint;
    } kCases[] = {
        {"a reader's attribute",       kTranscode, "TimeOut = 0", "SkipRows = 0",                "job.toml:12:1: error: SkipRows is for steps that read", "remove it from [consumer]"},
        {"with a meaning",             kTranscode, "TimeOut = 0", "TimeOut = 1",                 "TimeOut is for steps that read", ""},
        {"a reader's word",            kTranscode, "TimeOut = 0", "OpenMode = \"Read\"",         "OpenMode can't be \"Read\"", "valid are Write or WriteAppend"},
        {"indicators in text",         kTranscode, "\"Formatted4\"", "\"Delimited\"",            "IndicatorMode does not go with Format \"Delimited\"", "binary format"},
        {"compressed files",           kTranscode, "a.dat", "a.dat.gz",                          "FileName \"a.dat.gz\" asks for compressed files", "leave the ending away"},
        {"a folder instead of a file", kUnload,    "a.dat", "out/",                              "FileName \"out/\" names a directory", ""},
        {"columns of fixed width",     kTranscode, "\"Formatted4\"\nIndicatorMode = true", "\"Text\"", "column \"id\" of type VARCHAR can't be written as text data", "CHAR(n)"},
        {"a type without words",       kUnload,    "id INTEGER", "id BYTE(4)",                   "column \"id\" of type BYTE can't be written as delimited data", "binary format"},
        {"a type that can't be read",  kTranscode, "id VARCHAR(12)", "id INTEGER",               "column \"id\" of type INTEGER can't be read from delimited data", ""},
        {"an input file",              kTranscode, "instances = 2\nDirectoryPath = \"out\"\nFileName = \"a.dat\"", "FileName = \"b.csv\"", "b.csv\" is the input file", "another name"},
        {"a later input file",         kTranscode, "instances = 2\nDirectoryPath = \"out\"\nFileName = \"a.dat\"", "FileName = \"c.csv\"", "c.csv\" would be read as an input file: it fits \"*.csv\"", ""},
        {"the record error file",      kTranscode, "instances = 2\nDirectoryPath = \"out\"\nFileName = \"a.dat\"", "FileName = \"bad.jsonl\"", "is the record error file", ""},
        {"the job file",               kUnload,    "a.dat", "out/../job.toml",                   "is the job file", ""},
        {"logs of both steps",         kTranscode, "TimeOut = 0", "PrivateLogName = \"private\"", "both steps have the private log \"private\"", "another PrivateLogName"},
        {"source misspelt",            kUnload,    "\"generator\"", "\"generater\"",             "job.toml:2:8: error: unknown source \"generater\"", "did you mean \"generator\"?"},
        {"key of the source",          kUnload,    "rows = 5", "row = 5",                        "unknown key \"row\"", "did you mean \"rows\"?"},
        {"a key that must be there",   kUnload,    "rows = 5", "",                               "job.toml:1:1: error: rows is missing in [source]", "how many rows"},
        {"instances of the source",    kUnload,    "instances = 3", "instances = 513",           "instances must be a whole number from 1 to 512, not 513", ""},
        {"a file's name of no file",   kUnload,    "\"id INTEGER\"", "{ name = \"id\", type = \"CHAR(9)\", metadata = \"FileName\" }", "a source has no input file", ""},
        {"dates of a source",          kUnload,    "\"id INTEGER\"", "{ name = \"id\", type = \"VARCHAR(9)\", input_format = \"YYYY\", output_format = \"YY\" }", "the dates of column \"id\" can't be rewritten", ""},
        {"columns by rule",            kUnload,    "columns = ", "from = \"source\" #",          "generator has no columns of its own", "list them"},
    };
    // clang-format on
    const OutputFolder folder;
    ASSERT_EQ(folder.Complaints(kTranscode) + folder.Complaints(kUnload), "");
    for (const auto &c : kCases) {
        const std::string what = folder.Complaints(With(c.good, c.piece, c.instead));
        EXPECT_TRUE(Holds(what, c.complaint)) << c.about;
        EXPECT_TRUE(Holds(what, c.hint)) << c.about;
    }
}

// Under another name, by a link of either kind: the input would be gone.
TEST(UnloadJob, OutputIsNoLinkToInput)
{
    const OutputFolder folder;
    for (const auto make : {link, symlink}) {
        const auto output = folder.path() / "out" / "a.dat-2";
        ASSERT_EQ(make((folder.path() / "b.csv").c_str(), output.c_str()), 0);
        EXPECT_TRUE(Holds(folder.Complaints(kTranscode), "b.csv"));
        std::filesystem::remove(output);
    }
}

TEST(UnloadJob, OutputFilesAreLookedAtBefore)
{
    const OutputFolder folder;
    const auto look = [&](const std::string &text) {
        return LookAtOutput(LoadJob(folder.Write("job.toml", text)));
    };
    folder.Write("out/a.dat-2", "four");
    OutputLook found = look(kTranscode);
    ASSERT_EQ(found.files.size(), 2u);
    EXPECT_EQ(found.files[0].path, folder.path() / "out" / "a.dat-1");
    EXPECT_EQ(found.files[0].becomes, "new");
    EXPECT_EQ(found.files[1].becomes, "replaces 4 bytes");
    found = look(With(kTranscode, "TimeOut = 0", "OpenMode = \"WriteAppend\""));
    ASSERT_EQ(found.files.size(), 1u);  // the other is not there
    EXPECT_EQ(found.files[0].becomes, "goes on behind 4 bytes");
    ASSERT_EQ(found.faults.size(), 1u);
    EXPECT_TRUE(Holds(found.faults[0].what, "WriteAppend makes none"));

    found = look(With(kTranscode, "\"out\"", "\"none\""));
    ASSERT_EQ(found.faults.size(), 1u);
    EXPECT_TRUE(Holds(found.faults[0].what, "can't be examined: No such file"));
    EXPECT_EQ(found.faults[0].at, (SourcePosition{8, 17}));
    found = look(With(kUnload, "a.dat", "out"));
    ASSERT_EQ(found.faults.size(), 1u);
    EXPECT_TRUE(Holds(found.faults[0].what, "is a directory"));
}

TEST(UnloadJob, InstancesOfTheCommandLineAreThoseThatRead)
{
    const OutputFolder folder;
    const Override two = {kReadingStep, "instances", "2"};
    const Job transcode = LoadJob(folder.Write("job.toml", kTranscode), {two});
    EXPECT_EQ(transcode.producer.instances, 2);
    EXPECT_EQ(transcode.writers(), 2);
    const Job unload =
        LoadJob(folder.Write("job.toml", kUnload), {two, {"consumer", "instances", "4"}});
    EXPECT_EQ(unload.readers(), 2);
    EXPECT_EQ(unload.writers(), 4);
}
