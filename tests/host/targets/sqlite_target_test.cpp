// tests/host/targets/sqlite_target_test.cpp - rows in a table, none of them after a fault, and faults in words.

#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <random>
#include <sqlite3.h>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/targets/target_rows.h"
#include "tests/host/values/typed_columns.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

Setting Flag(const char *key, bool value) { return {key, value, {5, 9}}; }

// A second program's view of the database.
class Shell {
public:
    explicit Shell(const std::string &file) { sqlite3_open(file.c_str(), &database_); }
    ~Shell() { sqlite3_close(database_); }
    Shell(const Shell &) = delete;
    Shell &operator=(const Shell &) = delete;

    // Values with '|' between them, a '\n' behind each row; the error where there is one.
    std::string Run(const std::string &sql)
    {
        std::string text;
        const auto row = [](void *out, int columns, char **values, char **) {
            for (int i = 0; i < columns; ++i)
                *static_cast<std::string *>(out) +=
                    std::string(values[i] != nullptr ? values[i] : "NULL") +
                    (i + 1 < columns ? "|" : "\n");
            return 0;
        };
        if (sqlite3_exec(database_, sql.c_str(), row, &text, nullptr) != SQLITE_OK)
            text += sqlite3_errmsg(database_);
        return text;
    }

private:
    sqlite3 *database_ = nullptr;
};

struct SqliteTargetTest : testing::Test {
    TempDirectory folder;
    std::string file = folder.File("t.db");
    StoredGeneration stored;

    Job MakeJob(const std::vector<std::string> &columns, std::vector<Setting> more = {})
    {
        more.push_back({"file", std::string("t.db"), {}});
        more.push_back({"table", std::string("t"), {4, 9}});
        return TargetJob(folder, "sqlite", columns, more);
    }
    std::string Sql(const std::string &sql) { return Shell(file).Run(sql); }

    static TargetReport Load(const Job &job, const std::vector<Row> &rows)
    {
        const auto target = MakeTarget(job);
        target->Check();
        target->Open(Target::Start::Anew);
        target->Put(1, Rows(rows).Batch());
        return target->Commit(nullptr);
    }
    // The generation of run r1, until the next call.
    const StoredGeneration *Stored(const Job &job, uint64_t number)
    {
        Generation generation;
        generation.run = "r1";
        generation.number = number;
        stored = {"r1", job.name, job.file, number, EncodeGeneration(generation)};
        return &stored;
    }
    static int64_t Found(const Job &job)
    {
        const auto found = FindGeneration(job, {});
        return found ? static_cast<int64_t>(found->number) : -1;
    }
    static std::string LoadError(const Job &job, const std::vector<Row> &rows = {})
    {
        return ErrorOf([&] { Load(job, rows); });
    }
};

std::vector<Row> Numbered(int from, int to)
{
    std::vector<Row> rows;
    for (int i = from; i <= to; ++i)
        rows.push_back({std::to_string(i), "value " + std::to_string(i)});
    return rows;
}

}  // namespace

TEST_F(SqliteTargetTest, ValuesArriveAsTheyAre)
{
    const std::string zero("a\0b", 3);
    Job job = MakeJob({"id", "odd \"name\""});
    job.columns[0].sql_type = "INTEGER";
    const TargetReport report =
        Load(job, {{"12", "x"}, {std::nullopt, ""}, {"no number", zero}, {"7", "\xFF\xC3"}});
    EXPECT_EQ(report.rows, 4u);
    EXPECT_EQ(report.bytes, 3u + 0 + 12 + 3);
    EXPECT_EQ(
        Sql("SELECT typeof(id), id, typeof(\"odd \"\"name\"\"\"), hex(\"odd \"\"name\"\"\") "
            "FROM t"),
        "integer|12|text|78\nnull|NULL|text|\ntext|no number|text|610062\ninteger|7|text|FFC3\n");
}

TEST_F(SqliteTargetTest, EveryRowArrivesWhateverTheSizeOfBatches)
{
    // Around the numbers of rows that one insert takes.
    const auto target = MakeTarget(MakeJob({"id", "v"}));
    target->Open(Target::Start::Anew);
    int from = 1;
    for (const int count : {1, 7, 8, 9, 47, 48, 49, 57, 200}) {
        target->Put(1 + count % 3, Rows(Numbered(from, from + count - 1)).Batch());
        from += count;
    }
    EXPECT_EQ(target->Commit(nullptr).rows, static_cast<uint64_t>(from - 1));
    EXPECT_EQ(Sql("SELECT count(*), count(DISTINCT id), sum(v = 'value ' || id) FROM t"),
              "426|426|426\n");
}

TEST_F(SqliteTargetTest, WideRowsStayWithinALimitOfValues)
{
    std::vector<std::string> names;
    for (int i = 0; i < 1500; ++i)
        names.push_back("c" + std::to_string(i));
    Load(MakeJob(names), std::vector<Row>(50, Row(1500, "x")));
    EXPECT_EQ(Sql("SELECT count(*), min(c0 || c1499) FROM t"), "50|xx\n");
}

TEST_F(SqliteTargetTest, ExactNumbersStayExactOrAreRefused)
{
    // What a column of the given type makes of a value: the type of its value and its text.
    const std::string k38(38, '9');
    // clang-format off
    const struct {
        std::string column, declared, value, stored;
    } kCases[] = {
        {"DECIMAL(9,2)",  "",        "12.50",      "real|12.5"},
        {"DECIMAL(9,2)",  "",        "12.00",      "integer|12"},
        {"DECIMAL(18,0)", "",        "999999999999999999", "integer|999999999999999999"},
        {"DECIMAL(18,2)", "",        "1234567890123456.78", "text|1234567890123456.78"},
        {"DECIMAL(38,0)", "",        "-" + k38,    "text|-" + k38},
        {"NUMBER",        "",        "0.1",        "text|0.1"},
        {"DECIMAL(38,0)", "NUMERIC", "9007199254740993", "integer|9007199254740993"},
        {"DECIMAL(38,0)", "NUMERIC", k38,          "it would round|"},
        {"DECIMAL(38,0)", "REAL",    "9007199254740993", "it would round|"},
        {"DECIMAL(38,2)", "DECIMAL(38,2)", "12345678901234.56", "it would round|"},
        {"DECIMAL(38,2)", "BLOB",    "12345678901234.56", "text|12345678901234.56"},
        {"DECIMAL(38,2)", "TEXT",    "1.00",       "text|1.00"},
        {"BIGINT",        "REAL",    "9007199254740993", "it would round|"},
        {"FLOAT",         "TEXT",    "0.1234567890123456", "text|0.1234567890123456"},
        {"FLOAT",         "",        "NaN",        "text|NaN"},
        {"FLOAT",         "",        "-inf",       "real|-Inf"},
        {"JSON(20)",      "",        "007",        "text|007"},
        {"INTERVAL SECOND(2)", "",   "5.50",       "text|5.50"},
        {"INTDATE",       "",        "2024-02-29", "text|2024-02-29"},
        {"GRAPHIC(3)",    "",        "\u00e4 ",    "text|\u00e4  "},
    };
    // clang-format on
    for (const auto &c : kCases) {
        unlink(file.c_str());
        Job job = MakeJob({"v"});
        job.columns[0] = TypedColumn("v " + c.column);
        job.columns[0].sql_type = c.declared;
        const std::string error = LoadError(job, {{BinaryOf(c.column, c.value)}});
        if (c.stored.starts_with("it would"))
            EXPECT_TRUE(Holds(error, "column \"v\" of type " + c.column) && Holds(error, c.value) &&
                        Holds(error, "row 1 of instance 1"))
                << c.column << " " << c.declared << ": " << error;
        else
            EXPECT_EQ(error + Sql("SELECT typeof(v), v FROM t"), c.stored + "\n")
                << c.column << " " << c.declared;
    }
}

TEST_F(SqliteTargetTest, Utf16BecomesText)
{
    Job job = MakeJob({"v"});
    job.charset = "UTF16";
    Load(job, {{std::string("\xE4\x00x\x00", 4)}});
    EXPECT_EQ(Sql("SELECT v FROM t"), "\u00e4x\n");
    EXPECT_TRUE(Holds(LoadError(job, {{"abc"}}), "an odd number of bytes is no UTF-16"));
    job.charset = "KANJISJIS_0S";
    EXPECT_TRUE(Holds(LoadError(job), "ASCII, UTF8 and UTF16 can"));
}

TEST_F(SqliteTargetTest, TablesThatFitAreFilled)
{
    const struct {
        const char *about, *create;
    } cases[] = {
        {"other case, other order", "CREATE TABLE t(V, ID)"},
        {"nullable and default", "CREATE TABLE t(v, more, id, less NOT NULL DEFAULT 1)"},
        {"row number", "CREATE TABLE t(n INTEGER PRIMARY KEY NOT NULL, id, v)"},
        {"computed", "CREATE TABLE t(id, v, both AS (id || v))"},
        {"without rowid", "CREATE TABLE t(id PRIMARY KEY, v) WITHOUT ROWID"},
    };
    for (const auto &row : cases) {
        Sql(std::string("DROP TABLE IF EXISTS t; ") + row.create);
        EXPECT_EQ(LoadError(MakeJob({"id", "v"}, {Flag("create", false)}), Numbered(1, 9)), "")
            << row.about;
        EXPECT_EQ(Sql("SELECT count(*), max(v) FROM t"), "9|value 9\n") << row.about;
    }
}

TEST_F(SqliteTargetTest, TablesThatDoNotFitAreComparedInWords)
{
    const struct {
        const char *create, *what;
    } cases[] = {
        {"CREATE TABLE t(id, w)",
         "column \"v\" is not in the table. The table has id, w; the job has id, v"},
        {"CREATE TABLE t(id, v, w NOT NULL)", "column \"w\" of the table needs a value"},
        {"CREATE TABLE t(w INTEGER PRIMARY KEY, id, v) WITHOUT ROWID",
         "column \"w\" of the table needs"},
        {"CREATE TABLE t(id, v AS (id))", "column \"v\" is computed"},
        {"CREATE VIEW t AS SELECT 1 AS id, 2 AS v", "\"t\" is a view"},
        {"CREATE TABLE u(id, v)", "there is no table \"t\"; the database has u; create = true"},
    };
    for (const auto &row : cases) {
        unlink(file.c_str());
        Sql(row.create);
        const auto target = MakeTarget(MakeJob({"id", "v"}, {Flag("create", false)}));
        const std::string words = ErrorOf([&] { target->Check(); });
        EXPECT_TRUE(Holds(words, row.what));
        EXPECT_EQ(ErrorOf([&] { target->Open(Target::Start::Anew); }), words);
    }
}

TEST_F(SqliteTargetTest, RefusedRowsAreNamed)
{
    const struct {
        const char *create, *what;
        Row bad;
    } cases[] = {
        {"id UNIQUE, v",
         "row 90 of instance 1 (id \"5\", v \"again\"): UNIQUE constraint failed: t.id",
         {"5", "again"}},
        {"id UNIQUE ON CONFLICT FAIL, v", "row 90 of instance 1 (id \"5\"", {"5", "again"}},
        {"id UNIQUE ON CONFLICT ROLLBACK, v", "one of the rows ", {"5", "again"}},
        {"id INTEGER PRIMARY KEY, v", "takes whole numbers only", {"x", ""}},
        {"id, v NOT NULL",
         "(id \"x\", v NULL): NOT NULL constraint failed: t.v",
         {"x", std::nullopt}},
        {"id CHECK (length(id) < 9), v",
         "(id \"a\\x1b[2Jaaaaaaaaaaaaaaaaaaaaaaaaa\"..., v \"\")",
         {"a\x1b[2J" + std::string(99, 'a'), ""}},
    };
    for (const auto &row : cases) {
        Sql(std::string("DROP TABLE IF EXISTS t; CREATE TABLE t(") + row.create + ")");
        std::vector<Row> rows = Numbered(1, 120);
        rows[89] = row.bad;
        const std::string words = LoadError(MakeJob({"id", "v"}), rows);
        EXPECT_TRUE(Holds(words, row.what));
        EXPECT_EQ(Sql("SELECT count(*) FROM t"), "0\n");
    }
}

TEST_F(SqliteTargetTest, AbortLeavesWhatWasThere)
{
    // Enough to overflow the page cache, so that rows are in the file before the end.
    const std::vector<Row> rows(4000, Row{std::string(9000, 'x'), "v"});
    for (const bool there : {false, true}) {
        if (there)
            Sql("CREATE TABLE t(id, v); INSERT INTO t VALUES (1, 'old')");
        const std::string before = folder.Read("t.db");
        const auto target = MakeTarget(MakeJob({"id", "v"}, {Flag("replace", true)}));
        target->Open(Target::Start::Anew);
        target->Put(1, Rows(rows).Batch());
        target->Abort();
        EXPECT_EQ(access(file.c_str(), F_OK) == 0, there);
        EXPECT_TRUE(folder.Read("t.db") == before);
    }
    Load(MakeJob({"id", "v"}, {Flag("replace", true)}), Numbered(2, 2));
    EXPECT_EQ(Sql("SELECT * FROM t"), "2|value 2\n");
}

TEST_F(SqliteTargetTest, KilledJobLeavesWhatWasThere)
{
    Sql("CREATE TABLE t(id, v); INSERT INTO t VALUES (1, 'old')");
    const Job job = MakeJob({"id", "v"});
    const pid_t child = fork();
    if (child == 0) {
        const auto target = MakeTarget(job);
        target->Open(Target::Start::Anew);
        target->Put(1, Rows(std::vector<Row>(4000, Row{std::string(9000, 'x'), "v"})).Batch());
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    ASSERT_EQ(access((file + "-journal").c_str(), F_OK), 0) << "the child wrote nothing";
    EXPECT_EQ(LoadError(job, Numbered(2, 2)), "");
    EXPECT_EQ(Sql("SELECT * FROM t"), "1|old\n2|value 2\n");
}

TEST_F(SqliteTargetTest, CheckChangesNothing)
{
    const auto files = [&] {
        const std::filesystem::directory_iterator all(folder.path());
        return std::distance(begin(all), end(all));
    };
    MakeTarget(MakeJob({"id"}))->Check();
    EXPECT_EQ(files(), 0);
    for (const char *mode : {"DELETE", "WAL"}) {
        Sql(std::string("CREATE TABLE IF NOT EXISTS u(a); PRAGMA journal_mode = ") + mode);
        const std::string before = folder.Read("t.db");
        MakeTarget(MakeJob({"id"}))->Check();
        EXPECT_TRUE(folder.Read("t.db") == before) << mode;
        EXPECT_EQ(files(), 1) << mode;
    }
}

TEST_F(SqliteTargetTest, MissingRightsAreSaid)
{
    // clang-format off
    static constexpr struct {
        mode_t file, folder;
        const char *what;
    } kCases[] = {
        {0444, 0777, "t.db\" can't be written: Permission denied"},
        {0000, 0777, "t.db\" can't be written: Permission denied"},
        {0666, 0555, "SQLite makes its journal there"},
    };
    // clang-format on
    constexpr uid_t kNobody = 65534;
    const auto without_rights = [] {
        if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0))
            _exit(2);
    };
    Sql("CREATE TABLE t(id)");
    const auto target = MakeTarget(MakeJob({"id"}));
    for (const auto &row : kCases) {
        chmod(file.c_str(), row.file);
        chmod(folder.path().c_str(), row.folder);
        const std::string words = ErrorOfChild(without_rights, [&] { target->Check(); });
        EXPECT_TRUE(Holds(words, row.what));
        EXPECT_EQ(ErrorOfChild(without_rights, [&] { target->Open(Target::Start::Anew); }), words);
    }
    chmod(folder.path().c_str(), 0700);
}

TEST_F(SqliteTargetTest, DiskThatTakesNoMoreLeavesWhatWasThere)
{
    Sql("CREATE TABLE t(id, v); INSERT INTO t VALUES (1, 'old')");
    const std::string before = folder.Read("t.db");
    const std::vector<Row> rows(4000, Row{std::string(9000, 'x'), "v"});
    const std::string words = ErrorOfChild(
        [] {
            const rlimit megabyte = {1 << 20, 1 << 20};
            signal(SIGXFSZ, SIG_IGN);
            setrlimit(RLIMIT_FSIZE, &megabyte);
        },
        [&] {
            Load(MakeJob({"id", "v"}), rows);
        });
    EXPECT_TRUE(Holds(words, "t.db\" can't be read or written: disk I/O error (File too large)"));
    EXPECT_EQ(Sql("SELECT * FROM t"), "1|old\n");
    EXPECT_TRUE(folder.Read("t.db") == before);
}

TEST_F(SqliteTargetTest, FilesThatAreNoDatabaseAreNamed)
{
    folder.Write("text.db", std::string(5000, 'x'));
    const struct {
        const char *file, *what;
    } cases[] = {
        {"text.db", "text.db\" is not an SQLite database"},
        {"none/t.db", "none\" of database \"t.db\" is not there; make it first"},
        {".", "is no plain file"},
    };
    for (const auto &row : cases) {
        Job job = MakeJob({"id"});
        job.target[0].value = std::string(row.file);
        const auto target = MakeTarget(job);
        for (const std::string &words : {ErrorOf([&] { target->Check(); }),
                                         ErrorOf([&] { target->Open(Target::Start::Anew); })})
            EXPECT_TRUE(Holds(words, row.what));
    }
}

TEST_F(SqliteTargetTest, SettingsAreHeldToWhatSqliteTakes)
{
    const struct {
        const char *sql_type;
        bool good;
    } types[] = {
        {"INTEGER", true},       {"DECIMAL(10, 2) NOT NULL DEFAULT 0", true},
        {"TEXT, more", false},   {"TEXT); DROP TABLE t; --", false},
        {"TEXT) --", false},     {"TEXT) /*", false},
        {"TEXT COLLATE", false}, {"text check (\"the first\" <> ',')", true},
    };
    for (const auto &type : types) {
        Job job = MakeJob({"id"});
        job.columns[0].sql_type = type.sql_type;
        std::vector<Complaint> found;
        FindTargetKind("sqlite")->check_settings(job, found);
        EXPECT_EQ(found.empty(), type.good) << type.sql_type;
    }
    for (const std::string table : {"Sqlite_master", "Fenwire_Checkpoints"}) {
        Job job = MakeJob({"id"});
        job.target.back().value = table;
        std::vector<Complaint> found;
        FindTargetKind("sqlite")->check_settings(job, found);
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0].at, (SourcePosition{4, 9}));
    }
}

// Each batch of rows in one transaction with the generation that says how many there are.
TEST_F(SqliteTargetTest, GenerationsGoWithTheRows)
{
    const Job job = MakeJob({"id", "v"}, {Flag("replace", true)});
    Sql("CREATE TABLE t(id INTEGER PRIMARY KEY ON CONFLICT IGNORE, v); "
        "INSERT INTO t VALUES (99, 'old')");
    auto target = MakeTarget(job);
    target->Open(Target::Start::Anew);
    target->Put(1, Rows(Numbered(1, 3)).Batch());
    EXPECT_EQ(target->Commit(Stored(job, 1)).rows, 3U);
    EXPECT_EQ(Found(job), 1);
    target->GoOn();
    target->Put(1, Rows(Numbered(3, 6)).Batch());
    EXPECT_EQ(target->Settle(), 1U);
    EXPECT_EQ(target->Commit(Stored(job, 2)).rows, 6U);  // from Open
    target->GoOn();
    target->Put(1, Rows(Numbered(7, 9)).Batch());
    target->Abort();
    EXPECT_EQ(Sql("SELECT count(*) FROM t"), "6\n");
    EXPECT_EQ(Found(job), 2);

    target = MakeTarget(job);
    target->Open(Target::Start::Again);
    target->Put(1, Rows(Numbered(7, 8)).Batch());
    Job other = job;
    other.file = "/other.toml";
    EXPECT_EQ(target->Commit(Stored(job, 3)).rows, 2U);
    EXPECT_EQ(Sql("SELECT count(*) FROM t; SELECT generation FROM fenwire_checkpoints"), "8\n3\n");
    EXPECT_EQ(Found(other), -1);
    FindTargetKind("sqlite")->forget(other, {});
    EXPECT_EQ(Found(job), 3);
    FindTargetKind("sqlite")->forget(job, "r1");
    EXPECT_EQ(Sql("SELECT name FROM sqlite_schema"), "t\n");
}

TEST_F(SqliteTargetTest, FirstGenerationKeepsTheFileThatOpenMade)
{
    const Job job = MakeJob({"id", "v"});
    const auto target = MakeTarget(job);
    target->Open(Target::Start::Anew);
    target->Commit(Stored(job, 1));
    target->GoOn();
    target->Put(1, Rows(Numbered(1, 3)).Batch());
    target->Abort();
    EXPECT_EQ(Sql("SELECT count(*) FROM t"), "0\n");
    EXPECT_EQ(Found(job), 1);
}

TEST_F(SqliteTargetTest, KillLeavesTheRowsOfTheGeneration)
{
    constexpr int kRows = 300;
    const Job job = MakeJob({"id", "v"});
    std::mt19937 random(3);
    int64_t last = -1, killed_in_rows = 0;
    std::chrono::microseconds taken{};  // by two generations: the first round is not killed
    for (int round = 0; round < 40; ++round) {
        const auto began = std::chrono::steady_clock::now();
        const pid_t child = fork();
        if (child == 0) {
            const auto target = MakeTarget(job);
            target->Open(last < 0 ? Target::Start::Anew : Target::Start::Again);
            for (int number = static_cast<int>(last + 1); round > 0 || number < 2; ++number) {
                const Row wide = {std::to_string(number), std::string(2000, 'x')};
                target->Put(1, Rows(std::vector<Row>(kRows, wide)).Batch());
                target->Commit(Stored(job, static_cast<uint64_t>(number)));
                target->GoOn();
            }
            _exit(0);
        }
        if (round > 0) {
            usleep(static_cast<useconds_t>(random() % (2 * taken.count())));
            kill(child, SIGKILL);
        }
        waitpid(child, nullptr, 0);
        if (round == 0)
            taken = std::chrono::duration_cast<std::chrono::microseconds>(
                std::chrono::steady_clock::now() - began);
        killed_in_rows += access((file + "-journal").c_str(), F_OK) == 0 ? 1 : 0;
        const int64_t found = Found(job);
        ASSERT_GE(found, last);
        last = found;
        ASSERT_EQ(Sql("SELECT count(*) FROM t"),
                  last < 0 ? "no such table: t" : std::to_string(kRows * (last + 1)) + "\n");
    }
    EXPECT_GT(last, 1);
    EXPECT_GT(killed_in_rows, 0);
}

TEST_F(SqliteTargetTest, JobThatCanNotGoOnIsTold)
{
    const struct {
        const char *sql, *words;
    } cases[] = {
        {nullptr, "the database is not there any more"},
        {"CREATE TABLE u(id)", "the table is not there any more"},
        {"CREATE TABLE t(id, w)", "column \"v\" is not in the table"},
        {"CREATE TABLE t(id, v); CREATE TABLE Fenwire_Checkpoints(id)",
         "the table fenwire_checkpoints is not one of checkpoints"},
    };
    for (const auto &row : cases) {
        unlink(file.c_str());
        if (row.sql != nullptr)
            Sql(row.sql);
        const Job job = MakeJob({"id", "v"});
        const auto target = MakeTarget(job);
        const std::string words = ErrorOf([&] {
            target->Open(Target::Start::Again);
            target->Put(1, Rows(Numbered(1, 3)).Batch());
            target->Commit(Stored(job, 1));
        });
        EXPECT_TRUE(Holds(words, row.words));
    }
}

TEST_F(SqliteTargetTest, LocksAroundAGenerationLoseNothing)
{
    const Job job = MakeJob({"id", "v"});
    const auto target = MakeTarget(job);
    target->Open(Target::Start::Anew);
    target->Put(1, Rows(Numbered(1, 3)).Batch());
    target->Commit(Stored(job, 1));
    Shell other(file);
    other.Run("BEGIN EXCLUSIVE");
    // Each waits, so they do it together.
    const std::function<void()> calls[] = {
        [&] { target->GoOn(); },
        [&] { MakeTarget(job)->Open(Target::Start::Anew); },
        [&] { Found(job); },
        [&] { FindTargetKind("sqlite")->forget(job, {}); },
    };
    std::vector<std::future<std::string>> words;
    for (const auto &call : calls)
        words.push_back(std::async(std::launch::async, [&call] { return ErrorOf(call); }));
    for (auto &said : words)
        EXPECT_TRUE(Holds(said.get(), file + "\" is locked: another program holds it"));
    other.Run("ROLLBACK; BEGIN; SELECT * FROM t");
    target->GoOn();
    target->Put(1, Rows(Numbered(4, 6)).Batch());
    EXPECT_TRUE(Holds(ErrorOf([&] { target->Commit(Stored(job, 2)); }), "is locked"));
    target->Abort();
    EXPECT_EQ(other.Run("COMMIT; SELECT count(*) FROM t"), "3\n");
    EXPECT_EQ(Found(job), 1);
    // A program that goes is waited for.
    target->Open(Target::Start::Again);
    target->Put(1, Rows(Numbered(4, 6)).Batch());
    other.Run("BEGIN; SELECT * FROM t");
    std::thread ends([&] {
        usleep(300'000);
        other.Run("COMMIT");
    });
    EXPECT_EQ(ErrorOf([&] { target->Commit(Stored(job, 2)); }), "");
    ends.join();
    EXPECT_EQ(Found(job), 2);
}
