// tests/host/console/progress_test.cpp - how a running job looks.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/console/figures.h"
#include "host/console/progress.h"

using namespace fenwire;

namespace {

// A load that has gone on for some seconds at even speed.
struct SteadyLoad {
    JobSnapshot now;
    JobRates rates;

    explicit SteadyLoad(int instances, double seconds = 10)
    {
        now.phase = "loading";
        now.total_bytes = 100'000'000ull * static_cast<uint64_t>(instances);
        now.files = static_cast<uint32_t>(instances);
        for (int i = 1; i <= instances; ++i)
            now.instances.push_back({.instance = i,
                                     .state = "loading",
                                     .file = fmt::format("/data/a_long_name_of_orders_{}.tbl", i),
                                     .file_bytes = 100'000'000});
        for (double at = 0; at <= seconds; at += 0.25)
            Move(at, 2'000'000, 12'000);
    }
    void Move(double at, uint64_t bytes_per_second, uint64_t rows_per_second)
    {
        const double passed = at - now.seconds;
        now.seconds = at;
        for (InstanceSnapshot &instance : now.instances) {
            const auto gain = [&](uint64_t rate) {
                return static_cast<uint64_t>(static_cast<double>(rate) * passed);
            };
            instance.file_read += gain(bytes_per_second);
            now.read_bytes += gain(bytes_per_second);
            instance.rows += gain(rows_per_second);
            now.rows += gain(rows_per_second);
        }
        rates.Observe(now);
    }
};

}  // namespace

// Two instances may have one number, and what is written is all that can be measured.
TEST(Progress, BothEndsOfAnUnloadAreShown)
{
    JobSnapshot now;
    now.phase = "loading";
    now.writes = true;
    now.instances = {{.instance = 1, .state = "loading", .file = "", .step = "source"},
                     {.instance = 1, .state = "loading", .file = "out/a.csv", .step = "consumer"}};
    JobRates rates;
    for (double at = 0; at <= 10; at += 0.25) {
        now.seconds = at;
        now.rows = now.instances[0].rows = static_cast<uint64_t>(at * 2000);
        now.written_rows = now.instances[1].rows = static_cast<uint64_t>(at * 1000);
        now.written_bytes = now.instances[1].file_bytes = static_cast<uint64_t>(at * 5'000'000);
        rates.Observe(now);
    }
    EXPECT_EQ(ProgressBlock(now, rates, {72, 24}),
              (std::vector<std::string>{
                  "  in 1  reading                                             2,000 rows/s",
                  " out 1  writing   a.csv                                     1,000 rows/s",
                  "        5.0 MB/s  47.7 MiB written  2,000 rows/s  10 s"}));
    EXPECT_EQ(ProgressLine(now, rates),
              "phase=writing files_done=0 files=0 read_bytes=0 total_bytes=- rows=20000 refused=0 "
              "written_rows=10000 written_bytes=50000000 rows_per_s=2000 mb_per_s=5.0 eta_s=-");
}

TEST(Progress, BlockShowsInstancesAndTotal)
{
    SteadyLoad load(2);
    load.now.instances[1].state = "finished";
    const std::vector<std::string> wide = {
        " 1  loading   a_long_name_of_orders_1.tbl          20%       12,000 rows/s",
        " 2  finished                                                 12,000 rows/s",
        "    38.1 MiB of 190.7 MiB  20%  4.0 MB/s  24,000 rows/s  ETA 40 s",
    };
    EXPECT_EQ(ProgressBlock(load.now, load.rates, {74, 24}), wide);
    const std::vector<std::string> narrow = {
        " 1  a_lo...ers_1.tbl   20%    12k/s",
        " 2  finished                  12k/s",
        "    38.1 MiB  20%  ETA 40 s",
    };
    EXPECT_EQ(ProgressBlock(load.now, load.rates, {35, 24}), narrow);
}

// A longer line would break, and the block could not be drawn over.
TEST(Progress, BlockNeverLeavesTheScreen)
{
    SteadyLoad load(120);
    load.now.instances[0].file = "/データ/注文データ_ファイル_二千二十四年_第一四半期\x1b[31m.tbl";
    for (size_t columns = 0; columns <= 200; ++columns) {
        const size_t screen_lines = 8 + columns % 50;
        const auto lines = ProgressBlock(load.now, load.rates, {columns, screen_lines});
        EXPECT_LT(lines.size(), screen_lines) << columns;
        for (const std::string &line : lines) {
            EXPECT_LE(Columns(line), columns) << line;
            EXPECT_EQ(line.find('\x1b'), std::string::npos);
        }
    }
}

TEST(Progress, FinishedInstancesGiveWayAndTheRestIsCounted)
{
    SteadyLoad load(20);
    for (size_t i = 0; i < 18; ++i)
        load.now.instances[i].state = "finished";
    const auto lines = ProgressBlock(load.now, load.rates, {80, 10});
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_TRUE(lines[0].starts_with("  1  finished"));
    EXPECT_TRUE(lines[1].starts_with("  2  finished"));
    EXPECT_TRUE(lines[2].starts_with(" 19  loading"));
    EXPECT_TRUE(lines[3].starts_with(" 20  loading"));
    EXPECT_EQ(lines[4], "     and 16 more");
}

TEST(Progress, RateFollowsSlowlyAndStartsRight)
{
    Rate rate(3);
    EXPECT_EQ(rate.PerSecond(), 0);
    rate.Observe(0.2, 200);
    EXPECT_NEAR(rate.PerSecond(), 1000, 1e-6);  // no slow climb from zero
    uint64_t count = 200;
    for (double at = 0.4; at < 10; at += 0.2)
        rate.Observe(at, count += 200);
    EXPECT_NEAR(rate.PerSecond(), 1000, 30);
    rate.Observe(10.2, count += 2000);  // a burst of ten times the speed
    EXPECT_LT(rate.PerSecond(), 1700);
    rate.Observe(10.2, count += 2000);  // no time has passed
    rate.Observe(10.4, 0);              // a count that was set back
    EXPECT_GE(rate.PerSecond(), 0);
    EXPECT_LT(rate.PerSecond(), 1700);
    rate.Observe(1000, 0);
    EXPECT_LT(rate.PerSecond(), 1);
    for (double at = 1000.2; at < 1015; at += 0.2)
        rate.Observe(at, count = at < 1000.3 ? 200 : count + 200);
    EXPECT_NEAR(rate.PerSecond(), 1000, 50);  // the long wait is forgotten
}

TEST(Progress, ForecastOnlyWhenItMeansSomething)
{
    const struct {
        const char *about;
        double seconds;
        const char *phase;
        uint64_t total;
        bool forecast;
    } rows[] = {
        {"settled", 10, "loading", 100'000'000, true},
        {"too early", 2, "loading", 100'000'000, false},
        {"sizes not known", 10, "loading", 0, false},
        {"all is read", 10, "loading", 20'000'000, false},
        {"more is read than there was", 10, "loading", 19'000'000, false},
        {"in years", 10, "loading", UINT64_MAX, false},
        {"closing", 10, "finishing", 100'000'000, false},
    };
    for (const auto &row : rows) {
        SteadyLoad load(1, row.seconds);
        load.now.phase = row.phase;
        load.now.total_bytes = row.total;
        EXPECT_EQ(load.rates.Left(load.now).has_value(), row.forecast) << row.about;
    }
    SteadyLoad stalled(1, 5);
    for (double at = 5; at < 800; at += 0.25)
        stalled.Move(at, 0, 0);
    EXPECT_FALSE(stalled.rates.Left(stalled.now).has_value());
}

TEST(Progress, LineHasAllKeys)
{
    SteadyLoad load(1);
    load.now.refused = 7;
    EXPECT_EQ(ProgressLine(load.now, load.rates),
              "phase=loading files_done=0 files=1 read_bytes=20000000 total_bytes=100000000 "
              "rows=120000 refused=7 rows_per_s=12000 mb_per_s=2.0 eta_s=40");
    load.now.checkpoint = 7;
    load.now.checkpoint_age = 11.7;
    EXPECT_TRUE(ProgressLine(load.now, load.rates).ends_with(" checkpoint=7 checkpoint_age_s=12"));
    EXPECT_TRUE(
        ProgressBlock(load.now, load.rates, {110, 24}).back().ends_with("  checkpoint 7 12 s ago"));
    JobSnapshot start;
    start.phase = "starting";
    EXPECT_EQ(ProgressLine(start, JobRates()),
              "phase=starting files_done=0 files=0 read_bytes=0 total_bytes=- rows=0 refused=0 "
              "rows_per_s=0 mb_per_s=0.0 eta_s=-");
}
