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
    EXPECT_TRUE(fake.Told("19222(1," + directory.File("a.csv") + ") "));
    EXPECT_TRUE(fake.Told("19221(1) "));
    EXPECT_EQ(fake.statistics,
              (std::vector<std::string>{"126=0", "119=3", "121=1", "125=0", "124=*.csv"}));
    EXPECT_EQ(Counts(), "ended 1, file 1, records 3, rows 3, refused 0, bytes 15");
    EXPECT_EQ(bTakeAMcheckpoint, 1U);
    EXPECT_TRUE(fake.globals.empty()) << "what was created is deleted";
    EXPECT_EQ(fake.calls.back(), "close private log");
}

TEST_F(Instance, FailureInARowLeavesTheFileCountedAndClosed)
{
    directory.Write("a.csv", "1,a\n2,b,too many\n3,c\n");
    EXPECT_EQ(Run(), "41 42 43 48 41 42 ");
    EXPECT_EQ(fake.rows, (std::vector<std::string>{"1|a"}));
    EXPECT_EQ(fake.exit_code, 12);
    EXPECT_EQ(Counts(), "ended 0, file 1, records 2, rows 1, refused 1, bytes 21");
    EXPECT_EQ(pmfp, 0U);
    EXPECT_TRUE(fake.Traced("Status is: still processing"));
}

// What was read is a row, refused or skipped, and nothing else.
TEST_F(Instance, RowThatTheStreamRefusesCountsAsRefused)
{
    directory.Write("a.csv", "1,a\n2,b\n");
    fake.put_row_status = PXSTC_DataStream;
    EXPECT_EQ(Run(), "41 42 48 41 42 ");
    EXPECT_EQ(Counts(), "ended 0, file 1, records 1, rows 0, refused 1, bytes 8");
}

TEST_F(Instance, WhatItCanDoWithoutFailsNothing)
{
    directory.Write("a.csv", "1,a\n");
    fake.failing["PX_OpenCommandInterface"] = 3;
    fake.text["AccessModuleName"] = "";
    fake.text["TraceLevel"] = "NONE";
    fake.integer["SYSTEM_CHECKPOINT"] = 0;
    fake.integer["SYSTEM_MaxInstances"] = 2;
    fake.text["MultipleReaders"] = "Yes";
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(bTakeAMcheckpoint, 0U);
    EXPECT_TRUE(fake.Told("19016(<UNDEFINED>) "));
    EXPECT_TRUE(fake.Told("19232(MultipleReaders) "));
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
    EXPECT_TRUE(fake.Told(GetParam().message)) << fake.public_log;
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
    {"AccessModule",      "19990(AccessModuleName,access modules) ", [](Fake &f) { f.text["AccessModuleName"] = "queue"; }},
    {"BadInterval",       "19202(SYSTEM_CHECKPOINT,3,4)", [](Fake &f) { f.text["SYSTEM_CHECKPOINT"] = "60s"; }},
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
