// tests/operator/instance_test.cpp - an instance from its first call to its last, over real files.

#include <gtest/gtest.h>

#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "tests/operator/whole_instance.h"

class Instance : public WholeInstance {
protected:
    Instance()
    {
        fake.text["FileName"] = "*.csv";
        fake.text["Format"] = "Delimited";
        fake.text["TextDelimiter"] = ",";
        fake.columns = {{.name = "id"}, {.name = "name"}};
    }
};

TEST_F(Instance, OneFileGoesFromDiskToRows)
{
    directory.Write("a.csv", "1,one\n2,two\n3,\n");
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(fake.rows, (std::vector<std::string>{"1|one", "2|two", "3|NULL"}));
    EXPECT_EQ(fake.exit_code, 0);
    EXPECT_NE(fake.public_log.find("19222(1," + directory.File("a.csv") + ") "), std::string::npos);
    EXPECT_TRUE(Told("19221(1) "));
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

TEST_F(Instance, SeveralReadersGiveWayToAScan)
{
    directory.Write("a.csv", "1,a\n");
    fake.integer["SYSTEM_MaxInstances"] = 2;
    fake.text["MultipleReaders"] = "Yes";
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_TRUE(Told("19232(MultipleReaders) "));
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

TEST_F(Instance, CommandInterfaceThatCanNotBeOpenedFailsNothing)
{
    directory.Write("a.csv", "1,a\n");
    fake.failing["PX_OpenCommandInterface"] = 3;
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_TRUE(Told("19016(<UNDEFINED>) "));
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
    EXPECT_TRUE(Told(GetParam().message)) << fake.public_log;
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
