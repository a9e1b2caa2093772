// tests/host/console/figures_test.cpp - numbers, sizes, durations and names as a person reads them.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

#include "host/console/figures.h"

using namespace fenwire;

// The rows stand around the places where digits, units or signs change.
TEST(Figures, NumbersAndSizesChangeUnitsWhereTheyRound)
{
    const struct {
        uint64_t number;
        const char *grouped, *brief, *size;
    } rows[] = {
        {0, "0", "0", "0 B"},
        {999, "999", "999", "999 B"},
        {1000, "1,000", "1.0k", "1000 B"},
        {1023, "1,023", "1.0k", "1023 B"},
        {1024, "1,024", "1.0k", "1.0 KiB"},
        {9960, "9,960", "10k", "9.7 KiB"},
        {999499, "999,499", "999k", "976.1 KiB"},
        {999500, "999,500", "1.0M", "976.1 KiB"},
        {1048524, "1,048,524", "1.0M", "1023.9 KiB"},
        {1048525, "1,048,525", "1.0M", "1.0 MiB"},
        {1234567890, "1,234,567,890", "1.2G", "1.1 GiB"},
        {UINT64_MAX, "18,446,744,073,709,551,615", "18E", "16.0 EiB"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Grouped(row.number), row.grouped);
        EXPECT_EQ(Brief(row.number), row.brief) << row.number;
        EXPECT_EQ(Size(row.number), row.size) << row.number;
    }
}

TEST(Figures, DurationsChangeUnitsWhereTheyRound)
{
    const struct {
        double seconds;
        const char *duration, *countdown;
    } rows[] = {
        {-1, "0.0 s", "0 s"},
        {std::nan(""), "0.0 s", "0 s"},
        {0.04, "0.0 s", "0 s"},
        {3.25, "3.2 s", "3 s"},
        {59.94, "59.9 s", "1 min 00 s"},
        {59.96, "1 min 00 s", "1 min 00 s"},
        {245, "4 min 05 s", "4 min 05 s"},
        {3599.6, "1 h 00 min", "1 h 00 min"},
        {7620, "2 h 07 min", "2 h 07 min"},
        {86400 * 3 + 3600 * 4.5, "3 d 04 h", "3 d 04 h"},
        {std::numeric_limits<double>::infinity(), "11574 d 01 h", "11574 d 01 h"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Duration(row.seconds), row.duration) << row.seconds;
        EXPECT_EQ(Countdown(row.seconds), row.countdown) << row.seconds;
    }
}

TEST(Figures, AHundredPercentMeansAll)
{
    EXPECT_EQ(Percent(0, 3), "0%");
    EXPECT_EQ(Percent(UINT64_MAX - 1, UINT64_MAX), "99%");
    EXPECT_EQ(Percent(3, 3), "100%");
    EXPECT_EQ(Percent(4, 3), "100%");  // a file that grows while it is read
}

TEST(Figures, RatesOfNoTimeAreZero)
{
    EXPECT_EQ(PerSecond(5, 0), 0u);
    EXPECT_EQ(PerSecond(5, 2), 3u);
    EXPECT_EQ(Megabytes(12'345'678), "12.3 MB/s");
    EXPECT_EQ(Megabytes(999'960'000), "1,000 MB/s");
    EXPECT_EQ(Megabytes(-1), "0.0 MB/s");
}

TEST(Figures, NamesAreShortenedInTheMiddleByColumns)
{
    const struct {
        const char *about, *name;
        size_t columns;
        const char *shown;
    } rows[] = {
        {"fits", "orders.tbl", 10, "orders.tbl"},
        {"one too long", "orders.tbl", 9, "or....tbl"},
        {"wide characters are cut at whole ones", "注文注文注文.tbl", 12, "注...文.tbl"},
        {"control bytes are shown", "a\x1b[2J", 20, "a\\x1b[2J"},
        {"and count as they are shown", "a\x1b[2Jbcdefgh", 12, "a\\x...cdefgh"},
        {"bytes that are no UTF-8", "\xff.tbl", 20, "\\xff.tbl"},
        {"a mark does not open the end", "abcdefghe\xcc\x81ijklm", 9, "ab...jklm"},
        {"no room for a gap", "orders.tbl", 5, "order"},
        {"no room", "orders.tbl", 0, ""},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Shortened(row.name, row.columns), row.shown) << row.about;
        EXPECT_LE(Columns(Shortened(row.name, row.columns)), row.columns) << row.about;
    }
}
