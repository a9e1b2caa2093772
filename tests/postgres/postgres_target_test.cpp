// tests/postgres/postgres_target_test.cpp - rows in a table of a real server, whenever the loading process dies.
//
// tests/support/postgres_server.py starts the server; its connection string is in FENWIRE_TEST_POSTGRES.

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

#include "host/postgres/postgres_connection.h"
#include "tests/host/targets/target_rows.h"
#include "tests/host/values/typed_columns.h"
#include "tests/support/holds.h"

using namespace fenwire;

// ---- Death amidst any statement ---------------------------------------------------------------------

namespace {

int g_statements = -1;  // until death; below 0: no death

}  // namespace

extern "C" PGresult *__real_PQexecParams(PGconn *, const char *, int, const Oid *,
                                         const char *const *, const int *, const int *, int);
extern "C" PGresult *__wrap_PQexecParams(PGconn *connection, const char *sql, int count,
                                         const Oid *types, const char *const *values,
                                         const int *lengths, const int *formats, int format)
{
    // One that only looks, or locks, leaves the database as the one before it did.
    const bool counts = strncmp(sql, "SELECT", 6) != 0;
    if (counts && g_statements == 0) {  // sent, and the server goes on alone
        PQsendQueryParams(connection, sql, count, types, values, lengths, formats, format);
        PQflush(connection);
        _exit(9);
    }
    g_statements -= counts && g_statements > 0 ? 1 : 0;
    return __real_PQexecParams(connection, sql, count, types, values, lengths, formats, format);
}

namespace {

std::string Server()
{
    const char *connection = getenv("FENWIRE_TEST_POSTGRES");
    return connection != nullptr ? connection : "";
}

Setting Text(const char *key, const std::string &value) { return {key, value, {5, 9}}; }

struct PostgresTargetTest : testing::Test {
    TempDirectory folder;
    PostgresConnection shell{Server(), PostgresConnection::Access::Write};

    PostgresTargetTest()
    {
        shell.Run("DROP SCHEMA public CASCADE");
        shell.Run("CREATE SCHEMA public");
    }

    Job MakeJob(const std::vector<std::string> &columns, std::vector<Setting> more = {})
    {
        more.push_back(Text("connection", Server()));
        more.push_back(Text("table", "t"));
        Job job = TargetJob(folder, "postgres", {}, more);
        for (const std::string &column : columns)
            job.columns.push_back(TypedColumn(column));
        job.name = "load";
        job.file = folder.File("load.toml");
        job.producer.instances = 2;
        return job;
    }

    // Rows with "|" and "\n", NULL as NULL; or what the server says.
    std::string Sql(const std::string &sql)
    {
        const PostgresResult result = shell.Try(sql);
        std::string text;
        for (int row = 0; row < result.rows(); ++row) {
            for (int i = 0; i < PQnfields(result.get()); ++i)
                text += (i > 0 ? "|" : "") + (result.IsNull(row, i) ? "NULL" : result.Text(row, i));
            text += '\n';
        }
        return text.empty() ? PQresultErrorMessage(result.get()) : text;
    }

    static void Load(const Job &job, const std::vector<Row> &rows, int instance = 1)
    {
        const auto target = MakeTarget(job);
        target->Check();
        target->Open(Target::Start::Anew);
        target->Put(instance, Rows(rows).Batch());
        target->Commit(nullptr);
    }
};

}  // namespace

// ---- Values -----------------------------------------------------------------------------------------

TEST_F(PostgresTargetTest, ValuesAreTheSameInBinaryAndAsText)
{
    // clang-format off
    const struct {
        const char *type, *text, *stored;
    } kCases[] = {
        {"BYTEINT", "-7", "-7"}, {"BIGINT", "-9223372036854775808", "-9223372036854775808"},
        {"BOOLEAN", "1", "true"}, {"FLOAT", "1e+300", "1e+300"}, {"FLOAT", "NaN", "NaN"},
        {"DECIMAL(5,2)", "-1.50", "-1.50"}, {"DECIMAL(38,0)", "99999999999999999999999999999999999999", "99999999999999999999999999999999999999"},
        {"DECIMAL(18,9)", "0.000000001", "0.000000001"}, {"DECIMAL(9,4)", "10000.0001", "10000.0001"},
        {"NUMBER", "0", "0"}, {"NUMBER", "12345.678", "12345.678"}, {"NUMBER", "1e41", "100000000000000000000000000000000000000000"},
        {"NUMBER", "-15e-11", "-0.00000000015"}, {"NUMBER", "120000", "120000"},
        {"INTDATE", "1899-12-31", "1899-12-31"}, {"INTDATE", "2024-02-29", "2024-02-29"},
        {"TIME(3)", "23:59:59.250", "23:59:59.25"}, {"TIME(0) WITH TIME ZONE", "04:05:06-03:30", "04:05:06-03:30"},
        {"TIMESTAMP(6)", "1999-12-31 23:59:59.999999", "1999-12-31 23:59:59.999999"},
        {"TIMESTAMP(0) WITH TIME ZONE", "2024-01-31 00:30:00+01:00", "2024-01-30 23:30:00+00"},
        {"INTERVAL YEAR TO MONTH", "-1-06", "-1 years -6 mons"}, {"INTERVAL DAY TO SECOND(2)", "3 04:05:06.70", "3 days 04:05:06.7"},
        {"INTERVAL MINUTE", "-90", "-01:30:00"}, {"PERIOD(INTDATE)", "('2024-01-01', '2024-01-31')", "('2024-01-01', '2024-01-31')"},
        {"VARCHAR(20)", "tab\there\\N", "tab\there\\N"}, {"VARCHAR(20)", "two\nlines\r", "two\nlines\r"},
        {"VARCHAR(20)", "", ""}, {"VARCHAR(20)", "\\.", "\\."}, {"CHAR(3)", "ab", "ab"},
        {"VARBYTE(9)", "00FF5C0A", "\\x00ff5c0a"}, {"VARGRAPHIC(9)", "a\xC3\xA4\\", "a\xC3\xA4\\"},
        {"JSON(30)", "{\"a\": 1}", "{\"a\": 1}"},
    };
    // clang-format on
    Sql("SET TimeZone = 'UTC'");
    for (const bool binary : {true, false}) {
        // Of text in a column of numbers only the server knows the value.
        std::vector<std::string> columns = {"n VARCHAR(5)"};
        Row values = {"12"};
        for (const auto &row : kCases) {
            columns.push_back("\"an \"\"odd\"\" " + std::to_string(values.size()) + "\" " +
                              row.type);
            values.emplace_back(BinaryOf(row.type, row.text));
        }
        Job job = MakeJob(columns);
        job.columns[0].sql_type = binary ? "text" : "smallint";
        Sql("DROP TABLE IF EXISTS t");
        Load(job, {values, Row(values.size())});
        for (size_t i = 0; i < std::size(kCases); ++i) {
            const std::string name = "\"an \"\"odd\"\" " + std::to_string(i + 1) + "\"";
            EXPECT_EQ(Sql("SELECT " + name + "::text FROM t ORDER BY n"),
                      std::string(kCases[i].stored) + "\nNULL\n")
                << kCases[i].type << (binary ? " binary" : " as text");
        }
    }
}

TEST_F(PostgresTargetTest, TextArrivesWhereverItsOddCharactersStand)
{
    std::vector<Row> rows;
    std::string wanted;
    for (const char *odd :
         {"\t", "\n", "\r", "\\", "\x01", "\x1f", "\x7f", "\xC3\xA4", " ", "[", "]"}) {
        for (const size_t length : {1, 5, 15, 16, 17, 40}) {
            for (size_t at = 0; at < length; ++at) {
                const std::string text = std::string(length, 'x').replace(at, 1, odd);
                rows.push_back({std::to_string(rows.size()), text});
                wanted += text + '|';
            }
        }
    }
    Load(MakeJob({"n VARCHAR(9)", "a VARCHAR(60)"}), rows);
    EXPECT_EQ(Sql("SELECT string_agg(a, '|' ORDER BY n::int) || '|' FROM t"), wanted + '\n');
}

TEST_F(PostgresTargetTest, Utf16ArrivesAsText)
{
    Job job = MakeJob({"v VARCHAR(20)"});
    job.charset = "UTF16";
    Load(job, {{std::string("a\0\xE4\0=\xD8\x00\xDE", 8)}, {std::string("\n\0", 2)}});
    EXPECT_EQ(Sql("SELECT v FROM t"), "a\xC3\xA4\xF0\x9F\x98\x80\n\n\n");
}

TEST_F(PostgresTargetTest, ARefusedRowIsNamed)
{
    Sql("CREATE TABLE t (id int PRIMARY KEY, v varchar(5) NOT NULL CHECK (v <> 'bad'), "
        "total int GENERATED ALWAYS AS (id) STORED)");
    const std::vector<Row> good = {{"1", "a"}, {"2", "b"}};
    const struct {
        const char *about;
        Row row;
        const char *words;
    } kCases[] = {
        {"no number", {"x", "c"}, "invalid input syntax for type integer: \"x\""},
        {"key twice", {"2", "c"}, "(id)=(2) already exists"},
        {"NULL", {"3", std::nullopt}, "takes no NULL"},
        {"too long", {"3", "longer"}, "the value is longer than the column"},
        {"rule", {"3", "bad"}, "violates check constraint"},
        {"NUL", {"3", std::string("a\0b", 3)}, "column \"v\" of type VARCHAR(9) has the value"},
        {"no UTF-8", {"3", "\xE4n"}, "check that charset in [job] is that of the files"},
    };
    const Job job = MakeJob({"id VARCHAR(9)", "V VARCHAR(9)"}, {});
    for (const auto &row : kCases) {
        std::vector<Row> rows = good;
        rows.push_back(row.row);
        rows.push_back({"9", "z"});
        const std::string words = ErrorOf([&] {
            Load(MakeJob({"id VARCHAR(9)", "v VARCHAR(9)"}), rows, 2);
        });
        EXPECT_TRUE(Holds(words, "row 3 of instance 2")) << row.about;
        EXPECT_TRUE(Holds(words, row.words)) << row.about;
    }
    EXPECT_EQ(Sql("SELECT count(*) FROM t"), "0\n");
    // What does not fit is told before the first row; what a trigger leaves out is counted.
    EXPECT_TRUE(Holds(ErrorOf([&] {
                          Load(MakeJob({"id VARCHAR(9)", "w VARCHAR(9)", "total VARCHAR(9)"}), {});
                      }),
                      "column \"w\" is not in the table; column \"total\" is computed by the "
                      "table and takes no "
                      "values; column \"v\" of the table needs a value"));
}

TEST_F(PostgresTargetTest, AFaultIsHeardBeforeTheLastRow)
{
    Sql("CREATE TABLE t (id int)");
    const auto target = MakeTarget(MakeJob({"id VARCHAR(9)"}));
    target->Open(Target::Start::Anew);
    target->Put(1, Rows({{"none"}}).Batch());
    const Rows more(std::vector<Row>(10'000, {"1"}));
    int batches = 0;
    const std::string words = ErrorOf([&] {
        for (; batches < 2000; ++batches)
            target->Put(1, more.Batch());
    });
    EXPECT_TRUE(Holds(words, "row 1 of instance 1"));
    EXPECT_LT(batches, 1000);
}

// Two connections and one key: the server would wait for ever, since each waits for the other's commit.
TEST_F(PostgresTargetTest, AKeyThatComesTwiceByWayOfTwoConnectionsIsTold)
{
    Sql("CREATE TABLE t (id int PRIMARY KEY)");
    const auto target = MakeTarget(MakeJob({"id VARCHAR(9)"}));
    target->Open(Target::Start::Anew);
    target->Put(1, Rows({{"1"}}).Batch());
    target->Put(2, Rows({{"1"}}).Batch());
    const std::string words = ErrorOf([&] { target->Settle(); });
    EXPECT_TRUE(Holds(words, "this key comes twice in the job"));
}

TEST_F(PostgresTargetTest, ABrokenConnectionIsTold)
{
    const auto target = MakeTarget(MakeJob({"id VARCHAR(9)"}));
    target->Open(Target::Start::Anew);
    target->Put(1, Rows({{"1"}}).Batch());
    Sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND "
        "application_name = 'fenwire'");
    const std::string words = ErrorOf([&] {
        for (int i = 0; i < 100; ++i) {
            usleep(10'000);
            target->Put(1, Rows({{"1"}}).Batch());
        }
    });
    EXPECT_TRUE(Holds(words, "terminating connection"));
    target->Abort();
    EXPECT_EQ(Sql("SELECT to_regclass('t')"), "t\n");  // nobody was left to take it away
}

TEST_F(PostgresTargetTest, WhoLooksAtAJobAtWorkWaitsForNobody)
{
    const Job job = MakeJob({"id VARCHAR(9)"});
    const TargetKind &kind = *FindTargetKind("postgres");
    const auto target = MakeTarget(job);
    target->Open(Target::Start::Anew);
    const StoredGeneration generation = {"run-1", job.name, job.file.string(), 1, "state"};
    target->Commit(&generation);
    target->GoOn();
    const auto stored = kind.find(job, {}, true);
    EXPECT_TRUE(stored && stored->number == 1);
    target->Abort();
    kind.forget(job, {});
}

// ---- Exactly once -----------------------------------------------------------------------------------

namespace {

// What is behind the last generation, in a process that may die.
int RunChild(const Job &job, uint64_t rounds, int statements)
{
    const pid_t child = fork();
    if (child != 0) {
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    }
    const std::string words = ErrorOf([&] {
        const auto stored = FindTargetKind("postgres")->find(job, {}, false);
        const auto target = MakeTarget(job);
        target->Open(stored ? Target::Start::Again : Target::Start::Anew);
        g_statements = statements;
        for (uint64_t round = stored ? stored->number + 1 : 1; round <= rounds; ++round) {
            for (int instance = 1; instance <= 2; ++instance)
                target->Put(instance, Rows({{std::to_string(10 * round + instance)}}).Batch());
            const StoredGeneration generation = {"run-1", job.name, job.file.string(), round,
                                                 std::string("\0\\x", 3)};
            target->Commit(&generation);
            target->GoOn();
        }
    });
    if (!words.empty())
        fprintf(stderr, "%s\n", words.c_str());
    _exit(words.empty() ? 0 : 1);
}

}  // namespace

TEST_F(PostgresTargetTest, NothingIsLostOrDoubledWhereverTheProcessDies)
{
    const struct {
        const char *about;
        int64_t connections;
        const char *key;
        uint64_t rounds;
        const char *rows;
    } kCases[] = {
        {"one connection", 1, "", 2, "11\n12\n21\n22\n"},
        // Emptied by DELETE beside the rows; its second round would be that of the next case.
        {"two", 2, "", 1, "11\n12\n"},
        {"two, and a key", 2, "PRIMARY KEY", 2, "11\n12\n21\n22\n"}};
    for (const auto &row : kCases) {
        const Job job = MakeJob({"id VARCHAR(9)"},
                                {{"connections", row.connections, {}}, {"replace", true, {}}});
        const TargetKind &kind = *FindTargetKind("postgres");
        Sql("DROP TABLE IF EXISTS t");
        Sql("CREATE TABLE t (id int " + std::string(row.key) + ")");
        bool died = true;
        for (int statements = 0; died; ++statements) {
            SCOPED_TRACE(row.about + (" " + std::to_string(statements)));
            Sql("TRUNCATE t");
            Sql("INSERT INTO t VALUES (11), (99)");
            died = RunChild(job, row.rounds, statements) == 9;
            ASSERT_EQ(RunChild(job, row.rounds, -1), 0);
            ASSERT_EQ(Sql("SELECT * FROM t ORDER BY 1"), row.rows);
            const auto stored = kind.find(job, "run-1", false);
            ASSERT_TRUE(stored && stored->number == row.rounds &&
                        stored->bytes == std::string("\0\\x", 3));
            kind.forget(job, "run-1");
            ASSERT_EQ(Sql("SELECT (SELECT count(*) FROM pg_prepared_xacts), "
                          "to_regclass('fenwire_checkpoints')"),
                      "0|NULL\n");
        }
    }
}
