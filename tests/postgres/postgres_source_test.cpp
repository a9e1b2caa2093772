// tests/postgres/postgres_source_test.cpp - rows of a server: each once, as they are, or not at all.

#include <algorithm>
#include <gtest/gtest.h>

#include "host/postgres/postgres_connection.h"
#include "tests/host/sources/source_rows.h"
#include "tests/host/values/typed_columns.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

using Rows = std::vector<std::string>;

struct PostgresSourceTest : testing::Test {
    void SetUp() override
    {
        const char *given = std::getenv("FENWIRE_TEST_POSTGRES");
        ASSERT_NE(given, nullptr) << "run it beside a server: tests/support/postgres_server.py";
        server = given;
        connection.emplace(server, PostgresConnection::Access::Write);
        connection->Run("DROP SCHEMA IF EXISTS s CASCADE");
        connection->Run("CREATE SCHEMA s");
    }
    std::string Sql(const std::string &sql) { return connection->Value(sql); }

    // Some 600 KB: n counts, k has each value three times, v is of any length.
    void MakeTable(const std::string &name, const std::string &and_more = "")
    {
        Sql("CREATE TABLE s." + name + "(n INTEGER" + and_more +
            ", k BIGINT, v VARCHAR(900), f FLOAT8)");
        Sql("INSERT INTO s." + name +
            " SELECT i * 7919 % 3001, i * 7919 % 3001 / 3 - 500, repeat('x', i % 400), i / 3.0 "
            "FROM generate_series(1, 3000) i");
        Sql("DELETE FROM s." + name + " WHERE n BETWEEN 100 AND 900 OR n % 17 = 0");
    }
    Job SourceJob(const std::vector<std::string> &columns, const char *key, const std::string &from,
                  int parts = 1, const char *range = nullptr) const
    {
        Job job;
        job.columns = Columns(columns);
        job.source_type = "postgres";
        job.source_instances = parts;
        job.source = {{"connection", server, {}}, {key, from, {}}};
        if (range != nullptr)
            job.source.push_back({"key", std::string(range), {}});
        return job;
    }
    std::string server;
    std::optional<PostgresConnection> connection;
};

Rows Together(const std::vector<Rows> &parts)
{
    Rows all;
    for (const Rows &rows : parts)
        all.insert(all.end(), rows.begin(), rows.end());
    std::ranges::sort(all);
    return all;
}

}  // namespace

TEST_F(PostgresSourceTest, ValuesComeAsTheyAre)
{
    // clang-format off
    const struct {
        const char *sql, *column, *text;
    } kCases[] = {
        {"7::int2",                        "SMALLINT",      "7"},
        {"-8::int4",                       "BYTEINT",       "-8"},
        {"9223372036854775807",            "BIGINT",        "9223372036854775807"},
        {"12::int8",                       "VARCHAR(5)",    "12"},
        {"12::int8",                       "DECIMAL(5,2)",  "12.00"},
        {"true",                           "BOOLEAN",       "1"},
        {"false",                          "VARCHAR(5)",    "0"},
        {"0.1::float4",                    "FLOAT",         "0.1"},
        {"'-inf'::float8",                 "FLOAT",         "-inf"},
        {"1e-300::float8",                 "FLOAT",         "1e-300"},
        {"12345678901234567890.5::numeric", "NUMBER",       "12345678901234567890.5"},
        {"1.5::numeric(9,2)",              "DECIMAL(9,2)",  "1.50"},
        {"7::numeric",                     "INTEGER",       "7"},
        {"date '2024-02-29'",              "INTDATE",       "2024-02-29"},
        {"time '23:59:59.25'",             "TIME(2)",       "23:59:59.25"},
        {"timetz '01:02:03-05:30'",        "TIME(0) WITH TIME ZONE", "01:02:03-05:30"},
        {"timestamp '2024-01-31 12:00:00.5'", "TIMESTAMP(6)", "2024-01-31 12:00:00.500000"},
        {"timestamptz '2024-01-31 12:00:00Z' ", "TIMESTAMP(0) WITH TIME ZONE", "2024-01-31 12:00:00+00:00"},
        {"interval '3 days 04:05:06.7'",   "INTERVAL DAY TO SECOND(1)", "3 04:05:06.7"},
        {"interval '-1 year -2 months'",   "INTERVAL YEAR TO MONTH", "-1-02"},
        {"'a\"b,\\'::text",                "VARCHAR(9)",    "a\"b,\\"},
        {"''::text",                       "VARCHAR(9)",    ""},
        {"'ab'::char(4)",                  "CHAR(5)",       "ab   "},
        {"'Zoë'::text",                    "VARGRAPHIC(9)", "Zoë"},
        {"'{\"a\": 1}'::jsonb",            "JSON(99)",      "{\"a\": 1}"},
        {"'\\x00ff'::bytea",               "VARBYTE(4)",    "00FF"},
        {"'\\x00ff'::bytea",               "VARCHAR(4)",    "00FF"},
        {"ARRAY[1,2]",                     "VARCHAR(9)",    "{1,2}"},
    };
    // clang-format on
    Sql("SET TIME ZONE 'UTC'");
    for (const auto &c : kCases) {
        const std::string query =
            std::string("SELECT v FROM (VALUES (1, ") + c.sql + "), (2, NULL)) t(i, v) ORDER BY i";
        const KeepingOutlet rows =
            RowsOf(SourceJob({std::string("v ") + c.column}, "query", query));
        ASSERT_EQ(rows.rows(), 2u) << c.sql;
        EXPECT_EQ(TextOf(c.column, rows.Values(0)[0].value_or("NULL")), c.text) << c.sql;
        EXPECT_FALSE(rows.Values(1)[0]) << c.sql;
    }
}

TEST_F(PostgresSourceTest, RowsGoOnWhereTheyStood)
{
    MakeTable("plain");
    MakeTable("keyed", " PRIMARY KEY");
    Sql("CREATE VIEW s.v AS SELECT * FROM s.plain ORDER BY v, n");
    Sql("CREATE TABLE s.empty(n INTEGER, v VARCHAR(9), f FLOAT8)");
    const struct {
        const char *key, *from, *range;
        std::vector<int> parts;
    } kCases[] = {{"table", "s.plain", nullptr, {1, 3}},
                  {"table", "s.plain", "K", {1, 3}},  // of which three rows have each value
                  {"table", "s.keyed", nullptr, {1, 4}},
                  {"table", "s.keyed", "ctid", {2}},
                  {"table", "s.v", nullptr, {1}},
                  {"table", "s.empty", nullptr, {2}},
                  {"query", "SELECT f, v, n FROM s.plain WHERE n > 7; ", nullptr, {1}},
                  {"query", "SELECT f, v, n FROM s.plain -- all", "n", {1, 2}}};
    for (const auto &c : kCases) {
        const std::vector<std::string> columns = {"v VARCHAR(900)", "f FLOAT", "n INTEGER"};
        Rows all = RowsOf(SourceJob(columns, c.key, c.from)).kept;
        std::ranges::sort(all);
        for (const int parts : c.parts) {
            const Job job = SourceJob(columns, c.key, c.from, parts, c.range);
            const auto rows = RowsWithStops(job, parts);
            EXPECT_EQ(Together(rows), all) << c.from << " in " << parts;
            for (const Rows &part : rows)
                EXPECT_GE(part.size(), all.size() / static_cast<size_t>(parts) / 10)
                    << c.from << " in " << parts;
        }
    }
}

TEST_F(PostgresSourceTest, PartsSeeOneState)
{
    MakeTable("plain");
    const Rows all = Together({RowsOf(SourceJob({"n INTEGER"}, "table", "s.plain")).kept});
    for (const char *range : {"ctid", "n"}) {
        const Job job = SourceJob({"n INTEGER"}, "table", "s.plain", 2, range);
        auto first = MakeSource(job), second = MakeSource(job);
        KeepingOutlet rows(job.columns);
        first->Open(1, 2);
        Sql("UPDATE s.plain SET n = n + 10000");
        Sql("INSERT INTO s.plain SELECT * FROM s.plain");
        second->Open(2, 2);
        while (first->Read(rows) || second->Read(rows)) {
        }
        first.reset();
        second.reset();
        EXPECT_EQ(Together({rows.kept}), all) << range;
        Sql("DROP TABLE s.plain");
        MakeTable("plain");
    }
}

TEST_F(PostgresSourceTest, WhatWasChangedIsReadOnOrRefused)
{
    // clang-format off
    const struct {
        const char *about, *range, *change, *words;  // empty: it goes on
    } kCases[] = {
        {"nothing",                 "ctid", "SELECT 1", ""},
        {"another table",           "ctid", "CREATE TABLE s.other(a INT)", ""},
        {"a delete",                "ctid", "DELETE FROM s.plain WHERE n = 2500", ""},
        {"a row that may move",     "ctid", "UPDATE s.plain SET v = 'y' WHERE n = 2500", "added or changed"},
        {"a row more",              "ctid", "INSERT INTO s.plain VALUES (1, 1, 'x', 1)", "added or changed"},
        {"all rows moved",          "ctid", "VACUUM FULL s.plain", "is not the one"},
        {"another of that name",    "n",    "ALTER TABLE s.plain RENAME TO old; CREATE TABLE s.plain (LIKE s.old)", "is not the one"},
        {"values",                  "n",    "UPDATE s.plain SET v = 'y'", ""},
        {"rows behind the place",   nullptr, "DELETE FROM s.plain WHERE n = 3000", ""},
        {"rows before the place",   nullptr, "DELETE FROM s.plain WHERE n = 1", "are not those that were read"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        Sql("DROP TABLE IF EXISTS s.plain, s.old");
        MakeTable("plain");
        const Job job = c.range != nullptr ? SourceJob({"n INTEGER", "v VARCHAR(900)"}, "table",
                                                       "s.plain", 1, c.range)
                                           : SourceJob({"n INTEGER", "v VARCHAR(900)"}, "query",
                                                       "SELECT * FROM s.plain ORDER BY n");
        auto source = MakeSource(job);
        source->Open(1, 1);
        KeepingOutlet rows(job.columns);
        ASSERT_TRUE(source->Read(rows));
        const std::string place = *source->Position();
        source.reset();
        for (std::string_view rest = c.change; !rest.empty();) {
            const size_t end = std::min(rest.find(';'), rest.size());
            Sql(std::string(rest.substr(0, end)));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        const std::string refusal = RefusalOf(job, place);
        EXPECT_TRUE(*c.words == '\0' ? refusal.empty() : Holds(refusal, c.words))
            << c.about << ": " << refusal;
    }
}

TEST_F(PostgresSourceTest, PlacesAreChecked)
{
    MakeTable("plain");
    const auto begin_of = [&](const Job &job) {
        const auto source = MakeSource(job);
        source->Open(1, job.source_instances);
        return *source->Position();
    };
    const Job by_key = SourceJob({"n INTEGER"}, "table", "s.plain", 2, "n"),
              by_block = SourceJob({"n INTEGER"}, "table", "s.plain", 2),
              as_is = SourceJob({"n INTEGER"}, "query", "SELECT n FROM s.plain");
    const std::string key = begin_of(by_key), block = begin_of(by_block), rows = begin_of(as_is);
    const std::string server_of_key = key.substr(0, key.find(" key"));
    const std::string server_of_block = block.substr(0, block.find(" blocks"));
    EXPECT_EQ(RefusalOf(by_key, key, 2), "");
    EXPECT_EQ(RefusalOf(by_block, block, 2), "");
    EXPECT_EQ(RefusalOf(as_is, rows), "");
    const struct {
        const Job &job;
        std::string place;
    } kCases[] = {{by_key, server_of_key + " key 0 3000 behind 2000"},  // of part 2
                  {by_key, server_of_key + " key 3000 0 begin"},
                  {by_key, server_of_key + " key 0 3000 behind"},
                  {by_key, server_of_key + " key 0 3000 behind 1 1"},
                  {by_key, server_of_key + " key 0 99999999999999999999 begin"},
                  {by_key, server_of_key + " key 0 1);SELECT begin"},
                  {by_key, server_of_key + "1 key 0 3000 begin"},
                  {by_key, block},
                  {by_block, server_of_block + " blocks 4294967295 80 begin"},
                  {by_block, server_of_block + " blocks -1 80 begin"},
                  {by_block, server_of_block + " blocks 3 9223372036854775807 begin"},
                  {by_block, server_of_block + " blocks 3 80 behind -1"},
                  {by_block, key},
                  {as_is, rows.substr(0, rows.find("rows")) + "rows 5 1"},
                  {as_is, ""}};
    for (const auto &c : kCases)
        EXPECT_NE(RefusalOf(c.job, c.place, c.job.source_instances), "") << c.place;
}

TEST_F(PostgresSourceTest, JobsThatCanNotRunSayWhy)
{
    MakeTable("plain");
    Sql("CREATE VIEW s.v AS SELECT * FROM s.plain");
    Sql("CREATE TABLE s.gaps AS SELECT * FROM (VALUES (1, 'a'), (NULL, 'b')) t(n, v)");
    // clang-format off
    const struct {
        const char *key, *from, *range, *column;
        int parts;
        const char *words;
    } kCases[] = {
        {"table", "s.nix",   nullptr, "n INTEGER",  1, "there is no table \"s.nix\"; schema \"s\" has"},
        {"table", "s.plain.x", nullptr, "n INTEGER", 1, "is no name of a table"},
        {"table", "s.plain", nullptr, "m INTEGER",  1, "table \"s.plain\" has no column \"m\"; it has n, k, v, f"},
        {"table", "s.v",     nullptr, "n INTEGER",  2, "can't be shared by 2 instances"},
        {"table", "s.v",     "ctid",  "n INTEGER",  1, "has no blocks of its own"},
        {"table", "s.plain", "v",     "n INTEGER",  1, "it has the type character varying(900)"},
        {"table", "s.gaps",  "n",     "v VARCHAR(3)", 1, "it has NULLs"},
        {"query", "SELEKT",  nullptr, "n INTEGER",  1, "can't be run: syntax error"},
        {"query", "SELECT 1 AS n; DROP TABLE s.plain", nullptr, "n INTEGER", 1, "can't be run"},
        {"query", "DELETE FROM s.plain RETURNING n", nullptr, "n INTEGER", 1, "can't be run"},
        {"query", "SELECT 1 / (5 - i) AS n FROM generate_series(1, 9) i", nullptr, "n INTEGER", 1, "division by zero"},
        {"query", "SELECT 3000000000 AS n", nullptr, "n INTEGER", 1, "row 1 of instance 1, column \"n\": \"3000000000\" does not fit INTEGER"},
        {"table", "s.plain", "n",     "v VARCHAR(3)", 1, "it takes up to 3 bytes"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        const Job job = SourceJob({c.column}, c.key, c.from, c.parts, c.range);
        EXPECT_TRUE(Holds(SourceErrorOf(job), c.words)) << c.from;
    }
    Job job = SourceJob({"n INTEGER"}, "table", "s.plain");
    job.source[0].value = "host=/nowhere password=secret dbname=x";
    EXPECT_TRUE(Holds(SourceErrorOf(job), "no connection to PostgreSQL") &&
                !Holds(SourceErrorOf(job), "secret"))
        << SourceErrorOf(job);
}

TEST_F(PostgresSourceTest, AServerThatGoesAwayIsNamed)
{
    const Job job = SourceJob({"v VARCHAR(900)"}, "query",
                              "SELECT repeat('x', 900) AS v FROM generate_series(1, 100000)");
    const auto source = MakeSource(job);
    source->Open(1, 1);
    KeepingOutlet rows(job.columns);
    ASSERT_TRUE(source->Read(rows));
    ASSERT_EQ(
        Sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE query LIKE 'COPY%'"),
        "t");
    std::string words;
    try {
        while (source->Read(rows)) {
        }
    } catch (const SourceError &error) {
        words = error.what();
    }
    // The server's own farewell, where it came in time.
    EXPECT_TRUE(Holds(words, "the connection broke") || Holds(words, "terminating connection"))
        << words;
    EXPECT_TRUE(Holds(words, "database \"postgres\""));
    EXPECT_LT(rows.rows(), 100000u);
}

TEST_F(PostgresSourceTest, ColumnsComeFromTheServer)
{
    Sql("CREATE TABLE s.t(a INTEGER PRIMARY KEY, b VARCHAR(40), c NUMERIC(18,2), d TIMESTAMPTZ(3), "
        "e TEXT)");
    std::string text;
    for (const Column &column :
         FindSourceKind("postgres")->columns(SourceJob({"a INTEGER"}, "table", "s.t")))
        text += column.name + " " + TypeWords(column) + ", ";
    EXPECT_EQ(text, "a INTEGER, b VARCHAR(160), c DECIMAL(18,2), d TIMESTAMP(3) WITH TIME ZONE, e "
                    "VARCHAR(4000), ");
}
