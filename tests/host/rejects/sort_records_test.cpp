// tests/host/rejects/sort_records_test.cpp - what a retry takes out of a record error file, and what not.

#include <gtest/gtest.h>

#include "host/rejects/sort_records.h"

using namespace fenwire;

TEST(SortRecords, LoadsWhatWaitsAndNothingTwice)
{
    struct Case {
        const char *about, *file;
        std::vector<KnownRecord> known;
        const char *prefix;  // null: no remarks
        const char *load;
        bool safe;
        uint64_t repaired, loaded, missing;
    };
    const KnownRecord out_a = {"a,1", true}, out_b = {"b,2", true}, in_c = {"c,3", false};
    const KnownRecord quoted = {"x,\"1\n2\"", true}, quoted_in = {"x,\"1\n9\"", false};
    const char *remarks = "#[1] WARNING Below record: Too few\n#[1] File path: 'f'\n"
                          "#[1]Record number: 7\n";
    const std::string with_remarks = std::string(remarks) + "a,1\n" + remarks + "c,3\n";
    const std::string odd_path = "#[2] WARNING Below record: x\n#[2] File path: 'f\nb,2'\n"
                                 "#[2]Record number: 7\na,1\n";
    // clang-format off
    const Case cases[] = {
        {"unchanged", "a,1\nb,2\n", {out_a, out_b}, nullptr, "a,1\nb,2\n", true, 0, 0, 0},
        {"loaded ones are left aside", "a,1\nc,3\nb,2\n", {out_a, in_c, out_b}, nullptr, "a,1\nb,2\n", true, 0, 1, 0},
        {"a repaired line among all the loaded ones", "A,1\nc,3\n", {out_a, in_c}, nullptr, "A,1\n", true, 1, 1, 1},
        {"a repaired line that may be the loaded one", "a,1\nC,3\n", {out_a, in_c}, nullptr, "a,1\nC,3\n", false, 1, 0, 0},
        {"the loaded one was removed", "a,1\n", {out_a, in_c}, nullptr, "a,1\n", true, 0, 0, 0},
        {"loaded twice, there once, one repaired", "c,3\nC,3\n", {in_c, in_c}, nullptr, "C,3\n", false, 1, 1, 0},
        {"the same bytes were both", "c,3\nc,3\n", {in_c, {"c,3", true}}, nullptr, "c,3\n", false, 0, 1, 0},
        {"records over several lines", "x,\"1\n9\"\nx,\"1\n2\"\n", {quoted, quoted_in}, nullptr, "x,\"1\n2\"\n", true, 0, 1, 0},
        {"the beginning of a known one only", "x,\"1\n7\"\n", {quoted}, nullptr, "x,\"1\n7\"\n", true, 2, 0, 1},
        {"a longer record that begins alike", "c,3\nc,3,4\n", {in_c, {"c,3,4", true}}, nullptr, "c,3,4\n", true, 0, 1, 0},
        {"line ends of an editor, and none at the end", "a,1\r\nc,3\r\nb,2", {out_a, in_c, out_b}, nullptr, "a,1\r\nb,2", true, 0, 1, 0},
        {"remarks", with_remarks.c_str(), {out_a, in_c}, "#", "a,1\n", true, 0, 1, 0},
        {"remarks whose record was removed", remarks, {out_a}, "#", "", true, 0, 0, 1},
        {"a remark over several lines", odd_path.c_str(), {out_a, out_b}, "#", "a,1\n", true, 0, 0, 1},
        {"data that look like a remark", "#[1]Record number: 7\n#[1] File path: 'f'\n", {}, "#", "#[1]Record number: 7\n#[1] File path: 'f'\n", true, 2, 0, 0},
        {"a record that reads like a remark", "#[1] WARNING Below record: a\n", {{"#[1] WARNING Below record: a", true}}, "#", "#[1] WARNING Below record: a\n", true, 0, 0, 0},
        {"empty records", "\n\n", {{"", true}, {"", true}}, nullptr, "\n\n", true, 0, 0, 0},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.about);
        const std::string prefix = c.prefix != nullptr ? c.prefix : "";
        const SortedRecords sorted =
            SortRecords(c.file, c.known, c.prefix != nullptr ? &prefix : nullptr);
        EXPECT_EQ(sorted.load, c.load);
        EXPECT_EQ(sorted.Safe(), c.safe);
        EXPECT_EQ(sorted.repaired, c.repaired);
        EXPECT_EQ(sorted.loaded, c.loaded);
        EXPECT_EQ(sorted.missing, c.missing);
    }
}
