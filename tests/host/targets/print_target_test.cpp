// tests/host/targets/print_target_test.cpp - what print writes, and when it is there.

#include <csignal>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/targets/output_file.h"
#include "tests/host/targets/target_rows.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

using Settings = std::vector<Setting>;

Setting Text(const char *key, const char *value) { return {key, std::string(value), {3, 7}}; }

std::string Printed(const Settings &settings, const std::vector<Row> &rows)
{
    const TempDirectory folder;
    Settings all = settings;
    all.push_back(Text("file", "out.txt"));
    const auto target = MakeTarget(TargetJob(folder, "print", {"a|b", "c"}, all));
    target->Open(Target::Start::Anew);
    target->Put(1, Rows(rows).Batch());
    target->Commit(nullptr);
    return folder.Read("out.txt");
}

size_t FilesIn(const TempDirectory &folder)
{
    const std::filesystem::directory_iterator files(folder.path());
    return static_cast<size_t>(std::distance(begin(files), end(files)));
}

}  // namespace

TEST(PrintTarget, QuotesWhatCouldBeMistaken)
{
    const Setting quote = Text("quote", "\""), header = {"header", true, {}};
    const struct {
        const char *about;
        Settings settings;
        Row row;
        const char *line;
    } cases[] = {
        {"plain", {}, {"x", "y"}, "x|y\n"},
        {"without a quote as it is", {}, {"x|y", "\""}, "x|y|\"\n"},
        {"NULL and empty alike", {}, {std::nullopt, ""}, "|\n"},
        {"NULL and empty apart", {quote}, {std::nullopt, ""}, "|\"\"\n"},
        {"null text", {Text("null", "NULL")}, {std::nullopt, "n"}, "NULL|n\n"},
        {"value like the null text", {quote, Text("null", "-")}, {"-", "--"}, "\"-\"|--\n"},
        {"delimiter", {quote}, {"x|y", "z"}, "\"x|y\"|z\n"},
        {"quotes", {quote}, {"\"", "a\"b\"\""}, "\"\"\"\"|\"a\"\"b\"\"\"\"\"\n"},
        {"line ends", {quote}, {"a\nb", "\r"}, "\"a\nb\"|\"\r\"\n"},
        {"part of a long delimiter",
         {quote, Text("delimiter", "::")},
         {"a:b", "a::b"},
         "a:b::\"a::b\"\n"},
        {"begins a long delimiter", {quote, Text("delimiter", "::")}, {"a:", ":b"}, "\"a:\":::b\n"},
        {"quote of two bytes",
         {Text("quote", "\u00b4")},
         {"a\u00b4", "b"},
         "\u00b4a\u00b4\u00b4\u00b4|b\n"},
        {"header", {quote, header}, {"x", "y"}, "\"a|b\"|c\nx|y\n"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(Printed(row.settings, {row.row}), row.line) << row.about;
}

TEST(PrintTarget, SettingsThatMakeRowsAmbiguousAreRefused)
{
    const struct {
        Settings settings;
        const char *what;
    } cases[] = {
        {{Text("delimiter", "a\n")}, "delimiter holds a line end"},
        {{Text("delimiter", "")}, "delimiter is empty"},
        {{Text("quote", "''")}, "quote must be one character"},
        {{Text("quote", "|")}, "quote and delimiter hold each other"},
        {{Text("null", "a|b")}, "null holds"},
        {{Text("delimiter", "::"), {"null", std::string("-:"), {3, 7}}}, "null holds"},
    };
    const TempDirectory folder;
    for (const auto &row : cases) {
        std::vector<Complaint> found;
        FindTargetKind("print")->check_settings(TargetJob(folder, "print", {"a"}, row.settings),
                                                found);
        ASSERT_EQ(found.size(), 1u) << row.what;
        EXPECT_EQ(found[0].what.find(row.what), 0u) << found[0].what;
        EXPECT_EQ(found[0].at, (SourcePosition{3, 7}));
    }
}

TEST(PrintTarget, FileAppearsAtCommitOnly)
{
    const TempDirectory folder;
    folder.Write("out.txt", "old");
    chmod(folder.File("out.txt").c_str(), 0640);
    const Job job = TargetJob(folder, "print", {"a"}, {Text("file", "out.txt")});
    // More than a buffer, so that some of it is written before the end.
    const std::vector<Row> rows(6000, Row{std::string(99, 'x')});
    for (const bool commit : {false, true}) {
        const auto target = MakeTarget(job);
        target->Open(Target::Start::Anew);
        target->Put(1, Rows(rows).Batch());
        EXPECT_EQ(folder.Read("out.txt"), "old");
        commit ? void(target->Commit(nullptr)) : target->Abort();
        EXPECT_EQ(FilesIn(folder), 1u);
    }
    EXPECT_EQ(folder.Read("out.txt").size(), 600'000u);
    struct stat info;
    ASSERT_EQ(stat(folder.File("out.txt").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
}

TEST(PrintTarget, FilesThatCanNotBeMadeAreNamed)
{
    const TempDirectory folder;
    const struct {
        const char *file, *what;
    } cases[] = {{"none/out.txt", "is not there; make it first"}, {".", "is no plain file"}};
    for (const auto &row : cases) {
        const auto target = MakeTarget(TargetJob(folder, "print", {"a"}, {Text("file", row.file)}));
        EXPECT_TRUE(Holds(ErrorOf([&] { target->Check(); }), row.what)) << row.file;
    }
}

TEST(FdWriter, FaultsOfTheSystemAreToldInWords)
{
    signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const struct {
        int fd;
        const char *what;
    } cases[] = {
        {open("/dev/full", O_WRONLY), "no space is left"},
        {ends[1], "the program that reads standard output has ended"},
        {-1, "standard output can't be written: Bad file descriptor"},
    };
    for (const auto &row : cases) {
        FdWriter writer(row.fd, "standard output");
        writer.buffer() = "row\n";
        EXPECT_TRUE(Holds(ErrorOf([&] { writer.Flush(); }), row.what));
    }
}
