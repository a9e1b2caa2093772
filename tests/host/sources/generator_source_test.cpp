// tests/host/sources/generator_source_test.cpp - rows by rule: the same for every share, and all valid.

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

#include "host/job/column_types.h"
#include "tests/host/sources/source_rows.h"
#include "tests/host/values/typed_columns.h"

using namespace fenwire;

namespace {

Job GeneratorJob(const std::vector<std::string> &columns, std::vector<Setting> settings)
{
    Job job;
    job.columns = Columns(columns);
    job.source_type = "generator";
    job.source = std::move(settings);
    return job;
}

Setting Number(const char *key, int64_t value) { return {key, value, {}}; }

template <class Type>
Type As(const Value &value, size_t at = 0)
{
    Type result;
    memcpy(&result, value->data() + at, sizeof result);
    return result;
}

// Each type once, with the lengths that it needs.
std::vector<std::string> EveryType()
{
    std::vector<std::string> columns;
    for (const ColumnType &type : ColumnTypes()) {
        std::string name(type.name);
        if (type.rule == SizeRule::Bytes)
            name += "(8)";
        else if (type.rule == SizeRule::Decimal)
            name += "(7,2)";
        columns.push_back("c" + std::to_string(columns.size()) + " " + name);
    }
    return columns;
}

}  // namespace

TEST(GeneratorSource, EveryShareOfTheRowsMakesTheSameSet)
{
    for (const int64_t repeat : {0, 7}) {
        std::vector<Setting> settings = {Number("rows", 20),
                                         Number("nulls", 20),
                                         {"edges", true, {}},
                                         {"text", std::string("all"), {}}};
        if (repeat != 0)
            settings.push_back(Number("repeat", repeat));
        const Job job = GeneratorJob(EveryType(), settings);
        const std::vector<std::string> whole = RowsOf(job).kept;
        EXPECT_EQ(std::set(whole.begin(), whole.end()).size(), repeat != 0 ? 7 : 20);
        for (const int parts : {2, 7, 21}) {
            std::vector<std::string> shared;
            for (int part = 1; part <= parts; ++part) {
                const auto some = RowsOf(job, part, parts).kept;
                shared.insert(shared.end(), some.begin(), some.end());
            }
            EXPECT_EQ(shared, whole) << parts << " parts, repeat " << repeat;
        }
        std::vector<Setting> other = settings;
        other.push_back(Number("seed", 2));
        EXPECT_NE(RowsOf(GeneratorJob(EveryType(), other)).kept, whole);
    }
}

TEST(GeneratorSource, RowsGoOnWhereTheyStood)
{
    for (const int64_t repeat : {0, 7}) {
        std::vector<Setting> settings = {Number("rows", 1000), Number("nulls", 10)};
        if (repeat != 0)
            settings.push_back(Number("repeat", repeat));
        const Job job = GeneratorJob({"a INTEGER", "b CHAR(400)"}, settings);
        for (const int parts : {1, 3}) {
            const auto rows = RowsWithStops(job, parts);
            for (int part = 1; part <= parts; ++part)
                EXPECT_EQ(rows[static_cast<size_t>(part - 1)], RowsOf(job, part, parts).kept)
                    << "part " << part << " of " << parts << ", repeat " << repeat;
        }
    }
    // Part 1 of 2 has the rows 0 to 499.
    const Job job = GeneratorJob({"a INTEGER"}, {Number("rows", 1000)});
    EXPECT_EQ(RefusalOf(job, "row 500", 2), "");
    for (const char *place : {"row 501", "row -1", "row 18446744073709551616", "row 1 ", "row", "",
                              " row 1", "row  1", "row 1x", "rows 1", "row 1 1"})
        EXPECT_NE(RefusalOf(job, place, 2), "") << place;
}

TEST(GeneratorSource, NullsComeAsOftenAsAskedFor)
{
    for (const int64_t percent : {0, 30, 100}) {
        const KeepingOutlet rows = RowsOf(GeneratorJob(
            {"a INTEGER", "b VARCHAR(3)"}, {Number("rows", 2000), Number("nulls", percent)}));
        int64_t nulls = 0;
        for (size_t i = 0; i < rows.rows(); ++i)
            nulls += std::ranges::count(rows.Values(i), Value());
        EXPECT_NEAR(static_cast<double>(nulls), 40.0 * static_cast<double>(percent),
                    percent % 100 == 0 ? 0 : 200);
    }
}

// A value's own text gives it back, in the digits of its type.
TEST(GeneratorSource, ValuesAreValidForTheirTypes)
{
    std::set<std::string> seen;
    for (const std::string type :
         {"DECIMAL(5,2)", "DECIMAL(38,9)", "NUMBER", "NUMBER(6,2)", "INTDATE", "ANSIDATE",
          "TIMESTAMP(2) WITH TIME ZONE", "PERIOD(INTDATE)", "PERIOD(TIMESTAMP(0))", "FLOAT",
          "BOOLEAN", "TIME(0)"}) {
        const KeepingOutlet rows =
            RowsOf(GeneratorJob({"v " + type}, {Number("rows", 2000), {"edges", true, {}}}));
        for (size_t i = 0; i < rows.rows(); ++i) {
            const Value value = rows.Values(i)[0];
            const std::string text = TextOf(type, *value), back = BinaryOf(type, text);
            const bool number = type.starts_with("NUMBER");  // whose last zeros count for nothing
            EXPECT_EQ(number ? TextOf(type, back) : Hex(back), number ? text : Hex(*value)) << type;
            EXPECT_TRUE(type != "NUMBER(6,2)" || value->empty() || As<int16_t>(value) == 2);
            EXPECT_FALSE(type == "ANSIDATE" && BinaryOf("INTDATE", text).starts_with("! ")) << text;
            const size_t half = type.starts_with("PERIOD") ? (text.size() - 8) / 2 : 0;
            EXPECT_LE(text.substr(half > 0 ? 2 : 0, half),
                      text.substr(half > 0 ? half + 6 : 0, half));
            seen.insert(type + " " + text);
        }
    }
    EXPECT_TRUE(seen.contains("FLOAT -0") && seen.contains("DECIMAL(5,2) -999.99"))
        << "edges come up";
}

TEST(GeneratorSource, TextHoldsWhatItsStyleSays)
{
    const struct {
        const char *style, *charset;
        std::string_view some;  // of these bytes some come up; none of the next
        std::string_view none;
    } cases[] = {
        {"plain", "UTF8", "aZ9", "\"\n\\|, \xC3"},
        {"marks", "UTF8", "a\"\n\\|,\t", "\xC3\xF0"},
        {"utf8", "UTF8", "a\xC3\xE3\xF0", "\"\n,"},
        {"all", "UTF8", "a\"\n\xC3\xF0", ""},
        {"plain", "UTF16", std::string_view("a\0", 2), "\"\n"},
    };
    for (const auto &row : cases) {
        Job job = GeneratorJob(
            {"v VARCHAR(41)", "f CHAR(20)"},
            {Number("rows", 300), {"edges", true, {}}, {"text", std::string(row.style), {}}});
        job.charset = row.charset;
        const KeepingOutlet rows = RowsOf(job);
        std::string all;
        bool empty = false, longest = false;
        const size_t most = job.charset == "UTF16" ? 40 : 41;
        for (size_t i = 0; i < rows.rows(); ++i) {
            const Value value = rows.Values(i)[0];
            empty |= value->empty();
            longest |= value->size() == most;
            EXPECT_EQ(value->size() % (job.charset == "UTF16" ? 2 : 1), 0u);
            all += *value;
        }
        EXPECT_TRUE(empty && longest) << row.style;
        for (const char c : row.some)
            EXPECT_NE(all.find(c), std::string::npos) << row.style << " " << static_cast<int>(c);
        EXPECT_EQ(all.find_first_of(row.none), std::string::npos) << row.style;
    }
}

TEST(GeneratorSource, ColumnsThatNoCharacterFitsAreRefused)
{
    for (const char *column : {"d ANSIDATE", "c CHAR(5)"}) {
        Job job = GeneratorJob({column}, {Number("rows", 1)});
        job.charset = "UTF16";
        EXPECT_THROW(MakeSource(job), SourceError) << column;
    }
}
