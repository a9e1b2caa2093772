// tests/operator/instance_test.cpp - an instance from its first call to its last, over real files.

#include <filesystem>
#include <gtest/gtest.h>

#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "pm/pm_state.h"
#include "tests/support/fake_infrastructure.h"
#include "tests/support/temp_directory.h"

class Instance : public testing::Test {
protected:
    Instance()
    {
        fake.text["DirectoryPath"] = directory.path();
        fake.text["FileName"] = "*.csv";
        fake.text["Format"] = "Delimited";
        fake.text["TextDelimiter"] = ",";
        fake.columns = {{.name = "id"}, {.name = "name"}};
    }

    // The statuses of all calls, a run of 43 as one: "41 42 43 42 41 42 ". Execute and the phases
    // of initiate stop at the first that fails; terminate runs in any case.
    std::string Run()
    {
        std::string statuses;
        if (Call(statuses, PX_Initiate(fake.op(), 1)) == PXSTC_NextPhase &&
            Call(statuses, PX_Initiate(fake.op(), 2)) == PXSTC_EndMethod)
            Execute(statuses);
        Call(statuses, PX_Terminate(fake.op(), 1));
        Call(statuses, PX_Terminate(fake.op(), 2));
        return statuses;
    }

    void TearDown() override
    {
        if (HasFailure())
            printf("console:\n%s\npublic log: %s\nprivate log:\n%s\n", fake.console.c_str(),
                   fake.public_log.c_str(), fake.private_log.c_str());
    }

    uint64_t Sum(uint64_t PxFileCounts::*count) const
    {
        uint64_t sum = 0;
        for (const PxFileCounts &file : fake.file_counts)
            sum += file.*count;
        return sum;
    }

    Fake fake;
    TempDirectory directory;

private:
    static PxStatus Call(std::string &statuses, PxStatus status)
    {
        const std::string word = std::to_string(status) + " ";
        const bool repeated =
            status == PXSTC_SamePhase && statuses.size() >= word.size() &&
            statuses.compare(statuses.size() - word.size(), word.size(), word) == 0;
        if (!repeated)
            statuses += word;
        return status;
    }
    void Execute(std::string &statuses)
    {
        while (Call(statuses, PX_Execute(fake.op(), 1)) == PXSTC_SamePhase) {
        }
    }
};

TEST_F(Instance, OneFileGoesFromDiskToRows)
{
    directory.Write("a.csv", "1,one\n2,two\n3,\n");
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(fake.rows, (std::vector<std::string>{"1|one", "2|two", "3|NULL"}));
    EXPECT_EQ(fake.exit_code, 0);
    EXPECT_NE(fake.public_log.find("19222(1," + directory.File("a.csv") + ") "), std::string::npos);
    EXPECT_NE(fake.public_log.find("19221(1) "), std::string::npos);
    EXPECT_EQ(fake.statistics,
              (std::vector<std::string>{"126=0", "119=3", "121=1", "125=0", "124=*.csv"}));
    ASSERT_EQ(fake.file_counts.size(), 1U);
    EXPECT_EQ(fake.file_counts[0].ended, 1U);
    EXPECT_EQ(fake.file_counts[0].records, 3U);
    EXPECT_EQ(fake.file_counts[0].rows, 3U);
    EXPECT_EQ(fake.file_counts[0].bytes, 15U);
    EXPECT_TRUE(fake.globals.empty()) << "what was created is deleted";
    EXPECT_EQ(fake.calls.back(), "close private log");
}

TEST_F(Instance, EveryFileOfAPatternIsReadWhole)
{
    constexpr int kFiles = 20;
    for (int file = 0; file < kFiles; ++file) {
        std::string lines;
        for (int line = 0; line < file; ++line)
            lines += std::to_string(file) + "," + std::to_string(line) + "\n";
        directory.Write("f" + std::to_string(file) + ".csv", lines);
    }
    directory.Write("other.txt", "9,9\n");
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(fake.rows.size(), 190U);
    EXPECT_EQ(std::set<std::string>(fake.rows.begin(), fake.rows.end()).size(), 190U);
    EXPECT_EQ(fake.file_counts.size(), 20U);
    for (const PxFileCounts &file : fake.file_counts)
        EXPECT_EQ(file.ended, 1U);
    EXPECT_EQ(Sum(&PxFileCounts::rows), 190U);
    EXPECT_EQ(fake.statistics[1], "119=190");
    EXPECT_EQ(fake.statistics[2], "121=20");
    EXPECT_NE(fake.public_log.find("19221(20) "), std::string::npos);
}

TEST_F(Instance, FilesWithoutRowsEndTheMethodInOneCall)
{
    directory.Write("a.csv", "");
    directory.Write("b.csv", "");
    EXPECT_EQ(Run(), "41 42 42 41 42 ");
    EXPECT_EQ(fake.file_counts.size(), 2U);
    EXPECT_EQ(fake.exit_code, 0);
}

TEST_F(Instance, RowsPerInstanceEndsThisFileAndTheRest)
{
    directory.Write("a.csv", "1,a\n2,a\n3,a\n");
    directory.Write("b.csv", "1,b\n2,b\n3,b\n");
    fake.integer["RowsPerInstance"] = 2;
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(fake.rows.size(), 2U);
    ASSERT_EQ(fake.file_counts.size(), 2U);
    EXPECT_EQ(fake.file_counts[0].rows, 2U);
    EXPECT_EQ(fake.file_counts[1].rows, 0U);
    EXPECT_EQ(fake.file_counts[1].ended, 1U);
}

TEST_F(Instance, SkippedRecordsAreCountedForTheirFile)
{
    directory.Write("a.csv", "id,name\n1,a\n2,a\n");
    directory.Write("b.csv", "id,name\n1,b\n");
    fake.integer["SkipRows"] = 1;
    fake.text["SkipRowsEveryFile"] = "Yes";
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(fake.rows.size(), 3U);
    for (const PxFileCounts &file : fake.file_counts) {
        EXPECT_EQ(file.skipped, 1U);
        EXPECT_EQ(file.refused, 0U);
        EXPECT_EQ(file.records, file.rows + file.skipped);
    }
}

TEST_F(Instance, WorkingDirectoryStandsInForDirectoryPath)
{
    directory.Write("a.csv", "1,a\n");
    fake.text.erase("DirectoryPath");
    std::filesystem::current_path(directory.path());
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(fake.rows.size(), 1U);
    EXPECT_NE(fake.public_log.find("19222(1," + directory.File("a.csv") + ") "), std::string::npos);
}

TEST_F(Instance, SeveralReadersGiveWayToAScan)
{
    directory.Write("a.csv", "1,a\n");
    fake.integer["SYSTEM_MaxInstances"] = 2;
    fake.text["MultipleReaders"] = "Yes";
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_NE(fake.public_log.find("19232(MultipleReaders) "), std::string::npos);
}

TEST_F(Instance, MissingFileFailsThePhaseThatOpensIt)
{
    fake.text["FileName"] = "none.csv";
    EXPECT_EQ(Run(), "41 48 41 42 ");
    EXPECT_EQ(fake.exit_code, 12);
    EXPECT_NE(fake.public_log.find("19231(" + directory.File("none.csv") + ") "),
              std::string::npos);
    ASSERT_EQ(fake.file_counts.size(), 1U);
    EXPECT_EQ(fake.file_counts[0].ended, 0U);
    EXPECT_EQ(fake.file_counts[0].records, 0U);
}

TEST_F(Instance, FailureInARowLeavesTheFileCountedAndClosed)
{
    directory.Write("a.csv", "1,a\n2,b,too many\n3,c\n");
    EXPECT_EQ(Run(), "41 42 43 48 41 42 ");
    EXPECT_EQ(fake.rows, (std::vector<std::string>{"1|a"}));
    EXPECT_EQ(fake.exit_code, 12);
    ASSERT_EQ(fake.file_counts.size(), 1U);
    EXPECT_EQ(fake.file_counts[0].ended, 0U);
    EXPECT_EQ(fake.file_counts[0].rows, 1U);
    EXPECT_EQ(pmfp, 0U);
    EXPECT_NE(fake.private_log.find("Status is: still processing"), std::string::npos);
}

// What was read is a row, refused or skipped, and nothing else.
TEST_F(Instance, RowThatTheStreamRefusesCountsAsRefused)
{
    directory.Write("a.csv", "1,a\n2,b\n");
    fake.put_row_status = PXSTC_DataStream;
    EXPECT_EQ(Run(), "41 42 48 41 42 ");
    ASSERT_EQ(fake.file_counts.size(), 1U);
    EXPECT_EQ(fake.file_counts[0].records, 1U);
    EXPECT_EQ(fake.file_counts[0].rows, 0U);
    EXPECT_EQ(fake.file_counts[0].refused, 1U);
}

TEST_F(Instance, InstanceThatGotNoFileEndsItsMethods)
{
    // Instance 1 dealt the one file to itself; this is instance 2.
    fake.integer["SYSTEM_InstanceNumber"] = fake.integer["SYSTEM_MaxInstances"] = 2;
    FileNamesEntry entry = {};
    entry.Status = kInProcess;
    entry.Instance = 1;
    DirInfoImage image = {};
    image.FileCount = 1;
    fake.globals["FileNames"] = {std::string(reinterpret_cast<const char *>(&entry), sizeof entry)};
    fake.globals["DirInfo"] = {std::string(reinterpret_cast<const char *>(&image), sizeof image)};
    EXPECT_EQ(Run(), "41 42 42 41 42 ");
    EXPECT_NE(fake.public_log.find("19012(2) "), std::string::npos);
    EXPECT_EQ(fake.globals.size(), 2U) << "instance 1 deletes what all share";
    EXPECT_EQ(fake.exit_code, 0);
}

TEST_F(Instance, CommandInterfaceThatCanNotBeOpenedFailsNothing)
{
    directory.Write("a.csv", "1,a\n");
    fake.failing["PX_OpenCommandInterface"] = 3;
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_NE(fake.public_log.find("19016(<UNDEFINED>) "), std::string::npos);
    EXPECT_EQ(std::count(fake.calls.begin(), fake.calls.end(), "close command interface"), 0);
}

// ---- Failures of initiate ---------------------------------------------------------------------

struct Obstacle {
    const char *about;
    const char *message;  // somewhere in the public log; "": there is none
    void (*put)(Fake &fake);
};

void PrintTo(const Obstacle &obstacle, std::ostream *out) { *out << obstacle.message; }

class PartlyInitiated : public Instance, public testing::WithParamInterface<Obstacle> {};

TEST_P(PartlyInitiated, InstanceIsTerminatedInOrder)
{
    directory.Write("a.csv", "1,a\n");
    GetParam().put(fake);
    const std::string statuses = Run();
    EXPECT_TRUE(statuses == "48 41 42 " || statuses == "41 48 41 42 " || statuses == "41 4 41 42 ")
        << statuses;
    EXPECT_GE(fake.exit_code, 4);
    EXPECT_NE(fake.public_log.find(GetParam().message), std::string::npos) << fake.public_log;
    EXPECT_TRUE(fake.rows.empty());
    EXPECT_EQ(pmfp, 0U);
    EXPECT_EQ(pmHandle, 0U);
    EXPECT_EQ(Public_loghandle, nullptr);
    EXPECT_EQ(FirstFileNode, nullptr);
}

// clang-format off
constexpr Obstacle kObstacles[] = {
    {"NoInstanceNumber",  "", [](Fake &f) { f.integer.erase("SYSTEM_InstanceNumber"); }},
    {"NoPublicLog",       "", [](Fake &f) { f.failing["PX_Loginit"] = 54; }},
    {"BadTraceFunction",  "19205(TraceFunction", [](Fake &f) { f.text["TraceFunction"] = "perhaps"; }},
    {"NotifyExit",        "19990(NotifyMethod,", [](Fake &f) { f.text["NotifyMethod"] = "MSG"; }},
    {"NoGlobals",         "19015(12)", [](Fake &f) { f.failing["PX_CreateGlobalVar"] = 19; }},
    {"NoUpdate",          "19015(12)", [](Fake &f) { f.failing["PX_UpdateGlobalVar"] = 8; }},
    {"NoFormat",          "19201(Format)", [](Fake &f) { f.text.erase("Format"); }},
    {"NoSchema",          "19015(12)", [](Fake &f) { f.failing["PX_GetTableSchemaList"] = 44; }},
    {"NoColumns",         "19015(12)", [](Fake &f) { f.failing["PX_GetColumnSchemaList"] = 44; }},
    {"PathTwice",         "19209(DirectoryPath,FileName)", [](Fake &f) { f.text["FileName"] = "/x/a.csv"; }},
    {"SeveralReaders",    "19990(MultipleReaders,", [](Fake &f) { f.integer["SYSTEM_MaxInstances"] = 2;
                                                                 f.text["MultipleReaders"] = "Yes";
                                                                 f.text["FileName"] = "a.csv"; }},
    {"NoDirectory",       "19119(", [](Fake &f) { f.text["DirectoryPath"] = "/none/such"; }},
    {"NoMatch",           "19117(", [](Fake &f) { f.text["FileName"] = "*.none"; }},
    {"NoRead",            "19015(12)", [](Fake &f) { f.failing["PX_ReadGlobalVar"] = 8; }},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Initiate, PartlyInitiated, testing::ValuesIn(kObstacles),
                         [](const auto &obstacle) { return obstacle.param.about; });

TEST_F(Instance, NothingIsThereToTerminate)
{
    EXPECT_EQ(PX_Terminate(fake.op(), 1), PXSTC_NextPhase);
    EXPECT_EQ(PX_Terminate(fake.op(), 2), PXSTC_EndMethod);
    EXPECT_TRUE(fake.calls.empty());
    EXPECT_TRUE(fake.file_counts.empty());
}
