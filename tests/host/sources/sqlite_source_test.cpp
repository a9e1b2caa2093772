// tests/host/sources/sqlite_source_test.cpp - tables and queries as rows: each once, as they are, or not at all.

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <sqlite3.h>

#include "host/job/column_types.h"
#include "host/targets/target.h"
#include "tests/host/sources/source_rows.h"
#include "tests/host/targets/target_rows.h"
#include "tests/host/values/typed_columns.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

struct SqliteSourceTest : testing::Test {
    TempDirectory folder;

    std::string Sql(const std::string &sql) const
    {
        sqlite3 *database = nullptr;
        sqlite3_open(folder.File("t.db").c_str(), &database);
        char *error = nullptr;
        sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error);
        const std::string words = error != nullptr ? error : "";
        sqlite3_free(error);
        sqlite3_close(database);
        return words;
    }
    Job SourceJob(const std::vector<std::string> &columns, const char *key, const char *from,
                  const char *split = nullptr) const
    {
        Job job;
        job.folder = folder.path();
        job.columns = Columns(columns);
        job.source_type = "sqlite";
        job.source = {{"file", std::string("t.db"), {}}, {key, std::string(from), {}}};
        if (split != nullptr)
            job.source.push_back({"split", std::string(split), {}});
        return job;
    }
};

}  // namespace

TEST_F(SqliteSourceTest, EveryTypeComesBackFromATableThatTookIt)
{
    Job made;
    made.folder = folder.path();
    std::vector<std::string> words;
    for (const ColumnType &type : ColumnTypes()) {
        if (type.unit > 1000)
            continue;  // as their shorter kin, but slow
        words.push_back("\"c " + std::to_string(words.size()) + "\" " + std::string(type.name) +
                        (type.rule == SizeRule::Bytes     ? "(8)"
                         : type.rule == SizeRule::Decimal ? "(31,7)"
                                                          : ""));
    }
    words.insert(words.end(), {"d1 DECIMAL(1,1)", "d2 DECIMAL(18,0)", "d3 DECIMAL(15,3)",
                               "n NUMBER(12,4)", "t TIMESTAMP(0)", "u TIME(3) WITH TIME ZONE"});
    made.columns = Columns(words);
    made.source_type = "generator";
    made.source = {{"rows", int64_t{400}, {}},
                   {"nulls", int64_t{10}, {}},
                   {"text", std::string("all"), {}},
                   {"edges", true, {}}};
    const KeepingOutlet rows = RowsOf(made);
    std::vector<Row> given;
    for (uint64_t i = 0; i < rows.rows(); ++i)
        given.push_back(rows.Values(i));

    Job load = made;
    load.target_type = "sqlite";
    load.target = {{"file", std::string("t.db"), {}}, {"table", std::string("t"), {}}};
    const auto target = MakeTarget(load);
    target->Open(Target::Start::Anew);
    target->Put(1, Rows(given).Batch());
    ASSERT_EQ(target->Commit(nullptr).rows, given.size());

    Job read = SourceJob({"x INTEGER"}, "table", "T");
    read.columns = made.columns;
    const KeepingOutlet back = RowsOf(read);
    ASSERT_EQ(back.rows(), given.size());
    for (size_t i = 0; i < given.size(); ++i) {
        const Row row = back.Values(i);
        for (size_t c = 0; c < row.size(); ++c) {
            const std::string type = TypeWords(made.columns[c]);
            std::string text = given[i][c] ? TextOf(type, *given[i][c]) : "NULL";
            if (text == "-0")  // SQLite has no such number
                text = "0";
            EXPECT_EQ(row[c] ? TextOf(type, *row[c]) : "NULL", text) << type << " in row " << i;
        }
    }
    // The table's own types say the same again, but where SQLite has no word for one.
    const std::vector<Column> again = FindSourceKind("sqlite")->columns(read);
    std::map<std::string, std::string> others;
    for (size_t c = 0; c < again.size(); ++c) {
        EXPECT_EQ(again[c].name, made.columns[c].name);
        if (TypeWords(again[c]) != TypeWords(made.columns[c]))
            others[TypeWords(made.columns[c])] = TypeWords(again[c]);
    }
    for (const auto &[type, other] : others)
        EXPECT_TRUE(type.find("INTE") != std::string::npos || type.find("PERIOD") != 0 ||
                    other == "VARCHAR(4000)")
            << type << " became " << other;
    EXPECT_EQ(others["INTEGER"], "BIGINT");
    EXPECT_LT(others.size(), 24u);
}

TEST_F(SqliteSourceTest, PartsHaveEachRowOnce)
{
    // clang-format off
    const struct {
        const char *about, *create, *key, *from, *split;
    } kCases[] = {
        {"gaps", "CREATE TABLE t(v, k); INSERT INTO t(rowid, v, k) VALUES (-9223372036854775808, 1, 1), (-5, 2, 1), (0, 3, 1), (1, 4, 1), (9223372036854775807, 5, 1)", "table", "t", nullptr},
        {"one row", "CREATE TABLE t(v); INSERT INTO t VALUES (1)", "table", "t", nullptr},
        {"none", "CREATE TABLE t(v)", "table", "t", nullptr},
        {"hidden row id", "CREATE TABLE t(v, rowid, oid); INSERT INTO t SELECT value, 7, 'x' FROM json_each('[1,2,3,4,5]')", "table", "t", nullptr},
        {"NULL and fractions", "CREATE TABLE t(v, k); INSERT INTO t VALUES (1, NULL), (2, 1), (3, 1.5), (4, 2), (5, NULL), (6, 9)", "table", "t", "K"},
        {"only NULL", "CREATE TABLE t(v, k); INSERT INTO t VALUES (1, NULL), (2, NULL)", "table", "t", "k"},
        {"no row id", "CREATE TABLE t(v, k PRIMARY KEY) WITHOUT ROWID; INSERT INTO t VALUES (1, 3), (2, 4), (3, 90)", "table", "t", "k"},
        {"query", "CREATE TABLE t(v); INSERT INTO t SELECT value FROM json_each('[1,2,3,4,5,6,7]')", "query", "SELECT v, v * 2 AS k FROM t WHERE v <> 3; -- all but one", "k"},
        {"odd names", "CREATE TABLE \"a\"\"; DROP TABLE t; --\"(v, \"k\"\" OR 1\"); INSERT INTO \"a\"\"; DROP TABLE t; --\" VALUES (1, 1), (2, 2)", "table", "a\"; DROP TABLE t; --", "k\" OR 1"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        unlink(folder.File("t.db").c_str());
        ASSERT_EQ(Sql(c.create), "") << c.about;
        const Job job = SourceJob({"v VARCHAR(9)"}, c.key, c.from, c.split);
        const size_t all = RowsOf(job).rows();
        for (const int parts : {2, 3, 7}) {
            Job shared = job;
            shared.source_instances = parts;
            MakeSource(shared)->Check();
            std::vector<std::string> values;
            for (int part = 1; part <= parts; ++part) {
                const KeepingOutlet rows = RowsOf(shared, part, parts);
                for (uint64_t i = 0; i < rows.rows(); ++i)
                    values.push_back(*rows.Values(i)[0]);
            }
            EXPECT_EQ(values.size(), all) << c.about << " in " << parts;
            std::ranges::sort(values);
            EXPECT_EQ(std::ranges::unique(values).begin(), values.end()) << c.about;
        }
    }
}

TEST_F(SqliteSourceTest, RowsComeInTheOrderAndNumberOfTheirResult)
{
    std::string names = "c0", numbers = "1";
    for (int i = 1; i < 200; ++i) {
        names += ", c" + std::to_string(i);
        numbers += ", " + std::to_string(i + 1);
    }
    ASSERT_EQ(Sql("CREATE TABLE t(a, b); INSERT INTO t VALUES (1, 3), (2, 9), (3, 7), (4, 8);"
                  "CREATE VIEW v AS SELECT a FROM t ORDER BY b DESC LIMIT 3; CREATE TABLE wide(" +
                  names + "); INSERT INTO wide VALUES (" + numbers + ")"),
              "");
    for (const auto &[key, from] : {std::pair{"table", "v"}, {"query", "SELECT * FROM v"}}) {
        const KeepingOutlet rows = RowsOf(SourceJob({"a VARCHAR(9)"}, key, from));
        std::string order;
        for (uint64_t i = 0; i < rows.rows(); ++i)
            order += *rows.Values(i)[0];
        EXPECT_EQ(order, "243") << key;
    }
    std::vector<std::string> columns;
    for (int i = 200; i-- > 0;)
        columns.push_back("c" + std::to_string(i) + " VARCHAR(3)");
    const KeepingOutlet rows = RowsOf(SourceJob(columns, "table", "wide"));
    ASSERT_EQ(rows.rows(), 1u);
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(rows.Values(0)[static_cast<size_t>(i)], std::to_string(200 - i));
}

TEST_F(SqliteSourceTest, PartsHaveAboutTheSameNumberOfBytes)
{
    // Rows that grow, and a gap of as many row ids as the rows have.
    ASSERT_EQ(Sql("CREATE TABLE t(v); WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM "
                  "n WHERE i < 4000) INSERT INTO t(rowid, v) SELECT iif(i > 3000, i + 4000, i), "
                  "printf('%.*c', i, 'x') FROM n"),
              "");
    Job job = SourceJob({"v VARCHAR(4000)"}, "table", "t");
    job.source_instances = 3;
    for (int part = 1; part <= 3; ++part) {
        size_t bytes = 0;
        for (const std::string &row : RowsOf(job, part, 3).kept)
            bytes += row.size();
        EXPECT_NEAR(static_cast<double>(bytes), 4000 * 4000 / 2 / 3, 4000 * 4000 / 2 / 20) << part;
    }
}

TEST_F(SqliteSourceTest, ValuesThatDoNotFitAreNamed)
{
    const std::string zero("a\0b", 3);
    ASSERT_EQ(Sql("CREATE TABLE t(v); INSERT INTO t VALUES (CAST(X'610062' AS TEXT))"), "");
    EXPECT_EQ(RowsOf(SourceJob({"v VARCHAR(3)"}, "table", "t")).Values(0)[0], zero);
    // clang-format off
    const struct {
        const char *value, *column, *words;
    } kCases[] = {
        {"'abc'",     "v INTEGER",      "\"abc\" does not fit INTEGER: it takes a whole number"},
        {"''",        "v FLOAT",        "\"\" does not fit FLOAT"},
        {"3000000000", "v INTEGER",     "it takes -2147483648 to 2147483647"},
        {"1.25",      "v DECIMAL(3,1)", "\"1.25\" does not fit DECIMAL(3,1): it keeps 1 digits"},
        {"'1.2.3'",   "v NUMBER",       "\"1.2.3\" does not fit NUMBER"},
        {"9e999",     "v DECIMAL(3,1)", "\"Inf\" does not fit DECIMAL(3,1)"},
        {"'abcd'",    "v VARCHAR(3)",   "it takes up to 3 bytes, and it has 4"},
        {"'abcd'",    "v CHAR(3)",      "it takes up to 3 bytes"},
        {"X'00FF'",   "v VARCHAR(3)",   "\"X'00FF'\" does not fit VARCHAR(3)"},
        {"20240131",  "v INTDATE",      "\"20240131\" does not fit INTDATE"},
        {"'2023-02-30'", "v INTDATE",   "such as 2024-01-31"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        ASSERT_EQ(
            Sql(std::string("DELETE FROM t; INSERT INTO t(rowid, v) VALUES (41, NULL), (42, ") +
                c.value + ")"),
            "");
        const std::string words = SourceErrorOf(SourceJob({c.column}, "table", "t"));
        EXPECT_TRUE(Holds(words, c.words) && Holds(words, "table \"t\"") &&
                    Holds(words, "row id 42, column \"v\""))
            << words;
    }
}

TEST_F(SqliteSourceTest, JobsThatCanNotRunSayWhy)
{
    ASSERT_EQ(Sql("CREATE TABLE t(a, b TEXT); INSERT INTO t VALUES (1, 'x'), (2, 'y');"
                  "CREATE TABLE w(a PRIMARY KEY) WITHOUT ROWID; CREATE VIEW v AS SELECT a FROM t"),
              "");
    // clang-format off
    const struct {
        const char *key, *from, *split, *column, *words;
        int parts;
    } kCases[] = {
        {"table", "nix",  nullptr, "a BIGINT", "there is no table \"nix\"", 1},
        {"table", "t",    nullptr, "c BIGINT", "has no column \"c\"; it has a, b", 1},
        {"table", "w",    nullptr, "a BIGINT", "has no row id to split it by", 2},
        {"table", "v",    nullptr, "a BIGINT", "has no row id to split it by", 2},
        {"table", "t",    "b",     "a BIGINT", "can't be split by \"b\": it holds values that are no whole", 2},
        {"table", "t",    "c",     "a BIGINT", "has no column \"c\" to split it by", 2},
        {"query", "SELECT a FROM t; DELETE FROM t", nullptr, "a BIGINT", "must be one statement", 1},
        {"query", "DELETE FROM t", nullptr, "a BIGINT", "must be one statement", 1},
        {"query", "PRAGMA user_version = 3", nullptr, "a BIGINT", "must be one statement", 1},
        {"query", "SELECT a, a FROM t", nullptr, "a BIGINT", "has several columns \"a\"", 1},
        {"query", "SELEKT", nullptr, "a BIGINT", "can't be run: near", 1},
    };
    // clang-format on
    for (const auto &c : kCases) {
        Job job = SourceJob({c.column}, c.key, c.from, c.split);
        job.source_instances = c.parts;
        EXPECT_TRUE(Holds(SourceErrorOf(job), c.words)) << c.from;
    }
    Job job = SourceJob({"a BIGINT"}, "query", "SELECT a FROM t");
    job.source_instances = 2;
    job.source.push_back({"table", std::string("t"), {}});
    std::vector<Complaint> found;
    FindSourceKind("sqlite")->check_settings(job, found);
    EXPECT_EQ(found.size(), 2u);
}

TEST_F(SqliteSourceTest, PartsThatSawDifferentStatesDoNotRead)
{
    for (const bool wal : {false, true}) {
        unlink(folder.File("t.db").c_str());
        ASSERT_EQ(Sql(std::string(wal ? "PRAGMA journal_mode = WAL;" : "") +
                      "CREATE TABLE t(a); INSERT INTO t VALUES (1), (2), (3)"),
                  "");
        const Job job = SourceJob({"a BIGINT"}, "table", "t");
        const auto first = MakeSource(job), second = MakeSource(job);
        KeepingOutlet rows(job.columns);
        first->Open(1, 2);
        // Without WAL nobody gets to write while a part is open.
        EXPECT_EQ(Sql("INSERT INTO t VALUES (4)").empty(), wal);
        second->Open(2, 2);
        if (wal)
            EXPECT_THROW(first->Read(rows), SourceError);
        else
            EXPECT_NO_THROW(first->Read(rows));
        EXPECT_NO_THROW(second->Read(rows));
        // What is written once the parts read is none of theirs.
        Sql("INSERT INTO t VALUES (5)");
        EXPECT_NO_THROW(second->Read(rows));
    }
}

// Some 400 KB of rows in each relation, whose stored order is not that of an index on all that is read.
constexpr const char *kManyRows =
    "CREATE TABLE t(v, k, x REAL); CREATE INDEX narrow ON t(v, x);"
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1900) "
    "INSERT INTO t(rowid, v, k, x) SELECT (i - 900) * iif(i > 1000, 7, 1), "
    "printf('%04d%.*c', i * 7919 % 1900, i % 400, 'x'), iif(i % 9, i, NULL), i / 3.0 FROM n;"
    "CREATE TABLE w(v, k, x REAL, PRIMARY KEY(x, v)) WITHOUT ROWID; INSERT INTO w SELECT * FROM t;"
    "CREATE VIEW s AS SELECT * FROM t ORDER BY v DESC;";

TEST_F(SqliteSourceTest, RowsGoOnWhereTheyStood)
{
    ASSERT_EQ(Sql(kManyRows), "");
    const struct {
        const char *key, *from, *split;
        std::vector<int> parts;
    } kCases[] = {{"table", "t", nullptr, {1, 3}},
                  {"table", "t", "k", {2}},
                  {"table", "w", nullptr, {1}},
                  {"table", "s", nullptr, {1}},
                  {"query", "SELECT v, k, x FROM t WHERE k % 2 = 0", "k", {1, 2}}};
    for (const auto &c : kCases) {
        for (const int parts : c.parts) {
            Job job = SourceJob({"v VARCHAR(900)", "x FLOAT"}, c.key, c.from, c.split);
            job.source_instances = parts;
            const auto rows = RowsWithStops(job, parts);
            for (int part = 1; part <= parts; ++part)
                EXPECT_EQ(rows[static_cast<size_t>(part - 1)], RowsOf(job, part, parts).kept)
                    << c.from << ", part " << part << " of " << parts;
        }
    }
}

TEST_F(SqliteSourceTest, ChangedDatabasesAreNotReadOn)
{
    const struct {
        const char *about, *mode, *from, *change;
        bool refused;
    } kCases[] = {
        {"nothing", "delete", "t", "SELECT 1", false},
        {"nothing, by count", "delete", "s", "SELECT 1", false},
        {"nothing in WAL mode", "wal", "t", "SELECT 1", false},
        {"a value", "delete", "t", "UPDATE t SET v = 'y' WHERE rowid = 42", true},
        {"a value in WAL mode", "wal", "t", "UPDATE t SET v = 'y' WHERE rowid = 42", true},
        {"one back and forth", "wal", "t", "UPDATE t SET k = 1; UPDATE t SET k = 2", true},
        {"another table", "wal", "s", "CREATE TABLE new(a); DROP TABLE new", true},
    };
    for (const auto &c : kCases) {
        unlink(folder.File("t.db").c_str());
        ASSERT_EQ(Sql(std::string("PRAGMA journal_mode = ") + c.mode + ";" + kManyRows), "");
        Job job = SourceJob({"v VARCHAR(900)"}, "table", c.from);
        MakeSource(job)->Check();
        auto source = MakeSource(job);
        source->Open(1, 1);
        KeepingOutlet rows(job.columns);
        ASSERT_TRUE(source->Read(rows));
        const std::string place = *source->Position();
        source.reset();
        EXPECT_EQ(Sql(c.change), "");
        EXPECT_EQ(bool(Holds(RefusalOf(job, place), "was written since")), c.refused)
            << c.about << ": " << RefusalOf(job, place);
    }
}

TEST_F(SqliteSourceTest, PlacesAreChecked)
{
    ASSERT_EQ(Sql(kManyRows), "");
    Job job = SourceJob({"v VARCHAR(900)"}, "table", "t"), by_count = job;
    by_count.source[1].value = std::string("s");
    Job dice = SourceJob({"v VARCHAR(30)"}, "query", "SELECT random() AS v");
    job.source_instances = 2;  // part 1 begins at -899
    const auto source = MakeSource(job);
    source->Open(1, 2);
    const std::string begin = *source->Position();
    const std::string state = begin.substr(0, begin.size() - std::string("begin").size());
    EXPECT_EQ(RefusalOf(job, begin, 2), "");
    EXPECT_EQ(RefusalOf(job, state + "behind -899", 2), "");
    EXPECT_EQ(RefusalOf(by_count, state + "rows 0 0"), "");
    const struct {
        const Job &job;
        std::string place;
    } kCases[] = {{job, state + "behind 7000"},  // of part 2
                  {job, state + "behind -900"},
                  {job, state + "behind 99999999999999999999"},
                  {job, state + "behind -899 1"},
                  {job, state + "rows 0 0"},
                  {job, begin + " "},
                  {job, state},
                  {job, "begin"},
                  {job, ""},
                  {by_count, state + "rows 1 1"},
                  {by_count, state + "rows 18446744073709551615 0"},
                  {by_count, begin},
                  {dice, state + "rows 1 7"}};
    for (const auto &c : kCases)
        EXPECT_NE(RefusalOf(c.job, c.place, c.job.source_instances), "") << c.place;
}

TEST_F(SqliteSourceTest, ColumnsComeFromDeclaredTypesOrTheFirstRows)
{
    ASSERT_EQ(Sql("CREATE TABLE t(a INTEGER PRIMARY KEY, b VARCHAR(40), c DECIMAL(18,2), d TEXT, e "
                  "REAL, f "
                  "BLOB, g, h NUMERIC, i DATE, j NVARCHAR(10), k TIMESTAMP, l DOUBLE PRECISION, m "
                  "AS (a + 1));"
                  "INSERT INTO t(b, g) VALUES ('x', 1), ('y', 2.5)"),
              "");
    const auto columns = [](const Job &job, bool target = false) {
        std::string text;
        for (const Column &column : target ? FindTargetKind("sqlite")->columns(job)
                                           : FindSourceKind("sqlite")->columns(job))
            text += column.name + " " + TypeWords(column) + ", ";
        return text;
    };
    Job job = SourceJob({"a BIGINT"}, "table", "t");
    EXPECT_EQ(columns(job),
              "a BIGINT, b VARCHAR(40), c DECIMAL(18,2), d VARCHAR(4000), e FLOAT, f BLOB(64000), "
              "g FLOAT, h NUMBER, i INTDATE, j VARCHAR(40), k TIMESTAMP(6), l FLOAT, m BIGINT, ");
    EXPECT_EQ(
        columns(SourceJob({"a BIGINT"}, "query",
                          "SELECT a, c, a || b AS t, count(*) AS n, NULL AS z FROM t GROUP BY 1")),
        "a BIGINT, c DECIMAL(18,2), t VARCHAR(4000), n BIGINT, z VARCHAR(4000), ");
    // In text files only text has a place; delimited ones are written with most types.
    job.consumer.attributes = {{"Format", std::string("Delimited"), {}}};
    EXPECT_TRUE(Holds(columns(job), "i INTDATE, j VARCHAR(40), k VARCHAR(26)"));
    Job load = job;
    load.source_type.clear();
    load.target_type = "sqlite";
    load.target = job.source;
    load.producer.attributes = job.consumer.attributes;
    EXPECT_EQ(columns(load, true),
              "a VARCHAR(20), b VARCHAR(40), c VARCHAR(21), d VARCHAR(4000), e VARCHAR(24), f "
              "VARCHAR(64000), g VARCHAR(24), h VARCHAR(48), i VARCHAR(10), j VARCHAR(40), k "
              "VARCHAR(26), l VARCHAR(24), ");
}
