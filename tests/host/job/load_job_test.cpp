// tests/host/job/load_job_test.cpp - job files, good and bad, and what is said of the bad ones.

#include <gtest/gtest.h>

#include <unistd.h>

#include "tests/host/job/job_files.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

const char *const kGood = R"toml([job]
name = "load-orders"

[producer]
instances = 4
DirectoryPath = "in"
FileName = "*.csv"
Format = "Delimited"
TextDelimiter = ","
QuotedData = "Optional"
SkipRows = 1
SkipRowsEveryFile = true
NullColumns = false
PrivateLogName = ["a", "b"]

[schema]
columns = ["id VARCHAR(12)", '"order date" VARCHAR(10)', { name = "amount", type = "varchar ( 16 )", sql_type = "DECIMAL(10,2)" }]

[target]
type = "null"
)toml";

const char *const kColumns =
    R"toml(["id VARCHAR(12)", '"order date" VARCHAR(10)', { name = "amount", type = "varchar ( 16 )", sql_type = "DECIMAL(10,2)" }])toml";

}  // namespace

TEST(LoadJob, GoodFileComesOutAsGiven)
{
    const JobFolder folder;
    const Job job = LoadJob(folder.Write("orders.toml", kGood));
    EXPECT_EQ(job.name, "load-orders");
    EXPECT_EQ(job.charset, "UTF8");
    EXPECT_EQ(job.folder, folder.path());
    EXPECT_EQ(job.state, folder.path() / ".fenwire" / "load-orders");
    EXPECT_EQ(job.target_type, "null");
    EXPECT_EQ(job.producer.instances, 4);
    ASSERT_EQ(job.producer.attributes.size(), 9u);
    EXPECT_EQ(job.producer.attributes[0].name, "DirectoryPath");  // the order of the file
    EXPECT_EQ(job.producer.attributes[0].at, (SourcePosition{6, 17}));
    EXPECT_EQ(std::get<int32_t>(job.producer.attributes[5].value), 1);
    EXPECT_EQ(job.producer.Text("SkipRowsEveryFile"), "Yes");
    EXPECT_EQ(job.producer.Text("NullColumns"), "No");
    EXPECT_EQ(std::get<std::vector<std::string>>(job.producer.attributes[8].value).size(), 2u);
    ASSERT_EQ(job.columns.size(), 3u);
    EXPECT_EQ(job.columns[1].name, "order date");
    EXPECT_EQ(job.columns[2].length, 16u);
    EXPECT_EQ(job.columns[2].sql_type, "DECIMAL(10,2)");
}

// Checkpoints are kept for the job file, and a resume may come another way.
TEST(LoadJob, FileIsTheSameByWhateverLinksItWasReached)
{
    const JobFolder folder, elsewhere;
    const auto file = folder.Write("orders.toml", kGood);
    std::filesystem::create_directory_symlink(folder.path(), elsewhere.path() / "link");
    EXPECT_EQ(LoadJob(elsewhere.path() / "link" / "orders.toml").file, file);
}

TEST(LoadJob, CheckpointsAreDueByTimeAndByRows)
{
    static constexpr struct {
        const char *given;
        int64_t milliseconds;
        uint64_t rows;
    } kCases[] = {
        {"500ms", 500, 0},          {"60s", 60'000, 0},
        {"2 min", 120'000, 0},      {"1H", 3'600'000, 0},
        {"100000 rows", 0, 100000}, {"60s or 100000 rows", 60'000, 100000},
        {" 1row  or 7s", 7000, 1},
    };
    const JobFolder folder;
    const auto file = folder.Write("job.toml", kGood);
    EXPECT_FALSE(LoadJob(file).checkpoint.any());
    for (const auto &c : kCases) {
        const CheckpointRule rule = LoadJob(file, {{"job", "checkpoint", c.given}}).checkpoint;
        EXPECT_EQ(rule.interval.count(), c.milliseconds) << c.given;
        EXPECT_EQ(rule.rows, c.rows) << c.given;
    }
    const std::string never =
        folder.Complaints(kGood, {{"job", "checkpoint", "9s"}, {"target", "type", "print"}});
    EXPECT_TRUE(Holds(never, "can't be resumed: a target of type print takes no checkpoints"));
}

TEST(LoadJob, BadFileGetsItsComplaint)
{
    // clang-format off
    static constexpr struct {
        const char *about, *piece, *instead, *complaint, *hint;
    } kCases[] = {
        {"section misspelt",             "[target]",            "[taget]",              "job.toml:19:2: error: unknown section [taget]", "did you mean [target]?"},
        {"key outside",                  "[job]\nname",         "name",                 "job.toml:1:1: error: \"name\" stands in no section", "keys stand below [job]"},
        {"two places to read from",      "[schema]",            "[source]\ntype = \"x\"\n[schema]", "job.toml:16:2: error: [producer] and [source] exclude each other: rows come from one place", "keep [producer] for files"},
        {"two places to write to",       "[schema]",            "[consumer]\nFormat = \"Text\"\nFileName = \"o\"\n[schema]", "[consumer] and [target] exclude each other: rows go to one place", "keep [consumer] for files"},
        {"nothing to read",              "[producer]",          "[consumer]",           "job.toml: error: sections [producer] and [source] are both missing: the job reads nothing", "add [producer] with"},
        {"nowhere to go",                "[target]\ntype = \"null\"", "",             "job.toml: error: sections [consumer] and [target] are both missing: the rows go nowhere", "or [consumer] with"},
        {"no schema",                    "[schema]",            "[job.x]",              "section [schema] is missing", "add [schema], and below it write columns"},
        {"columns from nowhere",         "columns = ",          "from = \"targt\" #",   "job.toml:17:8: error: from can't be \"targt\"", "\"source\" or \"target\""},
        {"columns of no source",         "columns = ",          "from = \"source\" #",  "the job has no [source] to take columns from", "list them"},
        {"columns of a kind without",    "columns = ",          "from = \"target\" #",  "null has no columns of its own", "list them"},
        {"columns twice",                "columns = ",          "from = \"target\"\ncolumns = ", "columns and from exclude each other", "keep columns"},
        {"section as a list",            "[producer]",          "[[producer]]",         "producer must be one section, not a list", "write [producer]"},
        {"key misspelt",                 "name = \"load",       "nmae = \"load",        "job.toml:2:1: error: unknown key \"nmae\"", "did you mean \"name\"?"},
        {"checkpoint without unit", "name = \"load", "checkpoint = \"60\"\nname = \"load", "job.toml:2:14: error: \"60\" says neither a time nor", "write \"60s\", \"100000 rows\""},
        {"checkpoint of nothing", "name = \"load", "checkpoint = \"0 rows\"\nname = \"load", "\"0 rows\" is no distance between checkpoints: it must be 1 row or more", ""},
        {"checkpoint of ages", "name = \"load", "checkpoint = \"169h\"\nname = \"load", "\"169h\" is too long: at most 7 days", ""},
        {"checkpoint beyond 64 bits", "name = \"load", "checkpoint = \"99999999999999999999s\"\nname = \"load", "is too long", ""},
        {"checkpoint as a number", "name = \"load", "checkpoint = 60\nname = \"load", "checkpoint must be text, not a whole number", "write \"60s\""},
        {"two times", "name = \"load", "checkpoint = \"60s or 2min\"\nname = \"load", "checkpoint gives a time twice", ""},
        {"half a checkpoint", "name = \"load", "checkpoint = \"60s or \"\nname = \"load", "\"\" says neither a time nor", ""},
        {"restart",                      "name = \"load",       "restart = true\nname = \"load", "unknown key \"restart\"", "fenwire resume"},
        {"name with a path",             "load-orders",         "../x",                 "job.toml:2:8: error: \"../x\" can't be the name of a job", "letters, digits"},
        {"name of another kind",         "\"load-orders\"",     "7",                    "name must be text, not a whole number", "in quotes: name = \"7\""},
        {"character set",                "[producer]",          "charset = \"UTF9\"\n[producer]", "unknown character set \"UTF9\"", "did you mean \"UTF8\"?"},
        {"no TOML",                      "= \"load-orders\"",   "= load-orders",        "job.toml:2:8: error: not valid TOML", "text stands in quotes"},
        {"a key twice",                  "[producer]",          "[producer]\ninstances = 1", "not valid TOML: cannot redefine", "may stand once"},
        {"no instances",                 "instances = 4",       "instances = 0",        "job.toml:5:13: error: instances must be a whole number from 1 to 512, not 0", ""},
        {"instances in quotes",          "instances = 4",       "instances = \"4\"",    "instances must be a whole number from 1 to 512, not text", ""},
        {"attribute in lower case",      "FileName",            "filename",             "job.toml:7:1: error: unknown attribute \"filename\"", "did you mean \"FileName\"?"},
        {"attribute nobody knows",       "FileName",            "Zzzzzzzzzzzz",         "unknown attribute \"Zzzzzzzzzzzz\"", "fenwire list attributes"},
        {"attribute missing",            "FileName = \"*.csv\"", "",                    "job.toml:4:1: error: FileName is missing", "add FileName"},
        {"file name empty",              "*.csv",               "",                     "job.toml:7:12: error: FileName is empty", "pattern like *.csv"},
        {"path twice",                   "*.csv",               "a/b.csv",              "FileName holds a path, and DirectoryPath is given too", "leave the directory"},
        {"word misspelt",                "\"Delimited\"",       "\"Delimted\"",         "job.toml:8:10: error: Format can't be \"Delimted\"", "did you mean \"Delimited\"?"},
        {"indicators in text",           "SkipRows = 1",        "IndicatorMode = true", "IndicatorMode does not go with Format \"Delimited\"", "binary format"},
        {"a writer's word",              "SkipRows = 1",        "OpenMode = \"Write\"", "OpenMode can't be \"Write\"", "valid are Read"},
        {"a writer's attribute",         "SkipRows = 1",        "AppendDelimiter = true", "job.toml:11:1: error: AppendDelimiter is for steps that write", "remove it from [producer]"},
        {"yes/no with another word",     "true",                "\"maybe\"",            "SkipRowsEveryFile can't be \"maybe\"", "valid are Yes or No"},
        {"extension where there is none", "true",               "\"Optional\"",         "SkipRowsEveryFile can't be \"Optional\"", "valid are Yes or No"},
        {"number as a yes/no",           "true",                "1",                    "SkipRowsEveryFile must be Yes or No, not a whole number", ""},
        {"text as a number",             "SkipRows = 1",        "SkipRows = \"1\"",     "SkipRows must be a whole number, 0 or more, not text", "without quotes: SkipRows = 1"},
        {"number out of range",          "SkipRows = 1",        "TimeOut = 100000",     "TimeOut is 100000; it must be a whole number from 0 to 99999", ""},
        {"number beyond 32 bits",        "SkipRows = 1",        "SkipRows = 4294967297", "SkipRows is 4294967297; it must be", ""},
        {"date",                         "\"*.csv\"",           "2024-01-31",           "FileName must be text, not a date or time", "put it in quotes"},
        {"bad records among the input",  "SkipRows = 1",        "RecordErrorFileName = \"x/../in/bad.csv\"", "RecordErrorFileName \"bad.csv\" would be read as an input file", "does not fit \"*.csv\""},
        {"their list among the input",   "\"*.csv\"",           "\"b*.jsonl\"\nRowErrFileName = \"in/bad\"", "RowErrFileName \"bad.jsonl\" would be", ""},
        {"both forms of a mark",         "SkipRows = 1",        "TextDelimiterHEX = \"2C\"", "TextDelimiter and TextDelimiterHEX exclude each other", "remove one"},
        {"odd hexadecimal digits",       "TextDelimiter = \",\"", "TextDelimiterHEX = \"2C0\"", "TextDelimiterHEX can't be \"2C0\"", "09 is the tab"},
        {"empty delimiter",              "TextDelimiter = \",\"", "TextDelimiter = \"\"", "TextDelimiter is empty", "at least one byte"},
        {"escape of zero bytes",         "SkipRows = 1",        "EscapeTextDelimiterHEX = \"0000\"", "must have at least one byte that is not zero", ""},
        {"close quote alone",            "QuotedData = \"Optional\"", "CloseQuoteMark = \"'\"", "CloseQuoteMark needs OpenQuoteMark", "QuotedData"},
        {"trim of two bytes",            "SkipRows = 1",        "TrimColumns = \"Both\"\nTrimChar = \"ab\"", "TrimChar is 2 bytes long; it must be one byte", ""},
        {"attribute of a later version", "SkipRows = 1",        "ArchiveDirectoryPath = \"done\"", "ArchiveDirectoryPath asks for archiving, which is not available in this version", "remove it"},
        {"Yes of a later version",       "SkipRows = 1",        "MultipleReaders = true", "MultipleReaders asks for reading one file with several instances", "set it to No"},
        {"the runner's attribute",       "SkipRows = 1",        "SYSTEM_MaxInstances = 2", "SYSTEM_MaxInstances is supplied by the runner", "remove it"},
        {"variable that is not set",     "*.csv",               "${FW_NO_SUCH_VARIABLE}", "job.toml:7:12: error: environment variable FW_NO_SUCH_VARIABLE is not set", "export"},
        {"variable not closed",          "*.csv",               "${HOME",               "\"${\" begins no environment variable", "$${"},
        {"zero byte",                    "\"*.csv\"",           "\"a\\u0000b\"",        "a text can't hold a zero byte", "HEX"},
        {"no columns",                   kColumns, "[]", "columns has 0 entries; a schema has 1 to 4096", ""},
        {"columns as text",              kColumns, "\"id VARCHAR(12)\"", "columns must be a list, not text", "write columns ="},
        {"column without a type",        "id VARCHAR(12)",      "id",                   "job.toml:17:12: error: column \"id\" has no type", "id VARCHAR(20)"},
        {"column without a length",      "id VARCHAR(12)",      "id VARCHAR",           "type VARCHAR needs a length", "VARCHAR(20)"},
        {"length of nothing",            "id VARCHAR(12)",      "id VARCHAR(0)",        "length (0) of VARCHAR must be one number from 1 to 64000", ""},
        {"length too long",              "id VARCHAR(12)",      "id VARCHAR(64001)",    "length (64001) of VARCHAR must be one number from 1 to 64000", ""},
        {"length of letters",            "id VARCHAR(12)",      "id VARCHAR(12",        "is no type", "VARCHAR(12)"},
        {"type misspelt",                "id VARCHAR(12)",      "id VARCAHR(12)",       "unknown type \"VARCAHR\"", "did you mean \"VARCHAR\"?"},
        {"type of other systems",        "id VARCHAR(12)",      "id INT",               "unknown type \"INT\"", "here it is called INTEGER"},
        {"words behind the type",        "id VARCHAR(12)",      "id VARCHAR(12) NOT NULL", "unknown type \"VARCHAR NOT NULL\"", "remove \"NOT NULL\""},
        {"type that doesn't fit",        "id VARCHAR(12)",      "id INTEGER",           "column \"id\" of type INTEGER can't be read from delimited data", "VARCHAR(n)"},
        {"name twice",                   "\"order date\"",      "ID",                   "column 2 has the name of column 1", ""},
        {"column as a number",           "\"id VARCHAR(12)\"",  "12",                   "a column must be text or a table, not a whole number", "id VARCHAR(12)"},
        {"key of a column",              "sql_type",            "sqltype",              "unknown key \"sqltype\"", "did you mean \"sql_type\"?"},
        {"SQL in a type",                "DECIMAL(10,2)",       "INT; DROP TABLE x",    "sql_type can't be", "name of a type"},
        {"metadata that is none",        "sql_type = \"DECIMAL(10,2)\"", "metadata = \"RowNumber\"", "metadata can't be \"RowNumber\"", "\"FileName\""},
        {"a file's name in a CLOB",      "\"id VARCHAR(12)\"",  "{ name = \"id\", type = \"CLOB(9)\", metadata = \"FileName\" }", "column \"id\" takes the file's name, but is no text", "VARCHAR(n) or CHAR(n)"},
        {"the file's name twice",        "\"id VARCHAR(12)\"",  "{ name = \"id\", type = \"CHAR(9)\", metadata = \"FileName\" }, { name = \"i\", type = \"CHAR(9)\", metadata = \"FileName\" }", "columns \"id\" and \"i\" both take the file's name", "remove the other"},
        {"target misspelt",              "\"null\"",            "\"nul\"",              "job.toml:20:8: error: unknown target \"nul\"", "did you mean \"null\"?"},
        {"target without a type",        "type = \"null\"",     "",                     "type is missing in [target]", "add type"},
        {"key of the target",            "type = \"null\"",     "type = \"print\"\ndelimeter = \";\"", "job.toml:21:1: error: unknown key \"delimeter\"", "did you mean \"delimiter\"?"},
        {"kind of a target's key",       "type = \"null\"",     "type = \"print\"\nheader = 3", "job.toml:21:10: error: header must be true or false, not a whole number", "names of the columns"},
        {"path of nothing",              "type = \"null\"",     "type = \"print\"\nfile = \"\"", "job.toml:21:8: error: file must be text, not empty", "the file to write"},
    };
    // clang-format on
    const JobFolder folder;
    ASSERT_EQ(folder.Complaints(kGood), "");
    for (const auto &c : kCases) {
        const std::string what = folder.Complaints(With(kGood, c.piece, c.instead));
        EXPECT_TRUE(Holds(what, c.complaint)) << c.about;
        EXPECT_TRUE(Holds(what, c.hint)) << c.about;
    }
}

// It is emptied at the start, under whatever name.
TEST(LoadJob, RecordErrorFileIsNoLinkToInput)
{
    const JobFolder folder;
    std::filesystem::create_directory(folder.path() / "in");
    const auto data = folder.Write("in/a.csv", "1,2,3\n"), bad = folder.path() / "bad";
    const std::string job = With(kGood, "SkipRows = 1", "RecordErrorFileName = \"bad\"");
    for (const auto make : {link, symlink}) {
        EXPECT_EQ(folder.Complaints(job), "");
        ASSERT_EQ(make(data.c_str(), bad.c_str()), 0);
        EXPECT_TRUE(Holds(folder.Complaints(job), "are one file"));
        std::filesystem::remove(bad);
    }
}

TEST(LoadJob, CaretStandsUnderTheFault)
{
    const JobFolder folder;
    EXPECT_EQ(folder.Complaints(With(kGood, kColumns, "[\"größe VARCHAR(9)\", \"b\"]")),
              "job.toml:17:34: error: column \"b\" has no type\n"
              "      17 | columns = [\"größe VARCHAR(9)\", \"b\"]\n"
              "         |                                ^\n"
              "           hint: write \"b VARCHAR(20)\", for example");
    EXPECT_EQ(
        folder.Complaints(With(kGood, "instances = 4", "instances = 4 # \033[2J")),
        "job.toml:5:17: error: not valid TOML: control characters other than TAB (U+0009) are "
        "explicitly prohibited in comments\n"
        "       5 | instances = 4 # \\x1b[2J\n"
        "         |                 ^");
    const std::string cut =
        folder.Complaints(With(kGood, kColumns, "[\"" + std::string(200, 'x') + " INT\"]"));
    EXPECT_TRUE(Holds(cut, "      17 | columns = [\"xxx"));
    EXPECT_TRUE(Holds(cut, "xxx...\n"));
}

TEST(LoadJob, ManyFaultsAreShownTogetherAndCut)
{
    const JobFolder folder;
    std::string columns = "columns = [";
    for (int i = 0; i < 30; ++i)
        columns += "\"c" + std::to_string(i) + " WRONG\",\n";
    const std::string what =
        folder.Complaints("[producer]\nFormat = 1\n[schema]\n" + columns + "]\n");
    EXPECT_TRUE(Holds(what, "sections [consumer] and [target] are both missing"));
    EXPECT_TRUE(Holds(what, "Format must be Delimited, Text, Formatted"));
    EXPECT_TRUE(what.ends_with("job.toml: and 13 more")) << what;
}

TEST(LoadJob, FileThatIsNoJobFile)
{
    const JobFolder folder;
    const auto complaint = [](const std::filesystem::path &file) -> std::string {
        try {
            LoadJob(file);
        } catch (const JobError &error) {
            return error.what();
        }
        return {};
    };
    EXPECT_TRUE(Holds(complaint(folder.path() / "none.toml"), "there is no such file"));
    EXPECT_TRUE(Holds(complaint(folder.path()), "is a directory"));
    EXPECT_TRUE(Holds(complaint("/dev/null"), "is not a regular file"));
    EXPECT_TRUE(Holds(folder.Complaints(" \n\n"), "job.toml: error: is empty"));
    EXPECT_TRUE(Holds(folder.Complaints("[job]\nname = \"caf\xE9\"\n"),
                      "job.toml:2:12: error: byte 0xE9 is not UTF-8"));
    EXPECT_TRUE(Holds(folder.Complaints(std::string("\x7F"
                                                    "ELF\x02\0",
                                                    6)),
                      "no job file"));
}

TEST(LoadJob, CommandLineGoesOverTheFileAndThroughItsChecks)
{
    const JobFolder folder;
    const auto file = folder.Write("job.toml", kGood);
    const Job job =
        LoadJob(file, {{"producer", "instances", "2"},
                       {"producer", "FileName", "2024"},  // text, though it looks like a number
                       {"producer", "RowsPerInstance", "5"},
                       {"producer", "SkipRowsEveryFile", "n"},
                       {"job", "name", "2024-01-31"}});
    EXPECT_EQ(job.producer.instances, 2);
    EXPECT_EQ(job.producer.Text("FileName"), "2024");
    EXPECT_EQ(std::get<int32_t>(job.producer.attributes.back().value), 5);
    EXPECT_EQ(job.producer.attributes.back().at, kCommandLine);
    EXPECT_EQ(job.producer.Text("SkipRowsEveryFile"), "n");
    EXPECT_EQ(job.name, "2024-01-31");

    EXPECT_EQ(folder.Complaints(kGood, {{"producer", "SkipRows", "many"}}),
              "command line: error: SkipRows must be a whole number, 0 or more, not \"many\"");
    EXPECT_TRUE(Holds(folder.Complaints(kGood, {{"producr", "SkipRows", "1"}}),
                      "did you mean [producer]?"));
}

TEST(LoadJob, EnvironmentVariablesArePutIn)
{
    const JobFolder folder;
    setenv("FW_TEST_DIR", "/data/$", 1);
    const Job job =
        LoadJob(folder.Write("a.toml", With(kGood, "\"in\"", "\"${FW_TEST_DIR}/$${x}/$y\"")));
    EXPECT_EQ(job.producer.Text("DirectoryPath"), "/data/$/${x}/$y");
    setenv("FW_TEST_DIR", "$${FW_TEST_DIR}", 1);  // what comes in is not looked at again
    EXPECT_EQ(LoadJob(folder.path() / "a.toml").producer.Text("DirectoryPath"),
              "$${FW_TEST_DIR}/${x}/$y");
}

TEST(LoadJob, DocumentedJobsAreGood)
{
    const JobFolder folder;
    std::ifstream page(FENWIRE_DOCS "/job-file.md");
    std::string line, text;
    int jobs = 0;
    for (bool inside = false; std::getline(page, line);) {
        if (inside && line == "```") {
            EXPECT_EQ(folder.Complaints(text), "") << text;
            ++jobs;
            inside = false;
        } else if (line == "```toml") {
            text.clear();
            inside = true;
        } else if (inside) {
            text += line + "\n";
        }
    }
    EXPECT_GE(jobs, 3);
}
