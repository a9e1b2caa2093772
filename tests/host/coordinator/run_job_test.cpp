// tests/host/coordinator/run_job_test.cpp - jobs from start to end, good ones and failing ones.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <map>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/coordinator/job_runs.h"

using namespace fenwire;

namespace {

bool NoChildIsLeft() { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

// A process that waits to be reaped by the system's first process has ended.
bool IsRunning(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string number, name, state;
    return stat >> number >> name >> state && state != "Z";
}

size_t Count(const std::vector<std::string> &lines, const std::string &line)
{
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

}  // namespace

TEST(RunJob, RowsOfAllInstancesArriveInTheirOrder)
{
    constexpr uint64_t kInstances = 3, kRows = 40000;
    JobRun run(kInstances);
    run.Set("Execute", "rows 40000; 1:counts 1 40000 40000 0 0; 2:counts 2 40000 40000 0 0;"
                       "3:counts 3 40000 40000 0 0");
    const JobReport &report = run.Run();
    EXPECT_EQ(report.status, "loaded") << report.failure;
    EXPECT_EQ(report.exit_code, 0);
    EXPECT_EQ(report.loaded, kInstances * kRows);
    EXPECT_TRUE(report.conserved);
    EXPECT_EQ(report.files.size(), kInstances);
    EXPECT_EQ(run.console.finished, 1);
    std::map<int, uint64_t> rows;
    for (const std::string &line : run.Lines("out")) {
        const int instance = line[0] - '0';
        const uint64_t row = ++rows[instance];
        const std::string value = std::to_string(instance) + "." + std::to_string(row);
        ASSERT_EQ(line, value + "|" + (row % 3 == 0 ? "" : value));
    }
    EXPECT_EQ(rows, (std::map<int, uint64_t>{{1, kRows}, {2, kRows}, {3, kRows}}));
    EXPECT_TRUE(NoChildIsLeft());
}

TEST(RunJob, NobodyEntersAPhaseBeforeAllHaveLeftTheLast)
{
    JobRun run(3);
    run.Set("Execute", "2:wait; next; 3:next; wait; 1:next; next");
    run.Set("Initiate", "1:variable 3; 1:wait; 2:wait; next; files");
    const JobReport &report = run.Run();
    EXPECT_EQ(report.exit_code, 0) << report.failure;
    // A phase of a method starts nowhere before the one before it has started everywhere it does.
    std::map<std::string, std::pair<size_t, size_t>> spans;  // first and last line of each step
    const auto trace = run.Lines("trace");
    for (size_t i = 0; i < trace.size(); ++i) {
        const std::string step = trace[i].substr(2);
        if (step.find("sees") == 0)
            continue;
        spans.try_emplace(step, i, i).first->second.second = i;
    }
    const std::vector<std::string> order = {"Initiate 1",   "Initiate 2", "Execute 1",
                                            "Execute 2",    "Execute 3",  "Terminate 1 Y",
                                            "Terminate 2 Y"};
    for (size_t i = 1; i < order.size(); ++i) {
        ASSERT_EQ(spans.count(order[i]), 1U) << order[i];
        EXPECT_LT(spans[order[i - 1]].second, spans[order[i]].first) << order[i];
    }
    // What instance 1 stored before the barrier, everybody sees behind it.
    for (const char *line : {"1 sees file1", "2 sees file2", "3 sees file3"})
        EXPECT_EQ(Count(trace, line), 1U) << line;
}

TEST(RunJob, EndsAsItsInstancesDo)
{
    struct Case {
        const char *about;
        const char *initiate, *execute, *terminate;
        int exit_code;
        const char *status;
        const char *failure;         // must stand in the words
        const char *terminate_line;  // of instance 1; null: it gets none
    };
    const Case cases[] = {
        {"no rows", "next", "", "next", 0, "loaded", "", "Terminate 1 Y"},
        {"waits and repeats", "wait; next", "wait; again; rows 1; counts 1 1 1 0 0", "next", 0,
         "loaded", "", "Terminate 1 Y"},
        {"refused rows", "next", "rows 2; bad 3 1 0 r x; counts 1 3 2 1 0", "next", 4,
         "loaded with warnings", "", "Terminate 1 Y"},
        {"a warning", "next", "message 19123 4 beware", "next", 4, "loaded with warnings", "",
         "Terminate 1 Y"},
        {"exit code 8 goes on", "next", "rows 1; code 8; counts 1 1 1 0 0", "next", 8,
         "loaded with warnings", "", "Terminate 1 Y"},
        {"exit code 12 without a failing status", "next", "rows 1; code 12; counts 1 1 1 0 0",
         "next", 12, "failed", "", "Terminate 1 N"},
        {"failing status with exit code 0", "next", "rows 1; status 29", "next", 12, "failed", "29",
         "Terminate 1 N"},
        {"the message says why", "next", "message 19142 6 no such thing; status 48", "next", 12,
         "failed", "no such thing", "Terminate 1 N"},
        {"failing initiate", "status 48", "rows 1", "next", 12, "failed", "initiate",
         "Terminate 1 N"},
        {"failing second phase", "next; status 48", "rows 1", "next", 12, "failed", "initiate",
         "Terminate 1 N"},
        {"checkpoint", "next", "rows 1; checkpoint", "next", 12, "failed", "checkpoint",
         "Terminate 1 N"},
        {"rows lost", "next", "rows 3; counts 1 4 4 0 0", "next", 12, "failed", "",
         "Terminate 1 N"},
        {"records lost", "next", "rows 3; counts 1 9 3 0 1", "next", 12, "failed", "",
         "Terminate 1 N"},
        {"crash", "next", "rows 2; crash", "next", 12, "failed", "signal 11", nullptr},
        {"crash in initiate", "crash", "", "next", 12, "failed", "signal 11", nullptr},
        {"exit", "next", "leave 3", "next", 12, "failed", "status 3", nullptr},
        {"exit as if all were well", "next", "leave 0", "next", 12, "failed", "instance 1",
         nullptr},
        {"failing terminate", "next", "rows 1; counts 1 1 1 0 0", "status 48", 12, "failed",
         "terminate", "Terminate 1 Y"},
        {"unknown status", "next", "status 4711", "next", 12, "failed", "4711", "Terminate 1 N"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        JobRun run;
        run.Set("Initiate", c.initiate);
        run.Set("Execute", c.execute);
        run.Set("Terminate", c.terminate);
        const JobReport &report = run.Run();
        EXPECT_EQ(report.exit_code, c.exit_code) << report.failure;
        EXPECT_EQ(report.status, c.status);
        EXPECT_NE(report.failure.find(c.failure), std::string::npos) << report.failure;
        EXPECT_EQ(report.failure.empty(), c.exit_code < 12) << report.failure;
        const auto trace = run.Lines("trace");
        if (c.terminate_line != nullptr) {
            EXPECT_EQ(Count(trace, std::string("1 ") + c.terminate_line), 1U) << run.Text("trace");
        }
        // Nothing of a failed job is kept, but for one that fails when its rows are in already.
        const bool kept = c.exit_code < 12 || std::string(c.about) == "failing terminate";
        EXPECT_EQ(std::filesystem::exists(run.folder.File("out")), kept);
        EXPECT_EQ(report.loaded > 0, kept && report.read > 0);
        EXPECT_TRUE(NoChildIsLeft());
    }
}

TEST(RunJob, OneFailureStopsAndTerminatesTheOthers)
{
    struct Case {
        const char *about, *execute, *failure;
    };
    const Case cases[] = {
        {"others deliver rows", "2:wait; 2:wait; 2:status 48; rows 1000000000", "instance 2"},
        {"others wait",
         "2:crash; wait; wait; wait; wait; wait; wait; wait; wait; wait; wait; wait; wait",
         "instance 2"},
        {"others are at the barrier", "2:wait; 2:wait; 2:crash; next", "instance 2"},
        {"others have ended", "2:wait; 2:wait; 2:crash", "instance 2"},
        {"others repeat without rows", "2:leave 5; spin", "instance 2"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        JobRun run(3);
        run.Set("Execute", c.execute);
        const auto start = std::chrono::steady_clock::now();
        const JobReport &report = run.Run();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
        EXPECT_EQ(report.exit_code, 12);
        EXPECT_NE(report.failure.find(c.failure), std::string::npos) << report.failure;
        EXPECT_EQ(Count(run.Lines("trace"), "1 Terminate 2 N"), 1U) << run.Text("trace");
        EXPECT_EQ(Count(run.Lines("trace"), "3 Terminate 2 N"), 1U);
        EXPECT_FALSE(std::filesystem::exists(run.folder.File("out")));
        EXPECT_TRUE(NoChildIsLeft());
    }
}

TEST(RunJob, ATargetThatFailsFailsTheJobInItsWords)
{
    JobRun run(2);
    run.job.target = {{"file", std::string("/dev/full"), {}}};
    run.Set("Execute", "rows 1000000");
    try {
        run.Run();
        EXPECT_EQ(run.report.exit_code, 12);
        EXPECT_NE(run.report.failure.find("/dev/full"), std::string::npos) << run.report.failure;
    } catch (const std::runtime_error &refused) {
        EXPECT_NE(std::string(refused.what()).find("/dev/full"), std::string::npos)
            << refused.what();
    }
    EXPECT_TRUE(NoChildIsLeft());
}

// ---- Signals ----------------------------------------------------------------------------------

TEST(RunJob, SignalsEndTheJob)
{
    struct Case {
        const char *about, *execute;
        int exit_code;
        bool terminated;
    };
    const Case cases[] = {
        {"Ctrl-C between rows", "rows 100; 1:signal 2; rows 1000000000", 130, true},
        {"terminate while waiting",
         "1:signal 15; wait; wait; wait; wait; wait; wait; wait; wait; spin", 143, true},
        {"the second one kills", "1:hang 2 15; spin", 130, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        JobRun run(2);
        run.Set("Execute", c.execute);
        const JobReport &report = run.Run();
        EXPECT_EQ(report.exit_code, c.exit_code) << report.failure;
        EXPECT_EQ(report.status, "interrupted");
        EXPECT_FALSE(report.failure.empty());
        EXPECT_EQ(Count(run.Lines("trace"), "1 Terminate 2 N"), c.terminated ? 1U : 0U);
        EXPECT_FALSE(std::filesystem::exists(run.folder.File("out")));
        EXPECT_TRUE(NoChildIsLeft());
        for (const std::string &line : run.console.lines)
            EXPECT_EQ(line.find("PX_PutRow"), std::string::npos) << line;
    }
}

// What is committed can't be taken back, and the report must not say so.
TEST(RunJob, ASignalBehindTheCommitChangesNothing)
{
    JobRun run;
    run.Set("Execute", "rows 5; counts 1 5 5 0 0");
    run.Set("Terminate", "signal 2; next");
    const JobReport &report = run.Run();
    EXPECT_EQ(report.exit_code, 0) << report.failure;
    EXPECT_EQ(report.loaded, 5U);
    EXPECT_EQ(run.Lines("out").size(), 5U);
}

// Runs the job in a process of its own until the trace has the line.
class Background {
public:
    Background(JobRun &run, const std::string &line)
    {
        pid = fork();
        if (pid == 0) {
            run.Run();
            _exit(0);
        }
        for (int i = 0; i < 1000 && Count(run.Lines("trace"), line) == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ~Background()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    pid_t pid;
};

TEST(RunJob, InstancesDoNotOutliveTheRunner)
{
    JobRun run(2);
    run.Set("Execute", "pid; hang");
    {
        Background runner(run, "2 Execute 1");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    int seen = 0;
    for (const std::string &line : run.Lines("trace")) {
        if (line.substr(2, 4) != "pid ")
            continue;
        ++seen;
        const pid_t pid = atoi(line.c_str() + 6);
        bool gone = false;
        for (int i = 0; i < 200 && !gone; ++i) {
            gone = !IsRunning(pid);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_TRUE(gone) << line;
    }
    EXPECT_EQ(seen, 2);
}

TEST(RunJob, OneJobRunsOnceAtATime)
{
    JobRun run;
    run.Set("Execute", "hang");
    const Background runner(run, "1 Execute 1");
    try {
        run.Run();
        FAIL() << "ran twice";
    } catch (const std::runtime_error &refused) {
        EXPECT_NE(std::string(refused.what()).find(std::to_string(runner.pid)), std::string::npos)
            << refused.what();
    }
}

TEST(RunJob, AnUnwritableFolderIsToldAtOnce)
{
    JobRun run;
    run.job.state = "/proc/fenwire/scripted";
    EXPECT_THROW(run.Run(), std::runtime_error);
    setenv("FENWIRE_OPERATOR", "/nowhere/libfenwire.so", 1);
    JobRun other;
    setenv("FENWIRE_OPERATOR", "/nowhere/libfenwire.so", 1);
    try {
        other.Run();
        EXPECT_EQ(other.report.exit_code, 12);
        EXPECT_NE(other.report.failure.find("/nowhere/libfenwire.so"), std::string::npos);
    } catch (const std::runtime_error &refused) {
        EXPECT_NE(std::string(refused.what()).find("/nowhere/libfenwire.so"), std::string::npos);
    }
}
