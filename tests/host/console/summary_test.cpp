// tests/host/console/summary_test.cpp - how the end of a job is told.

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/console/figures.h"
#include "host/console/summary.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

JobReport SmallReport()
{
    JobReport report;
    report.job = "orders";
    report.status = "loaded with warnings";
    report.exit_code = 4;
    report.seconds = 2;
    report.files = {{"/data/a.tbl", 1, 1500, 1490, 7, 3, 4'000'000, 1.5, true, 2, 0, 1000},
                    {"/data/b.tbl", 2, 500, 500, 0, 0, 2'000'000, 0.5, true}};
    report.instances = {{1, 4, 1490, 1, 88'080'384, 1.25, "/log/1"}, {2, 0, 500, 1, 1024, 0.5, ""}};
    report.read = 2000;
    report.loaded = 1990;
    report.refused = 7;
    report.skipped = 3;
    report.bytes = 6'000'000;
    report.conserved = true;
    report.rows_limit = 1490;
    report.rejects = {"orders.bad",
                      "orders.bad.jsonl",
                      8,
                      7,
                      1,
                      {{"column 3 'amount' too long", 4}, {"too few \x1b columns", 3}},
                      1,
                      {"fenwire rejects retry orders.toml"}};
    report.target = "sqlite orders.db, table orders";
    report.target_note = "committed once";
    report.log = "/log/public";
    return report;
}

std::vector<std::string> Texts(const JobReport &report, size_t width = 0)
{
    std::vector<std::string> texts;
    for (const SummaryLine &line : SummaryLines(report, width))
        texts.push_back(line.text);
    return texts;
}

std::string Whole(const JobReport &report, size_t width = 0)
{
    std::string whole;
    for (const std::string &text : Texts(report, width))
        whole += text + "\n";
    return whole;
}

}  // namespace

TEST(Summary, TellsOfWrittenFiles)
{
    JobReport report;
    report.job = "unload";
    report.status = "written";
    report.seconds = 2;
    report.source = "generator";
    report.outputs = {{"/out/a-1", 1, 1500, 1500, 0, 0, 4'000'000, 1.5, true},
                      {"/out/a-2", 2, 500, 500, 0, 0, 2'000'000, 0.5, true}};
    report.instances = {{1, 0, 2000, 0, 1024, 1, "", "source"},
                        {1, 0, 1500, 1, 1024, 1, "", "consumer"},
                        {2, 0, 500, 1, 1024, 1, "/log/2", "consumer"}};
    report.read = report.loaded = 2000;
    report.written_bytes = 6'000'000;
    report.conserved = true;
    const std::string good = Whole(report);
    for (const char *line :
         {"unload: written in 2.0 s\n", "to /out/:\n", "a-1               1,500  3.8 MiB  1.5 s\n",
          "total of 2 files  2,000  5.7 MiB  2.0 s\n", "\nconsumer 2          0    500",
          "read 2,000 = written 2,000 + refused 0 + skipped 0: ok\n",
          "speed   5.7 MiB in 2.0 s: 3.0 MB/s, 1,000 rows/s\n", "source  generator\n"})
        EXPECT_TRUE(Holds(good, line));
    EXPECT_EQ(nlohmann::json::parse(ReportJson(report))["outputs"][1]["rows"], 500);

    report.status = "failed";
    report.exit_code = report.instances[2].exit_code = 12;
    report.failure = "disk full";
    report.loaded = 0;
    report.conserved = report.outputs[1].finished = false;
    const std::string bad = Whole(report);
    for (const char *line :
         {"2 files hold part of the rows; they are not complete\n", "not finished\n",
          "/log/2 (consumer 2)\n", "read 2,000, not all written\n"})
        EXPECT_TRUE(Holds(bad, line));
    EXPECT_FALSE(Holds(bad, "target"));
}

TEST(Summary, TellsALoad)
{
    EXPECT_EQ(Whole(SmallReport()),
              R"(orders: loaded with warnings in 2.0 s (exit code 4)

in /data/:
file              records  loaded  refused  skipped     size   time
a.tbl               1,500   1,490        7        3  3.8 MiB  1.5 s
b.tbl                 500     500        0        0  1.9 MiB  0.5 s
total of 2 files    2,000   1,990        7        3  5.7 MiB  2.0 s

instance  exit code   rows  files  peak memory  processor
1                 4  1,490      1     84.0 MiB      1.2 s
2                 0    500      1      1.0 KiB      0.5 s

  rows    read 2,000 = loaded 1,990 + refused 7 + skipped 3: ok
          RowsPerInstance = 1490 was reached: what lies behind was not read
          of the loaded rows went on changed
                  2  without the columns that the schema lacks
              1,000  with values cut to their column's length
  bad     8 records are kept in orders.bad: 7 left out, 1 went on changed
                  4  column 3 'amount' too long
                  3  too few \x1b columns
                  1  for other reasons
          fenwire rejects retry orders.toml  # when they are mended there
  speed   5.7 MiB in 2.0 s: 3.0 MB/s, 1,000 rows/s
  target  sqlite orders.db, table orders
          committed once
  log     /log/public
)");
}

TEST(Summary, FailureGivesReasonsAndLogsFirst)
{
    JobReport report = SmallReport();
    report.status = "failed";
    report.exit_code = 12;
    report.failure = "no column amount\ninstance 1 ended with exit code 12";
    report.instances[0].exit_code = 12;
    report.files[0].finished = false;
    const auto lines = SummaryLines(report, 80);
    EXPECT_EQ(lines[0].text, "orders: failed in 2.0 s (exit code 12)");
    EXPECT_EQ(lines[0].tone, Tone::Bad);
    EXPECT_EQ(lines[2].text, "  reason  no column amount");
    EXPECT_EQ(lines[3].text, "          instance 1 ended with exit code 12");
    EXPECT_EQ(lines[4].text, "  log     /log/public");
    EXPECT_EQ(lines[5].text, "          /log/1 (instance 1)");
    EXPECT_TRUE(lines[6].text.starts_with("  next    "));
    EXPECT_TRUE(Holds(Whole(report, 100), "not finished"));
}

TEST(Summary, ABrokenSumIsAFailureWhateverTheStatus)
{
    JobReport report = SmallReport();
    report.status = "loaded";
    report.loaded = 1989;
    report.conserved = false;
    const std::string whole = Whole(report);
    EXPECT_EQ(SummaryLines(report, 80)[0].tone, Tone::Bad);
    EXPECT_TRUE(Holds(whole, "read 2,000 = loaded 1,989 + refused 7 + skipped 3: DOES NOT HOLD"));
    EXPECT_TRUE(Holds(whole, "do not rely on the rows in the target"));
    EXPECT_FALSE(Holds(whole, "  reason"));
}

TEST(Summary, AnUndoneJobTellsWhatItLeftAndClaimsNoLoss)
{
    JobReport report = SmallReport();
    report.status = "failed";
    report.loaded = 0;
    report.conserved = false;
    report.target_note = "the database is as it was before the job";
    report.files[0].finished = false;
    EXPECT_FALSE(Holds(Whole(report), "do not rely on the rows"));
    EXPECT_TRUE(Holds(Whole(report), "table orders\n          the database is as it was"));
    EXPECT_TRUE(Holds(Whole(report), "  speed   2,000 records in 2.0 s: 1,000 rows/s\n"));
    report.target_note.clear();  // it may have committed
    EXPECT_TRUE(Holds(Whole(report), "do not rely on the rows"));
}

// What to do is said once, and never the other thing.
TEST(Summary, AJobThatCanGoOnSaysHow)
{
    for (const bool failed : {true, false}) {
        JobReport report = SmallReport();
        report.status = failed ? "failed" : "interrupted";
        report.exit_code = failed ? 12 : 130;
        report.conserved = false;
        report.loaded = 1200;
        report.checkpoint = {
            true, 7,   1200, "2026-11-21T20:15:00Z", "fenwire resume orders.toml", 3, 4,
            0.25, 0.1, 0.1,  "several connections"};
        const std::string whole = Whole(report);
        for (const char *line :
             {"go on: fenwire resume orders.toml\n",
              "resumable from checkpoint 7 of 2026-11-21 20:15:00 UTC, 1,200 rows are in; some "
              "behind it may come twice\n",
              "  rows    read 2,000 so far, loaded 1,200 for good\n",
              "  began   at checkpoint 3; the figures are of all runs together\n",
              "  saved   4 checkpoints, which took 0.2 s\n",
              "  note    rows may come twice after a failure: several connections\n"})
            EXPECT_TRUE(Holds(whole, line));
        EXPECT_EQ(bool(Holds(whole, "correct what the reason names")), failed);
        for (const char *no : {"run the job again", "do not rely", "a new run starts", "HOLD"})
            EXPECT_FALSE(Holds(whole, no));
    }
}

TEST(Summary, LongListsShowTheirEnds)
{
    JobReport report = SmallReport();
    const FileReport file = report.files[0];
    for (const size_t files : {22, 23, 24, 1000}) {
        report.files.assign(files, file);
        for (size_t i = 0; i < files; ++i)
            report.files[i].name = fmt::format("f{:04}", i + 1);
        const std::string whole = Whole(report);
        EXPECT_EQ(bool(Holds(whole, "more\n")), files > 23) << files;  // the total is a row as well
        EXPECT_TRUE(Holds(whole, fmt::format("f{:04}", files)));
    }
    const std::string whole = Whole(report);
    EXPECT_TRUE(Holds(whole, "f0020") && Holds(whole, "... 978 more\nf0999"));
    EXPECT_FALSE(Holds(whole, "f0021") || Holds(whole, "f0998"));
}

TEST(Summary, TablesFitTheScreenAndKeepNamesApart)
{
    JobReport report = SmallReport();
    report.files[0].name = "/data/orders_of_the_northern_warehouse_in_the_first_quarter.tbl";
    for (const size_t width : {40, 60, 80, 200}) {
        size_t longest = 0;
        for (const std::string &text : Texts(report, width)) {
            if (!text.starts_with("  ") && !text.starts_with("orders:"))
                longest = std::max(longest, Columns(text));
        }
        EXPECT_LE(longest, width);
    }
    EXPECT_TRUE(Holds(Whole(report, 40), "\norders_of...e_first_quarter.tbl "))
        << Whole(report, 40);
}

TEST(Summary, TextFromOutsideDrivesNoTerminal)
{
    JobReport report = SmallReport();
    const std::string evil = "x\x1b]0;y\x07\r\xc2\x9b";
    report.job = report.failure = report.target = report.target_note = report.log = evil;
    report.files[0].name = evil + "/" + evil;
    report.files[1].name = evil + "/b";
    report.instances[0].private_log = evil;
    report.instances[0].exit_code = 8;
    for (const std::string &text : Texts(report, 40))
        EXPECT_EQ(text.find_first_of("\x1b\x07\r\x9b"), std::string::npos) << text;
    const std::string json = ReportJson(report);
    EXPECT_TRUE(
        std::ranges::all_of(json, [](char c) { return c == '\n' || (c >= ' ' && c < 0x7f); }));
}

TEST(ReportJson, HoldsWhatNoSumOrTextMaySpoil)
{
    JobReport report = SmallReport();
    report.files[1].name = "caf\xe9.tbl";  // Latin 1, so no UTF-8
    report.read = UINT64_MAX;
    const auto object = nlohmann::json::parse(ReportJson(report));
    EXPECT_EQ(object["read"], UINT64_MAX);
    EXPECT_EQ(object["files"][1]["name"], "caf\ufffd.tbl");
    EXPECT_EQ(object["rejects"]["other_reasons"], 1);
    EXPECT_TRUE(nlohmann::json::parse(ReportJson({}))["files"].is_array());
}
