// tests/host/rejects/retry_test.cpp - when a retry may start, and what it reads.

#include <algorithm>
#include <gtest/gtest.h>

#include "host/console/figures.h"
#include "host/rejects/reject_table.h"
#include "host/rejects/retry.h"
#include "tests/host/coordinator/job_runs.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

// A job with a record error file; the operator is a script, so the test writes that file.
struct RetryRun : JobRun {
    RetryRun()
    {
        Set("RecordErrorFileName", "bad");
        Set("FileName", "*.csv");
        Set("DirectoryPath", "in");
        Set("SkipRows", "1");
        job.target_type = "null";
        job.target.clear();
    }

    const JobReport &RunScript(const std::string &script)
    {
        Set("Execute", script);
        return Run();
    }

    // What keeps a retry from starting; empty: nothing.
    std::string Refusal(const RetryChoice &choice = {}) const
    {
        try {
            PlanRetry(job, choice);
            return {};
        } catch (const RetryRefused &refused) {
            return refused.what();
        }
    }

    JobReport RunRetry(const std::string &script)
    {
        Set("Execute", script);
        const Retry retry = PlanRetry(job, {});
        return RunJob(retry.job, console);
    }
};

constexpr char kOneLeftOut[] = "rows 1; bad 2 1 0 x x; counts 1 2 1 1 0";
constexpr char kOneLoaded[] = "rows 2; bad 3 0 0 y x; bad 2 1 0 x x; counts 1 3 2 1 0";

}  // namespace

TEST(Retry, StartsOnlyWhereNoRowCanBeLoadedTwiceOrForgotten)
{
    struct Case {
        const char *about, *run, *file, *refusal;  // run: null: none
        bool anyway;                               // --anyway helps
    };
    const Case cases[] = {
        {"never run", nullptr, "x\n", "no run of the job", false},
        {"the run failed", "rows 1; bad 2 1 0 x x; status 48", "x\n", "the last run failed", true},
        {"the error file is gone", kOneLeftOut, nullptr, "can't be read", false},
        {"left out", kOneLeftOut, "x\n", "", true},
        {"repaired", kOneLeftOut, "X\n", "", true},
        {"loaded and left out", kOneLoaded, "y\nx\n", "", true},
        {"loaded, or left out and repaired", kOneLoaded, "Y\nx\n", "nobody can tell", true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        RetryRun run;
        if (c.run != nullptr)
            run.RunScript(c.run);
        if (c.file != nullptr)
            run.folder.Write("bad", c.file);
        const std::string refusal = run.Refusal();
        EXPECT_EQ(refusal.empty(), *c.refusal == '\0') << refusal;
        EXPECT_TRUE(Holds(refusal, c.refusal));
        if (c.anyway) {
            EXPECT_EQ(run.Refusal({.anyway = true}), "");
        }
    }
}

TEST(Retry, DamagedOrForeignFilesAreRefused)
{
    RetryRun run;
    run.RunScript(kOneLeftOut);
    run.folder.Write("bad", "x\n");
    const std::string list = run.Text("bad.jsonl");
    for (const char *line :
         {"{", "[]", "{\"record\":-1,\"raw\":\"x\"}", "{\"record\":1}",
          "{\"record\":1,\"raw\":\"x\",\"left_out\":0}", "{\"record\":1,\"raw_base64\":\"x\"}"}) {
        run.folder.Write("bad.jsonl", list + line + "\n");
        EXPECT_TRUE(Holds(run.Refusal(), "line 2 of the list")) << line;
    }
    std::filesystem::remove(run.folder.File("bad.jsonl"));
    EXPECT_TRUE(Holds(run.Refusal(), "which records are loaded already"));
    for (const char *state :
         {"", "{}", "{\"file\":7}", "{\"file\":\"bad\",\"outcome\":\"good\"}"}) {
        run.folder.Write(".fenwire/scripted/rejects.json", state);
        EXPECT_THROW(PlanRetry(run.job, {.anyway = true}), std::runtime_error) << state;
    }
}

TEST(Retry, EachGoodRetryHandsOnToTheNext)
{
    RetryRun run;
    run.RunScript(kOneLoaded);
    run.folder.Write("bad", "y\nx\n");
    {
        const Retry retry = PlanRetry(run.job, {});
        const Step &step = retry.job.producer;
        const std::string file = step.Text("FileName");
        EXPECT_EQ(step.instances, 1);
        EXPECT_EQ(step.Text("DirectoryPath") + step.Text("SkipRows"), "");
        EXPECT_EQ(step.Text("RecordErrorFileName"), run.folder.File("bad.retry"));
        EXPECT_EQ(step.Text("EnableScan"), "No");
        EXPECT_EQ(std::filesystem::path(file).filename(), "bad");
        std::string staged;
        std::getline(std::ifstream(file), staged, '\0');
        EXPECT_EQ(staged, "x\n");
    }
    EXPECT_FALSE(std::ranges::any_of(
        std::filesystem::directory_iterator(run.job.state),
        [](const auto &entry) { return entry.path().filename().string().starts_with("retry"); }));

    EXPECT_EQ(run.RunRetry("rows 1; status 48").exit_code, 12);
    EXPECT_EQ(WaitingErrorFile(run.job), run.folder.File("bad"));  // it waits as before
    EXPECT_EQ(run.RunRetry("rows 1; bad 2 1 0 z x; counts 1 2 1 1 0").exit_code, 4);
    run.folder.Write("bad.retry", "z\n");
    EXPECT_EQ(WaitingErrorFile(run.job), run.folder.File("bad.retry"));
    const auto written = std::filesystem::last_write_time(run.folder.File("bad.retry"));
    std::filesystem::last_write_time(run.folder.File("bad"), written + std::chrono::seconds(1));
    EXPECT_TRUE(Holds(run.Refusal(), "was changed, but it has been retried"));
    std::filesystem::last_write_time(run.folder.File("bad"), written);
    EXPECT_EQ(run.RunRetry("rows 1; counts 1 1 1 0 0").exit_code, 0);
    run.folder.Write("bad.retry2", "");
    EXPECT_EQ(PlanRetry(run.job, {}).records.load, "");
    EXPECT_EQ(run.Text("bad"), "y\nx\n");  // nobody's work is overwritten
    EXPECT_EQ(run.Text("bad.retry"), "z\n");

    run.RunScript(kOneLeftOut);
    EXPECT_EQ(WaitingErrorFile(run.job), run.folder.File("bad"));
}

TEST(Retry, OfWhatChangedMeanwhileDoesNotStart)
{
    RetryRun run;
    run.RunScript(kOneLeftOut);
    run.folder.Write("bad", "x\n");
    const Retry retry = PlanRetry(run.job, {});
    run.RunRetry("rows 1; counts 1 1 1 0 0");
    const JobReport late = RunJob(retry.job, run.console);
    EXPECT_EQ(late.exit_code, 12);
    EXPECT_TRUE(Holds(late.failure, "in the meantime"));
}

TEST(Retry, RemarksWithoutPrefixAndFilledFilesAreRefused)
{
    RetryRun run;
    run.Set("RecordErrorVerbosity", "Low");
    run.RunScript(kOneLeftOut);
    run.folder.Write("bad", "[1] WARNING Below record: x\nx\n");
    EXPECT_TRUE(Holds(run.Refusal(), "lines of remarks"));
    EXPECT_EQ(run.Refusal({.no_remarks = true}), "");
    run.job.target_type = "print";
    run.job.target = {{"file", run.folder.File("out"), {}}};
    run.folder.Write("out", "loaded\n");
    EXPECT_TRUE(Holds(run.Refusal({.no_remarks = true}), "the print target would replace"));
    run.job.target_type = "sqlite";
    run.job.target = {{"replace", true, {}}};
    EXPECT_TRUE(PlanRetry(run.job, {.no_remarks = true}).job.target.empty());
    run.job.target_type.clear();  // rows go to files: none may be begun anew
    run.job.consumer.attributes = {{"OpenMode", "Write", {}}};
    EXPECT_EQ(PlanRetry(run.job, {.no_remarks = true}).job.consumer.Text("OpenMode"),
              "WriteAppend");
}

TEST(RejectTable, FitsTheScreenAndDrivesNoTerminal)
{
    RejectEntry entry;
    entry.file = "a/rather/long/path/to/orders_of_yesterday.csv";
    entry.record = 1234567;
    entry.offset = 98765432;
    entry.column = 3;
    entry.column_name = "amount\x1b[2J";
    entry.kind = "too long";
    entry.raw = std::string("17\t\x9b\0Meyer", 10) + std::string(5000, 'x');
    for (const size_t width : {0U, 200U, 100U, 60U, 30U, 1U}) {
        const auto lines = RejectTableLines({entry, entry}, width);
        ASSERT_EQ(lines.size(), 3U);
        for (const std::string &line : lines) {
            EXPECT_LE(Columns(line), width == 0 ? 1000 : width);
            EXPECT_TRUE(std::ranges::all_of(line, [](char c) { return c >= ' ' && c < 0x7f; }));
        }
        if (width >= 100 || width == 0) {
            EXPECT_TRUE(Holds(lines[1], "1,234,567") && Holds(lines[1], "17\\x09\\x9b\\x00"))
                << lines[1];
        }
    }
}
