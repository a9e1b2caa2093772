// tests/host/coordinator/run_test.cpp - whole jobs with an operator that does what the test asks for.

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "host/coordinator/run.h"

using namespace fenwire;

namespace {

class Quiet : public Console {
public:
    void Message(LineKind, const std::string &line) override { said += line + "\n"; }
    void Progress(const JobSnapshot &) override {}
    void Finish(const JobReport &) override {}
    std::string said;
};

class RunJobTest : public testing::Test {
protected:
    RunJobTest()
    {
        char folder[] = "/tmp/fenwire-run-XXXXXX";
        job_.folder = mkdtemp(folder);
        job_.file = job_.folder / "job.toml";
        job_.state = job_.folder / ".fenwire" / "test";
        job_.name = "test";
        job_.columns.resize(2);
        for (size_t i = 0; i < 2; ++i) {
            job_.columns[i].name = i == 0 ? "a" : "b";
            job_.columns[i].length = 50;
        }
        job_.target_type = "null";
        setenv("FENWIRE_OPERATOR", FAKE_OPERATOR, 1);
    }
    ~RunJobTest() override { std::filesystem::remove_all(job_.folder); }

    JobReport Run(int instances, int rows, const std::string &mode, int special_row = 0)
    {
        job_.producer.instances = instances;
        job_.producer.attributes = {
            {"Rows", rows, {}}, {"CrashRow", special_row, {}}, {"Mode", mode, {}}};
        return RunJob(job_, console_);
    }

    Job job_;
    Quiet console_;
};

}  // namespace

TEST_F(RunJobTest, RowsOfAllInstancesAreCommittedAndAddUp)
{
    for (const char *mode : {"", "barrier"}) {
        const JobReport report = Run(3, 100000, mode);
        EXPECT_EQ(report.status, "loaded") << report.failure;
        EXPECT_EQ(report.exit_code, 0);
        EXPECT_EQ(report.loaded, 300000U);
        EXPECT_TRUE(report.conserved);
    }
}

TEST_F(RunJobTest, ChecksumDoesNotDependOnHowRowsAreDealt)
{
    const std::string one = Run(1, 5000, "").target_note;
    EXPECT_EQ(Run(1, 5000, "wait").target_note, one);
    EXPECT_NE(Run(1, 4999, "").target_note, one);
}

TEST_F(RunJobTest, EveryKindOfFailureEndsTheJobAndNamesItsCause)
{
    // clang-format off
    static constexpr struct {
        const char *mode;
        const char *says;
    } kCases[] = {
        {"crash",      "instance 2 was ended by signal 11"          },
        {"fail",       "because the test wants it"                  },
        {"early",      "failed in initiate with status 48"          },
        {"lie",        "the operator handed over"                   },
        {"checkpoint", "asked for a checkpoint"                     },
    };
    // clang-format on
    for (const auto &c : kCases) {
        const JobReport report = Run(2, 50000, c.mode, 30000);
        EXPECT_EQ(report.status, "failed") << c.mode;
        EXPECT_EQ(report.exit_code, 12) << c.mode;
        EXPECT_EQ(report.loaded, 0U) << c.mode;
        EXPECT_NE(report.failure.find(c.says), std::string::npos)
            << c.mode << ": " << report.failure;
    }
}

TEST_F(RunJobTest, InterruptCallsTheInstancesBackAndKillsThoseThatHang)
{
    const pid_t me = getpid(), user = fork();
    if (user == 0) {
        usleep(500000);
        kill(me, SIGINT);
        _exit(0);
    }
    const JobReport report = Run(2, 1000, "hang", 10);
    waitpid(user, nullptr, 0);
    EXPECT_EQ(report.exit_code, 130);
    EXPECT_EQ(report.status, "interrupted");
}

TEST_F(RunJobTest, MissingLibraryIsSaidInWords)
{
    setenv("FENWIRE_OPERATOR", "/nonexistent/lib.so", 1);
    const JobReport report = Run(1, 10, "");
    EXPECT_EQ(report.exit_code, 12);
    EXPECT_NE(report.failure.find("can't be loaded"), std::string::npos) << report.failure;
}
