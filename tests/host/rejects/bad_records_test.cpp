// tests/host/rejects/bad_records_test.cpp - what a job says of the records that its operator found bad.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include "tests/host/coordinator/job_runs.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

std::string Reasons(const RejectsReport &rejects)
{
    std::string text;
    for (const RejectReason &reason : rejects.reasons)
        text += std::to_string(reason.count) + " " + reason.words + "; ";
    return text + std::to_string(rejects.others);
}

}  // namespace

TEST(BadRecords, EachIsAnObjectInTheListAndCountsInTheSummary)
{
    JobRun run(2);
    run.folder.Write("innocent", "kept");
    fenwire::Column source;  // no column of a record, so it doesn't count
    source.file_name = true;
    run.job.columns.insert(run.job.columns.begin(), source);
    std::filesystem::create_symlink("innocent", run.folder.File("bad.jsonl"));
    run.Set("RecordErrorFileName", "bad");
    run.Set("Initiate", "1:variable 2; next");
    run.Set("Execute",
            "1:bad 1 1 0 a|b Delimited Data Parsing error: Too few columns in row 1;"
            "1:bad 2 1 2 0x41ff00 Field length overflow(s) in record 2, field 2, 'b'. Expected;"
            "1:bad 3 1 2 c|d Field length overflow(s) in record 3, field 2, 'b'. Expected 5;"
            "1:bad 4 0 9 e A new fault in 12 or 345 of 'x7';"
            "2:bad 5 1 0 @2000000 odd; 1:counts 1 4 1 3 0; 2:counts 2 1 0 1 0; 1:rows 1");
    const JobReport &report = run.Run();
    EXPECT_EQ(report.exit_code, 4) << report.failure;
    EXPECT_EQ(run.Text("innocent"), "kept");
    struct stat info = {};
    ASSERT_EQ(lstat(run.folder.File("bad.jsonl").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode, S_IFREG | 0600U);

    std::map<int, std::string> lines;
    std::string first;
    for (const std::string &line : run.Lines("bad.jsonl")) {
        const auto object = nlohmann::json::parse(line);
        const int record = object["record"].get<int>();
        EXPECT_EQ(object["file"], "file1");
        EXPECT_EQ(object["instance"], record == 5 ? 2 : 1);
        if (record == 5)
            EXPECT_EQ(object["raw"], std::string(2000000, 'r'));
        else
            lines[record] = line.substr(line.find("\"offset\""));
    }
    const std::map<int, std::string> expected = {
        {1, R"("offset":null,"column":null,"column_name":null,"kind":"too few columns","reason":)"
            R"("Delimited Data Parsing error: Too few columns in row 1","message":19134,)"
            R"("left_out":true,"in_error_file":true,"instance":1,"raw":"a|b"})"},
        {2, R"("offset":20,"column":2,"column_name":"b","kind":"too long","reason":)"
            R"("Field length overflow(s) in record 2, field 2, 'b'. Expected","message":19134,)"
            R"("left_out":true,"in_error_file":true,"instance":1,"raw_base64":"Qf8A"})"},
        {3, R"("offset":30,"column":2,"column_name":"b","kind":"too long","reason":)"
            R"("Field length overflow(s) in record 3, field 2, 'b'. Expected 5","message":19134,)"
            R"("left_out":true,"in_error_file":true,"instance":1,"raw":"c|d"})"},
        {4, R"("offset":40,"column":9,"column_name":null,"kind":"A new fault in # or # of ''",)"
            R"("reason":"A new fault in 12 or 345 of 'x7'","message":19134,)"
            R"("left_out":false,"in_error_file":true,"instance":1,"raw":"e"})"}};
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(report.rejects.kept, 5U);
    EXPECT_EQ(report.rejects.left_out, 4U);
    EXPECT_EQ(report.rejects.changed, 1U);
    EXPECT_EQ(Reasons(report.rejects),
              "2 column 2 'b' too long; 1 column 9 A new fault in # or # of ''; 1 odd; 1");
    EXPECT_EQ(report.rejects.next.size(), 2U);
}

TEST(BadRecords, NothingPassesInSilence)
{
    struct Case {
        const char *about, *error_file, *execute;
        int exit_code;
        const char *failure;
        size_t listed;  // lines that stay
    };
    const Case cases[] = {
        {"no room for the list", "bad",
         "limit 4000; bad 2 1 0 @3000 x; bad 3 1 0 @3000 x; counts 1 2 0 2 0", 12,
         "bad.jsonl can't be written", 2},
        {"no folder", "gone/bad", "rows 1", 12, "gone/bad.jsonl\" can't be made", 0},
        {"a folder in its place", "folder", "rows 1", 12, "folder.jsonl\" can't be replaced", 0},
        {"lengths that lie", "bad", "lie", 12, "failed in execute", 0},
        {"left out and not counted", "bad", "rows 1; bad 2 1 0 r x; counts 1 1 1 0 0", 12,
         "left out 1 bad records, but counts 0", 1},
        {"counted and not told", "bad", "bad 2 1 0 r x; counts 1 2 0 2 0", 12,
         "left out 1 bad records, but counts 2", 1},
        {"told before a crash", "bad", "bad 2 1 0 r x; crash", 12, "signal 11", 1},
        {"without a file the record is shown", "",
         "variable 1; rows 1; bad 2 1 2 0x33091b01 x; status 48", 12,
         "record 2, byte offset 20, column 2 'b': \"3\\x09\\x1b\\x01\"", 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        JobRun run;
        std::filesystem::create_directories(run.folder.File("folder.jsonl/x"));
        if (*c.error_file != '\0')
            run.Set("RecordErrorFileName", c.error_file);
        run.Set("Execute", c.execute);
        const JobReport &report = run.Run();
        EXPECT_EQ(report.exit_code, c.exit_code);
        EXPECT_TRUE(Holds(report.failure, c.failure));
        EXPECT_EQ(run.Lines("bad.jsonl").size(), c.listed);
    }
}
