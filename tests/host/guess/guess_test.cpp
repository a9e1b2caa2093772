// tests/host/guess/guess_test.cpp - small files, and the settings that must be guessed for them.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include "host/guess/guess.h"
#include "tests/host/job/job_files.h"
#include "tests/support/holds.h"

namespace fenwire {

namespace {

using namespace std::string_literals;

std::string JobFor(const JobFolder &folder, const std::vector<std::string> &names,
                   HeaderChoice header = HeaderChoice::Guess)
{
    GuessRequest request;
    request.header = header;
    for (const std::string &name : names)
        request.files.push_back(folder.path() / name);
    try {
        return WriteJob(GuessFiles(request), folder.path() / "guessed.toml").text;
    } catch (const GuessError &error) {
        return "refused: "s + error.what() + "\n" + error.hint;
    }
}

std::string Utf16(std::string_view ascii)
{
    std::string wide;
    for (const char c : ascii)
        wide += {c, '\0'};
    return wide;
}

// "%" in the line is its number.
std::string Lines(int count, const std::string &line)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        for (const char c : line)
            text += c == '%' ? std::to_string(i) : std::string(1, c);
    }
    return text;
}

}  // namespace

TEST(Guess, FindsTheSettingsOfSmallFiles)
{
    const struct {
        const char *about;
        std::string content;
        std::vector<const char *> wanted;
        std::vector<const char *> never = {};
    } kCases[] = {
        {"comma, header, quotes where needed",
         "id,Full Name,id\r\n1,\"a, b\",2\r\n2,c,3\r\n",
         {"TextDelimiter = \",\"", "QuotedData = \"Optional\"", "end with CRLF", "SkipRows = 1 ",
          "SkipRowsEveryFile = true", "\"id VARCHAR(", "\"Full_Name VARCHAR(", "\"id_2 VARCHAR(",
          "RecordErrorFileName = \"a.bad\"", "called \"Full Name\"", "charset = \"ASCII\""}},
        {"all quoted, numbers as well", "\"1\",\"x\"\n\"2\",\"y\"\n", {"QuotedData = \"Yes\""}},
        {"decimal comma",
         "1;2,5;x\n2;3,5;y\n",
         {"TextDelimiter = \";\"", "QuotedData = \"No\"", "decimal comma"},
         {"SkipRows"}},
        {"commas in texts", "1|Last, First\n2|Other, Name\n", {"TextDelimiter = \"|\""}},
        {"delimiter of two bytes", "a||b\n1||x\n2||y\n", {"TextDelimiter = \"||\""}},
        {"empty columns are no delimiter of two bytes",
         "1||x|7\n2|4||8\n3|||9\n",
         {"TextDelimiter = \"|\"", "\"column_4 "}},
        {"tab", "a\tb\n1\t2\n", {"TextDelimiter = \"TAB\"", "\"a VARCHAR(8)\""}},
        {"caret", "1^2\n3^4\n", {"TextDelimiter = \"^\""}},
        {"unit separator",
         "1\x1f"
         "a b\n2\x1f"
         "c d\n",
         {"TextDelimiterHEX = \"1F\""}},
        {"times are no columns", "10:30:00,Hello\n11:45:00,Bye\n", {"TextDelimiter = \",\""}},
        {"escape before quotes",
         "\"a\\\"b\",1\n\"c\",2\n",
         {"EscapeQuoteDelimiter = \"\\\\\""},
         {"EscapeTextDelimiter"}},
        {"backslashes before others too",
         "\"a\\\"b\",1\n\"c\\n\",2\n",
         {"EscapeQuoteDelimiter = \"\\\\\"", "EscapeTextDelimiter = \"\\\\\""}},
        {"escape before delimiters",
         "a\\|b|1\nc|2\n",
         {"EscapeTextDelimiter = \"\\\\\""},
         {"EscapeQuoteDelimiter"}},
        {"a path that ends with a backslash",
         "\"C:\\x\\\",1\n\"C:\\y\\\",2\n",
         {"QuotedData"},
         {"Escape"}},
        {"single quotes", "'a,b',1\n'c',2\n", {"OpenQuoteMark = \"'\"", "\"column_2 "}},
        {"apostrophes are none", "don't,1\nit's,2\n", {"QuotedData = \"No\""}},
        {"line ends inside quotes",
         "id,t\n1,\"a\nb\"\n2,\"c\nd\"\n",
         {"QuotedData = \"Optional\"", "2 records have line ends inside"}},
        {"a delimiter at each end",
         "1|a|\n2|b|\n",
         {"ends with a delimiter", "\"column_2 "},
         {"\"column_3 "}},
        {"title above the names", "Report\n\nid,n\n1,a\n2,b\n3,c\n", {"SkipRows = 3 "}},
        {"texts under words that name columns",
         "name,city\nAnn,Oslo\nBob,Rome\n",
         {"SkipRows = 1 "}},
        {"texts that may be anything",
         "red,green\nblue,white\n",
         {"No line of column names is taken for sure"},
         {"SkipRows = 1 "}},
        {"records that do not fit",
         "id,v\n" + Lines(20, "%,x%\n") + "7\n1,2,3\n",
         {"NOTE: 2 records do not fit",
          "record 22 of a.csv: 1 column; record 23 of a.csv: 3 columns"}},
        {"a quote that goes on behind its end",
         "id,v\n" + Lines(20, "%,\"x%\"\n") + "7,\"a\"b\n",
         {"NOTE: 1 record is badly quoted, and will end the job: record 22 of a.csv"}},
        {"UTF-8 with a mark",
         "\xef\xbb\xbfid,n\n1,Zo\xc3\xab\n",
         {"charset = \"UTF8\"", "byte order mark", "\"id VARCHAR", "up to 4 bytes"}},
        {"a set of one byte", "1,Z\xfcrich\n2,K\xf6ln\n", {"charset = \"ASCII\"", "no UTF-8"}},
        {"UTF-16 with a mark",
         "\xff\xfe" + Utf16("1,abc\r\n2,d\r\n"),
         {"charset = \"UTF16\"", "TextDelimiter = \",\"", "up to 6 bytes"}},
        {"UTF-16 by its pattern",
         Utf16("1\x1f"
               "a\n2\x1f"
               "b\n"),
         {"charset = \"UTF16\"", "TextDelimiterHEX = \"1F00\""}},
        {"dates by day or by month",
         "13/01/2024,2024-01-02 10:00:00\n02/01/2024,2024-05-06 11:00:00.5\n",
         {"dates as DD/MM/YYYY", "dates as YYYY-MM-DD HH:MI:SS"}},
        {"numbers that are none",
         "007,20240131,1e5\n8,20240201,-.5\n",
         {"leading zeros", "digits, dates as YYYYMMDD", ", numbers"}},
        {"empty values", "1,\n2,\n3,x\n4,\n", {"75 % empty"}},
        {"names that would break out",
         "a\"]\\,${HOME},1st\n1,2,3\n",
         {"\"a VARCHAR", "\"HOME VARCHAR", "\"c_1st VARCHAR"}},
        {"a column without a name", ",b,c\n1,2,3\n", {"SkipRows = 1 ", "\"column_1 VARCHAR"}},
    };
    const JobFolder folder;
    for (const auto &c : kCases) {
        folder.Write("a.csv", c.content);
        const std::string job = JobFor(folder, {"a.csv"});
        for (const char *wanted : c.wanted)
            EXPECT_TRUE(Holds(job, wanted)) << c.about;
        for (const char *never : c.never)
            EXPECT_FALSE(Holds(job, never)) << c.about;
        EXPECT_EQ(folder.Complaints(job), "") << c.about << "\n" << job;
    }
}

TEST(Guess, RefusesWhatCanNotBeLoaded)
{
    const struct {
        const char *about;
        std::string content;
        const char *wanted;
    } kCases[] = {
        {"nothing in it", "", "is empty"},
        {"a mark only", "\xef\xbb\xbf", "byte order mark and nothing else"},
        {"carriage returns alone", "1,2\r3,4\r5,6\r", "tr '\\r' '\\n'"},
        {"machine code",
         "\x7f"
         "ELF\2\1\1\0\0\0\0\0\0\0\0\0\3\0\3\4\5\6\7"s,
         "is no text"},
        {"compressed", "\x1f\x8b\x08", "gunzip"},
        {"UTF-16 the other way round", "\xfe\xff\0a\0\n"s, "iconv"},
        {"UTF-32", "\xff\xfe\0\0a\0\0\0"s, "UTF-32"},
        {"one line without end", std::string(Sample::kWhole + 1, 'x'), "hold no line end"},
    };
    const JobFolder folder;
    for (const auto &c : kCases) {
        folder.Write("a.csv", c.content);
        const std::string answer = JobFor(folder, {"a.csv"});
        EXPECT_TRUE(answer.starts_with("refused: ")) << c.about << answer;
        EXPECT_TRUE(Holds(answer, c.wanted)) << c.about;
    }
    mkfifo((folder.path() / "pipe").c_str(), 0600);
    EXPECT_TRUE(Holds(JobFor(folder, {"pipe"}), "named pipe"));
    EXPECT_TRUE(Holds(JobFor(folder, {"."}), "is a directory"));
    EXPECT_TRUE(Holds(JobFor(folder, {"none"}), "No such file"));
}

TEST(Guess, SeveralFilesAgreeOrItSaysWhereTheyDiffer)
{
    const JobFolder folder;
    const char *names = "id,v\n1,a\n";
    folder.Write("x1.csv", names);
    const struct {
        const char *about, *name;
        std::string content;
        HeaderChoice header;
        const char *wanted;
    } kCases[] = {
        {"alike, but quoted", "x2.csv", "id,v\n2,\"b,c\"\n", HeaderChoice::Guess, "\"x*.csv\""},
        {"another delimiter", "x2.csv", "id;v\n2;b\n", HeaderChoice::Guess, "in their delimiter"},
        {"more columns", "x2.csv", "id,v,w\n2,b,c\n", HeaderChoice::Guess, "in their columns"},
        {"another encoding", "x2.csv", Utf16("id,v\n2,b\n"), HeaderChoice::Guess,
         "in their encoding"},
        {"no header", "x2.csv", "2,b\n3,c\n", HeaderChoice::Guess, "do not begin alike"},
        {"no header wanted", "x2.csv", "2,b\n3,c\n", HeaderChoice::No, "no line of column names"},
        {"nothing in common but others there", "q", names, HeaderChoice::Guess,
         "nothing in common"},
    };
    for (const auto &c : kCases) {
        folder.Write(c.name, c.content);
        const std::string answer = JobFor(folder, {"x1.csv", c.name}, c.header);
        EXPECT_TRUE(Holds(answer, c.wanted)) << c.about;
    }
    folder.Write("guessed.tom", names);
    folder.Write("guessed.tomato", names);
    EXPECT_TRUE(Holds(JobFor(folder, {"guessed.tom", "guessed.tomato"}), "would be read as data"));
    // What the job writes beside its input must not become its input.
    folder.Write("part1", names);
    folder.Write("part2", names);
    EXPECT_TRUE(Holds(JobFor(folder, {"part1", "part2"}), "\"loaded-part.db\""));
}

TEST(Guess, LooksAtMiddleAndTailOfLongFiles)
{
    const JobFolder folder;
    std::string text = "id,note\n" + Lines(60'000, "%,\"line\none of %\"\n");
    text.insert(text.rfind("line"), 200, 'z');
    folder.Write("a.csv", text);
    const std::string job = JobFor(folder, {"a.csv"});
    EXPECT_TRUE(Holds(job, "head, middle and tail"));
    EXPECT_TRUE(Holds(job, "up to 217 bytes"));
    EXPECT_FALSE(Holds(job, "NOTE"));
}

}  // namespace fenwire
