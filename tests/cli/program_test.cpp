// tests/cli/program_test.cpp - the program as its user meets it: exit status, standard output and error.

#include <array>
#include <cstdio>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include "tests/host/job/job_files.h"
#include "tests/support/holds.h"

namespace {

struct Outcome {
    int status = -1;
    std::string out, err;
};

Outcome Program(const JobFolder &folder, const std::string &arguments,
                const char *input = "</dev/null")
{
    const std::string command = "cd '" + folder.path().string() + "' && '" FENWIRE_PROGRAM "' " +
                                arguments + " >out 2>err " + input;
    const int status = system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.Read("out"), folder.Read("err")};
}

}  // namespace

TEST(Program, AnswersWithWordsAndStatus)
{
    // clang-format off
    static constexpr struct {
        const char *about, *arguments;
        int status;
        const char *out, *err;  // what must stand there; empty: nothing at all
    } kCases[] = {
        {"nothing asked",            "",                              2, "",                      "fenwire check JOB.toml"},
        {"help",                     "--help",                        0, "A whole job file:",     ""},
        {"help of a verb",           "run --help",                    0, "Usage: fenwire run",    ""},
        {"verb misspelt",            "chekc a.toml",                  2, "",                      "did you mean \"check\"?"},
        {"verb forgotten",           "a.toml",                        2, "",                      "hint: fenwire run a.toml"},
        {"no job file named",        "run",                           2, "",                      "fenwire: error: "},
        {"option nobody knows",      "run --fast a.toml",             2, "",                      "--fast"},
        {"setting without a value",  "check --set producer a.toml",   2, "",                      "--set producer.SkipRows=1"},
        {"no such job file",         "run none.toml",                 2, "",                      "none.toml: error: there is no such file"},
        {"the same for a program",   "run --json none.toml",          2, "\"status\": \"refused\"", "there is no such file"},
        {"message by number",        "explain 19112",                 0, "QLX19112, error",       ""},
        {"message as in a log",      "explain qlx19112",              0, "what to do: make the column longer", ""},
        {"attribute in any case",    "explain quoteddata",            0, "Yes, No or Optional",   ""},
        {"attribute misspelt",       "explain QuotedDat",             2, "",                      "did you mean \"QuotedData\"?"},
        {"message nobody sends",     "explain 18999",                 2, "",                      "there is no message 18999"},
        {"list of attributes",       "list attributes",               0, "TextDelimiter",         ""},
        {"list of types",            "list types",                    0, " 63  NUMBER",           ""},
        {"list misspelt",            "list type",                     2, "",                      "did you mean \"types\"?"},
        {"a guess from no file",     "guess",                         2, "",                      "files is required"},
        {"a guess from a folder",    "guess .",                       2, "",                      "hint: name the files in it"},
        {"a preview of no row",      "preview --rows 0 a.toml",       2, "",                      "--rows"},
        {"version",                  "version",                       0, "fenwire 0.",            ""},
    };
    // clang-format on
    const JobFolder folder;
    for (const auto &c : kCases) {
        const Outcome outcome = Program(folder, c.arguments);
        EXPECT_EQ(outcome.status, c.status) << c.about;
        for (const auto &[wanted, given] :
             {std::pair(c.out, &outcome.out), {c.err, &outcome.err}}) {
            if (*wanted == '\0')
                EXPECT_EQ(*given, "") << c.about;
            else
                EXPECT_TRUE(Holds(*given, wanted)) << c.about;
        }
    }
}

TEST(Program, GuessReplacesAFileOnlyWhenTold)
{
    const JobFolder folder;
    folder.Write("a.csv", "id,v\n1,x\n");
    folder.Write("a.toml", "mine");
    EXPECT_EQ(Program(folder, "guess a.csv -o a.toml").status, 2);
    EXPECT_EQ(folder.Read("a.toml"), "mine");
    EXPECT_EQ(Program(folder, "guess a.csv -o a.toml --force").status, 0);
    EXPECT_EQ(Program(folder, "check a.toml").status, 0);
}

TEST(Program, CheckLooksAtFilesAndTarget)
{
    const JobFolder folder;
    std::filesystem::create_directory(folder.path() / "in");
    folder.Write("in/a.csv", "1,2\n");
    folder.Write("in/b.csv", "3,4\n");
    folder.Write("job.toml", "[producer]\n"
                             "DirectoryPath = \"in\"\n"
                             "FileName = \"*.csv\"\n"
                             "Format = \"Delimited\"\n"
                             "ErrorLimit = 3\n"
                             "[schema]\n"
                             "columns = [\"a VARCHAR(3)\", \"b VARCHAR(3)\"]\n"
                             "[target]\n"
                             "type = \"print\"\n"
                             "file = \"out.txt\"\n");
    // clang-format off
    static constexpr struct {
        const char *about, *arguments;
        int status;
        const char *out, *err;
    } kCases[] = {
        {"good",             "job.toml",                                    0, "ok: input: 2 files, 8 bytes", ""},
        {"more instances",   "--instances 3 job.toml",                      0, "note: 2 files for 3 instances", ""},
        {"idle attribute",   "job.toml",                                    0, "note: ErrorLimit has no effect", ""},
        {"nothing fits",     "--set producer.FileName=*.txt job.toml",      2, "ok: target: print", "command line: error: no file in "},
        {"no directory",     "--set producer.DirectoryPath=nowhere job.toml",   2, "", "can't be examined: No such file or directory"},
        {"file unwritable",  "--set target.file=no/where.txt job.toml",     2, "ok: input", "job.toml:8:"},
        {"bad override",     "--set producer.Format=Fixed job.toml",        2, "", "command line: error: Format can't be \"Fixed\""},
    };
    // clang-format on
    for (const auto &c : kCases) {
        const Outcome outcome = Program(folder, std::string("check ") + c.arguments);
        EXPECT_EQ(outcome.status, c.status) << c.about << "\n" << outcome.err;
        EXPECT_TRUE(Holds(outcome.out, c.out)) << c.about;
        EXPECT_TRUE(Holds(outcome.err, c.err)) << c.about;
        EXPECT_EQ(outcome.err.empty(), c.status == 0) << c.about;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "out.txt"));
}

TEST(Program, ReadsNoOtherFileWhenStandardInputIsClosed)
{
    const JobFolder folder;
    folder.Write("a.toml", "[source]\ntype = \"stdin\"\n[schema]\ncolumns = [\"a VARCHAR(100)\"]\n"
                           "[target]\ntype = \"print\"\n");
    const Outcome outcome = Program(folder, "run a.toml", "<&-");
    EXPECT_EQ(outcome.status, 12);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(Holds(outcome.err, "standard input could not be read"));
}
