// tests/host/targets/null_target_test.cpp - the checksum tells sets of rows apart, and nothing else.

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/host/targets/target_rows.h"

using namespace fenwire;

namespace {

TargetReport Sum(const std::vector<std::vector<Row>> &batches, uint8_t padding = 0)
{
    const TempDirectory folder;
    const auto target = MakeTarget(TargetJob(folder, "null", {"a", "b"}, {}));
    target->Open(Target::Start::Anew);
    int instance = 0;
    for (const std::vector<Row> &batch : batches)
        target->Put(++instance, Rows(batch, padding).Batch());
    return target->Commit(nullptr);
}

const Row kOne = {"1", "one"}, kTwo = {"22", std::nullopt}, kLong = {std::string(77, 'x'), "y"};

}  // namespace

TEST(NullTarget, ChecksumDependsNeitherOnOrderNorOnPadding)
{
    const TargetReport report = Sum({{kOne, kTwo}, {kLong}});
    EXPECT_EQ(report.rows, 3u);
    EXPECT_EQ(report.bytes, 4u + 2 + 78);
    ASSERT_EQ(report.note.size(), std::string("checksum 0123456789abcdef").size());
    EXPECT_EQ(Sum({{kLong, kOne}, {kTwo}}).note, report.note);
    EXPECT_EQ(Sum({{kTwo, kLong, kOne}}, 0xFF).note, report.note);
}

TEST(NullTarget, ChecksumTellsRowsApart)
{
    // Each pair is near: moved bytes, NULL and empty, a single bit at either end.
    std::vector<Row> rows = {
        {"", ""},    {"", std::nullopt}, {std::nullopt, ""}, {std::string(1, '\0'), ""},
        {"a", "bc"}, {"ab", "c"},        {"abc", ""},        {"abd", ""}};
    for (size_t length = 1; length < 40; ++length) {
        rows.push_back({std::string(length, 'x'), "z"});
        rows.push_back({std::string(length, 'x'), "{"});
        rows.push_back({"y" + std::string(length, 'x'), "z"});
    }
    std::vector<std::string> sums;
    for (const Row &row : rows)
        sums.push_back(Sum({{row}}).note);
    std::ranges::sort(sums);
    EXPECT_EQ(std::ranges::adjacent_find(sums), sums.end());
    EXPECT_NE(Sum({{kOne, kOne}}).note, Sum({{kOne}}).note);
}
