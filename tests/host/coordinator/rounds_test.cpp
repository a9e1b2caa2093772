// Checkpoint rounds with scripted instances: who takes part, what is kept, how a job goes on.

#include <algorithm>
#include <gtest/gtest.h>

#include "host/checkpoint/checkpoints.h"
#include "tests/host/coordinator/job_runs.h"

using namespace fenwire;

namespace {

class Rounds : public JobRun {
public:
    explicit Rounds(int instances) : JobRun(instances)
    {
        job.target_type = "null", job.target = {};
    }
    size_t Count(const std::string &line) const
    {
        const auto lines = Lines("trace");
        return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
    }
    const JobReport &Resume()
    {
        std::filesystem::remove(folder.File("trace"));
        RunPlan plan;
        plan.from = FindGeneration(job, "");
        EXPECT_TRUE(plan.from);
        report = RunJob(job, console, std::move(plan));
        return report;
    }
};

}  // namespace

TEST(Rounds, EverybodyWhoLivesTakesPart)
{
    struct Case {
        const char *about, *execute;
        size_t rounds;  // besides the first and the last one
        uint64_t rows_between = 0;
    };
    const Case cases[] = {
        {"none is asked for", "rows 10", 0},
        {"one instance asks", "1:rows 10; 1:checkpoint; rows 5", 1},
        {"one has ended", "2:rows 3; 1:rows 10; 1:wait; 1:wait; 1:checkpoint; 1:rows 5", 1},
        {"one waits at the barrier", "2:next; 1:rows 10; 1:wait; 1:checkpoint; 1:next; rows 5", 1},
        {"by rows", "1:rows 35", 3, 20},  // each counts its half of them
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        Rounds run(2);
        run.Set("Execute", c.execute);
        run.job.checkpoint.rows = c.rows_between;
        const JobReport &report = run.Run();
        EXPECT_EQ(report.status, "loaded") << report.failure;
        EXPECT_EQ(report.checkpoint.rounds, c.rounds + 2);
        for (const char *line : {"1 Checkpoint", "2 Checkpoint"})
            EXPECT_EQ(run.Count(line), c.rounds + 2) << run.Text("trace");
        EXPECT_TRUE(report.conserved);
        EXPECT_FALSE(FindGeneration(run.job, ""));  // it came to its end
    }
}

TEST(Rounds, AJobGoesOnFromTheLastOne)
{
    struct Case {
        const char *about, *execute;
        bool resumable;
        uint64_t rows;  // kept
    };
    const Case cases[] = {
        {"before any", "rows 10; status 48", false, 0},
        {"fails behind it", "rows 10; checkpoint; rows 7; status 48", true, 10},
        {"dies behind it", "rows 10; checkpoint; rows 9; crash", true, 10},
        {"stopped", "rows 10; signal 2; spin", true, 10},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        Rounds run(1);
        run.Set("Execute", c.execute);
        run.Set("Resumed", "rows 5");
        const JobReport failed = run.Run();
        EXPECT_EQ(failed.checkpoint.resumable, c.resumable) << failed.failure;
        EXPECT_EQ(failed.checkpoint.rows, c.rows);
        EXPECT_EQ(failed.loaded, c.rows);
        EXPECT_EQ(FindGeneration(run.job, "").has_value(), c.resumable);
        if (!c.resumable)
            continue;
        const JobReport &report = run.Resume();
        EXPECT_EQ(report.exit_code, 0) << report.failure;
        EXPECT_EQ(report.loaded, c.rows + 5);
        EXPECT_TRUE(report.conserved);
        EXPECT_EQ(run.Count("1 Restart: instance 1 after 10 rows"), 1U) << run.Text("trace");
        EXPECT_FALSE(FindGeneration(run.job, ""));
    }
}

TEST(Rounds, WhatCanNotBeKeptIsSaid)
{
    Rounds fails(1);
    fails.Set("Execute", "rows 10");
    fails.Set("Checkpoint", "fails");
    EXPECT_NE(fails.Run().failure.find("failed in checkpoint"), std::string::npos);
    EXPECT_EQ(fails.Count("1 Execute 1"), 0U);  // not a row before it

    Rounds counts(1);  // the file's rows are not those that came
    counts.Set("Execute", "rows 10; counts 2 4 4 0 0; checkpoint; rows 1");
    EXPECT_NE(counts.Run().failure.find("but 4 were handed over"), std::string::npos)
        << counts.report.failure;
}
