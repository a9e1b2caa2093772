// tests/host/sources/stdin_source_test.cpp - delimited text from standard input, good and bad.

#include <csignal>
#include <gtest/gtest.h>
#include <thread>

#include <unistd.h>

#include "tests/host/sources/source_rows.h"
#include "tests/host/targets/target_rows.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

using Texts = std::vector<std::string>;

Setting Text(const char *key, const char *value) { return {key, std::string(value), {3, 7}}; }

Job StdinJob(const Texts &columns, std::vector<Setting> settings)
{
    Job job;
    job.columns = Columns(columns);
    job.source_type = "stdin";
    job.source = std::move(settings);
    return job;
}

// What comes of the text on standard input, written in pieces, so that rows end everywhere in a buffer.
std::vector<Row> RowsFrom(const Job &job, std::string_view text, size_t piece = 1 << 16)
{
    signal(SIGPIPE, SIG_IGN);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    if (ends[0] != STDIN_FILENO) {
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
    }
    std::thread writer([&] {
        for (std::string_view rest = text; !rest.empty();) {
            const ssize_t written = write(ends[1], rest.data(), std::min(piece, rest.size()));
            if (written < 0)
                break;
            rest.remove_prefix(static_cast<size_t>(written));
            if (piece < 100)
                std::this_thread::yield();
        }
        close(ends[1]);
    });
    std::vector<Row> rows;
    try {
        const KeepingOutlet outlet = RowsOf(job);
        for (size_t i = 0; i < outlet.rows(); ++i)
            rows.push_back(outlet.Values(i));
    } catch (...) {
        close(STDIN_FILENO);  // the writer may wait for a reader
        writer.join();
        throw;
    }
    writer.join();
    return rows;
}

std::string ErrorFrom(const Job &job, std::string_view text)
{
    try {
        RowsFrom(job, text);
    } catch (const SourceError &error) {
        return error.what();
    }
    return {};
}

}  // namespace

TEST(StdinSource, RowsEndAndValuesAreQuotedAsPrinted)
{
    const Setting quote = Text("quote", "\"");
    const std::vector<Row> two = {{"a", "b"}, {"c", "d"}};
    const struct {
        const char *about;
        std::vector<Setting> settings;
        std::string_view text;
        std::vector<Row> rows;
    } cases[] = {
        {"two rows", {}, "a|b\nc|d\n", two},
        {"no last line end", {}, "a|b\nc|d", two},
        {"other line ends", {}, "a|b\r\nc|d\r\n", two},
        {"no input", {}, "", {}},
        {"empty is NULL", {}, "|\n", {{std::nullopt, std::nullopt}}},
        {"NULL and empty", {quote}, "\"\"|\n", {{"", std::nullopt}}},
        {"null text",
         {quote, Text("null", "NULL")},
         "NULL|\"NULL\"\n|x",
         {{std::nullopt, "NULL"}, {"", "x"}}},
        {"marks in quotes", {quote}, "\"a|\r\n\"\"\"|\"\"\"\"\n", {{"a|\r\n\"", "\""}}},
        {"quote within", {quote}, "a\"b|\"c\"\n", {{"a\"b", "c"}}},
        {"long marks",
         {Text("delimiter", "::"), Text("quote", "\u00b4")},
         "a:b::\u00b4a::\u00b4\u00b4\u00b4\n",
         {{"a:b", "a::\u00b4"}}},
        {"header", {quote, {"header", true, {}}}, "\xEF\xBB\xBF\"X\"|y\na|b\nc|d\n", two},
    };
    for (const auto &row : cases) {
        for (const size_t piece : {1, 2, 3, 65536})
            EXPECT_EQ(
                RowsFrom(StdinJob({"x VARCHAR(9)", "y VARCHAR(9)"}, row.settings), row.text, piece),
                row.rows)
                << row.about << ", pieces of " << piece;
    }
}

TEST(StdinSource, MalformedInputIsNamedByLineAndColumn)
{
    const Texts columns = {"id INTEGER", "name VARCHAR(4)"};
    const std::vector<Setting> quote = {Text("quote", "\"")};
    const struct {
        std::string text;
        std::vector<Setting> settings;
        const char *error;
    } cases[] = {
        {"1|a\n2|b|c\n", {}, "standard input, line 2: 3 values where the job has 2 columns"},
        {"1|a\n\n", {}, "line 2: 1 value where the job has 2 columns"},
        {"1|\"a\nb\"\nx|b\n", quote,
         "standard input, line 3, column \"id\": \"x\" does not fit INTEGER"},
        {"1|abcde\n", {}, "line 1, column \"name\": \"abcde\" does not fit VARCHAR(4)"},
        {"99999999999|a\n", {}, "line 1, column \"id\": \"99999999999\" does not fit INTEGER"},
        {"1|\"a\n2|b\n", quote, "line 1: the quote that column 2 begins with is not closed"},
        {"1|\"a\"b\n", quote, "line 1: behind the closing quote of column 2 stands \"b\\x0a\""},
        {"name|id\n",
         {{"header", true, {}}},
         "line 1: column 1 of the header is \"name\", that of the job \"id\""},
        {"1|\"" + std::string(500'000, 'x'), quote,
         "line 1: the row is longer than any row of the job"},
    };
    for (const auto &row : cases)
        EXPECT_TRUE(Holds(ErrorFrom(StdinJob(columns, row.settings), row.text), row.error));
}

// Whatever the rows hold, print's text brings them back.
TEST(StdinSource, ReadsBackWhatPrintWrote)
{
    const TempDirectory folder;
    const Texts columns = {"a VARCHAR(30)",
                           "b CHAR(12)",
                           "c INTEGER",
                           "d DECIMAL(38,7)",
                           "e SMALLINT",
                           "f FLOAT",
                           "g INTDATE",
                           "h ANSIDATE",
                           "i TIMESTAMP(3) WITH TIME ZONE",
                           "j PERIOD(TIME)",
                           "k BYTE(3)",
                           "l VARBYTE(9)",
                           "m INTERVAL DAY TO SECOND(2)",
                           "n BIGINT",
                           "o BOOLEAN",
                           "p JSON(40)",
                           "q VARCHAR(3)"};
    const std::vector<Setting> styles[] = {
        {Text("quote", "\"")},
        {Text("quote", "'"), Text("delimiter", ","), Text("null", "NULL"), {"header", true, {}}},
        {Text("quote", "\""), Text("delimiter", "ab")},
        {Text("quote", "\""), Text("delimiter", "::"), Text("null", "-")},
    };
    for (const auto &style : styles) {
        Job job = StdinJob(columns, {{"rows", int64_t{400}, {}},
                                     {"nulls", int64_t{10}, {}},
                                     {"edges", true, {}},
                                     Text("text", "all")});
        job.folder = folder.path();
        job.source_type = "generator";
        std::vector<Row> made;
        const KeepingOutlet outlet = RowsOf(job);
        for (size_t i = 0; i < outlet.rows(); ++i)
            made.push_back(outlet.Values(i));

        job.target_type = "print";
        job.target = style;
        job.target.push_back(Text("file", "out.txt"));
        const auto target = MakeTarget(job);
        target->Open(Target::Start::Anew);
        target->Put(1, Rows(made).Batch());
        target->Commit(nullptr);

        job.source_type = "stdin";
        job.source = style;
        const std::string printed = folder.Read("out.txt");
        for (const size_t piece : {97, 65536})
            EXPECT_TRUE(RowsFrom(job, printed, piece) == made)
                << "style " << &style - styles << ", pieces of " << piece;
    }
}
