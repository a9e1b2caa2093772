// tests/restart/restart_test.cpp - restarts after every row, and checkpoint records to the byte.

#include <cstring>

#include "fileset/fileset_state.h"
#include "pm/pm_state.h"
#include "tests/restart/lives.h"

using namespace std::literals;

namespace {

// ---- Files of all kinds ------------------------------------------------------------------------

FakeColumn Column(const char *name, uint32_t type, uint32_t length, uint32_t metadata = 0)
{
    return {.name = name, .type = type, .length = length, .metadata = metadata};
}
const std::vector<FakeColumn> kVarying = {Column("id", 7, 40), Column("name", 7, 40)};
const std::vector<FakeColumn> kFixed = {Column("id", 5, 3), Column("name", 5, 4)};

// Records that grow and shrink, so that blocks end everywhere in them. The last line has no mark.
std::string Lines(int count, const std::string &mark, const std::string &quote = "",
                  const std::string &odd = "")
{
    std::string lines;
    for (int i = 1; i <= count; ++i)
        lines += quote + std::to_string(i) + quote + "," + quote + std::string(i % 13, 'x') +
                 (quote.empty() || i % 3 != 0 ? "" : mark + "y") + quote +
                 (odd.empty() || i % 4 != 1 ? "" : odd) + (i < count ? mark : "");
    return lines;
}

std::string Wide(const std::string &text)
{
    std::string wide;
    for (const char c : text)
        wide += {c, '\0'};
    return wide;
}

std::string Records(int count, size_t prefix, const std::string &trailer, bool varying)
{
    std::string records;
    for (int i = 100; i < 100 + count; ++i) {
        const std::string id = std::to_string(i), name(varying ? i % 13 : 4, 'x');
        const auto length = [](size_t bytes) {
            return std::string{static_cast<char>(bytes), '\0'};
        };
        const std::string data = varying ? length(3) + id + length(name.size()) + name : id + name;
        records += prefix == 0 ? "" : length(data.size()) + std::string(prefix - 2, '\0');
        records += data + trailer;
    }
    return records;
}

std::map<std::string, std::string> Format(const char *format, const char *name = "data",
                                          std::map<std::string, std::string> more = {})
{
    more.insert({{"Format", format}, {"FileName", name}});
    if (format == "Delimited"s)
        more["TextDelimiter"] = ",";
    return more;
}

// clang-format off
const Setting kProducers[] = {
    {"LineFeeds", Format("Delimited"), kVarying, {{"data", Lines(40, "\n")}}},
    {"CarriageReturns", Format("Delimited"), kVarying, {{"data", Lines(30, "\r\n") + "\r\n"}}},
    {"Utf8Mark", Format("Delimited"), kVarying, {{"data", "\xEF\xBB\xBF" + Lines(30, "\r\n")}}},
    {"Utf16", Format("Delimited"), kVarying, {{"data", "\xFF\xFE" + Wide(Lines(25, "\r\n"))}}, {}, true},
    {"LineEndsInQuotes", Format("Delimited", "*.csv", {{"QuotedData", "Yes"}}),
     {kVarying[0], kVarying[1], Column("file", 7, 99, 1)}, {{"a.csv", Lines(30, "\r\n", "\"")}, {"b.csv", Lines(20, "\n", "\"")}}},
    {"EveryFileSkips", Format("Delimited", "*.csv", {{"SkipRowsEveryFile", "Yes"}}), kVarying,
     {{"a.csv", Lines(20, "\n")}, {"b.csv", ""}, {"c.csv", Lines(3, "\n")}, {"d.csv", Lines(12, "\n")}}, {{"SkipRows", 4}}},
    {"SkipsOverFiles", Format("Delimited", "*.csv"), kVarying, {{"a.csv", Lines(20, "\n")}, {"b.csv", Lines(20, "\n")}}, {{"SkipRows", 25}}},
    {"BadRecords", Format("Delimited", "*.csv", {{"RecordErrorFileName", ""}, {"RecordErrorVerbosity", "High"}}), kVarying,
     {{"a.csv", Lines(30, "\n", "", ",z")}, {"b.csv", Lines(9, "\n", "", ",z")}}, {{"SkipRows", 2}}},
    {"ChangedRows", Format("Delimited", "data", {{"RecordErrorFileName", ""}, {"AcceptExcessColumns", "Yes"}}), kVarying,
     {{"data", Lines(20, "\n", "", ",z")}}},
    {"RowLimit", Format("Delimited", "*.csv"), kVarying, {{"a.csv", Lines(9, "\n")}, {"b.csv", Lines(20, "\n")}, {"c.csv", Lines(2, "\n")}}, {{"RowsPerInstance", 17}}},
    {"RowLimitOfSecondInstance", Format("Delimited", "*.csv"), kVarying,
     {{"a.csv", Lines(4, "\n")}, {"b.csv", Lines(9, "\n")}, {"c.csv", Lines(4, "\n")}, {"d.csv", Lines(20, "\n")}, {"e.csv", Lines(20, "\n")}},
     {{"RowsPerInstance", 17}}, false, 2, 2},
    {"BadRecordsOfSecondInstance", Format("Delimited", "*.csv", {{"RecordErrorFileName", ""}}), kVarying,
     {{"a.csv", Lines(60, "\n")}, {"b.csv", Lines(20, "\n", "", ",z")}, {"c.csv", Lines(9, "\n", "", ",z")}},
     {{"ErrorLimit", 100}}, false, 2, 2},
    {"Text", Format("Text"), kFixed, {{"data", Records(30, 0, "\n", false)}}},
    {"Binary", Format("Binary"), kVarying, {{"data", Records(30, 2, "", true)}}},
    {"Formatted", Format("Formatted"), kFixed, {{"data", Records(30, 2, "\n", false)}}},
    {"Formatted4", Format("Formatted4"), kVarying, {{"data", Records(30, 4, "\n", true)}}, {{"SYSTEM_JobMaxRowSize_Allow", 1024}}},
    {"Unformatted", Format("Unformatted"), kFixed, {{"data", Records(30, 0, "", false)}}},
    {"UnformattedVarying", Format("Unformatted"), kVarying, {{"data", Records(30, 0, "", true)}}},
};
const Setting kConsumers[] = {
    {"WritesText", Format("Text"), kFixed},
    {"WritesDelimited", Format("Delimited", "data", {{"QuotedData", "Optional"}}), kVarying},
    {"WritesUtf16Mark", Format("Delimited", "data", {{"WriteBOM", "Yes"}}), kVarying, {}, {}, true},
    {"WritesBinary", Format("Binary"), kVarying},
    {"WritesFormatted", Format("Formatted"), kFixed},
    {"WritesUnformatted", Format("Unformatted"), kVarying},
    {"WritesAsSecondInstance", Format("Delimited"), kVarying, {}, {}, false, 2, 2},
};
// clang-format on

// ---- Two lives make one ------------------------------------------------------------------------

class TwoLives : public testing::TestWithParam<Setting> {
protected:
    TwoLives() : setting(GetParam())
    {
        for (const auto &[name, contents] : setting.files)
            directory.Write(name, contents);
    }

    Life LiveOnce()
    {
        Setting first = setting;
        first.instance = 1;
        const std::string globals = InChild([&] {
            Play play(first, directory);
            PX_Initiate(play.fake.op(), 1);
            return play.Globals();
        });
        return UnpackLife(InChild([&] {
            Play play(setting, directory);
            if (setting.instance > 1)
                play.SetGlobals(globals);
            Feed(play, 0);
            return play.Start() ? PackLife(play.Live(true)) : Pack({play.fake.public_log});
        }));
    }

    // "good", or what is different in the life that begins with the snapshot. A checkpoint of its own, before
    // its first row, may tell of the same place in other words.
    std::string LiveAgain(const Words &events, const Words &from)
    {
        Play play(setting, directory);
        const auto before = static_cast<std::ptrdiff_t>(std::stoul(from[kEvents]));
        Feed(play, std::stoi(from[kTaken]));
        play.GoOnFrom(from);
        if (!play.Start())
            return "does not start: " + play.fake.public_log;
        const std::string again = Uncounted(play.Take());
        const Words behind = play.Live(false)[0];
        const Words expected(events.begin() + before, events.end());
        if (behind != expected)
            return testing::PrintToString(behind) + " instead of " +
                   testing::PrintToString(expected);
        return again == Uncounted(from[kRecord]) ? "good" : kElsewhere + again;
    }

    const std::string kElsewhere = "elsewhere: ";
    const Setting &setting;
    TempDirectory directory;

private:
    void Feed(Play &play, int from) const
    {
        for (int i = 100 + from; setting.files.empty() && i < 130; ++i) {
            const bool fixed = setting.columns[1].type == 5;
            const std::string id = std::to_string(i),
                              name(static_cast<size_t>(fixed ? 4 : i % 11), 'n');
            std::optional<std::string> last = setting.wide ? Wide(name) : name;
            if (!fixed && i % 7 == 0)
                last.reset();
            play.fake.stream.push_back(play.fake.Row({setting.wide ? Wide(id) : id, last}));
        }
    }

    // A record without the number of the checkpoint.
    std::string Uncounted(std::string record) const
    {
        if (setting.instance == 1)
            record.replace(offsetof(DirInfoImage, EvtCkptCount), 4, 4, '\0');
        return record;
    }
};

}  // namespace

TEST_P(TwoLives, MakeOneFromEveryRowOn)
{
    const std::string output = setting.instance == 1 ? "data" : "data-2";
    const Life first = LiveOnce();
    const std::string written = directory.Read(output), errors = directory.Read("bad");

    ASSERT_GT(first.size(), 10U) << testing::PrintToString(first);
    ASSERT_TRUE(first[0].back().starts_with("42 ")) << first[0].back();
    for (size_t i = 1; i < first.size() && !HasFailure(); ++i) {
        // What was written behind the checkpoint, maybe in part. Behind the last one nothing is.
        const std::string torn = i + 1 < first.size() ? "half a rec" : "";
        directory.Write("bad", errors + torn);
        if (setting.files.empty())
            directory.Write(output, written + torn);
        Words from = first[i];
        std::string answer = InChild([&] { return LiveAgain(first[0], from); });
        if (answer.starts_with(kElsewhere)) {
            from[kRecord] = answer.substr(kElsewhere.size());
            answer = InChild([&] { return LiveAgain(first[0], from); });
        }
        EXPECT_EQ(answer, "good") << "checkpoint " << i;
        EXPECT_EQ(directory.Read(output), written) << "checkpoint " << i;
        if (setting.instance == 1 && setting.text.count("RecordErrorFileName") != 0) {
            EXPECT_EQ(directory.Read("bad"), errors) << "checkpoint " << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Producers, TwoLives, testing::ValuesIn(kProducers),
                         [](const auto &setting) { return setting.param.about; });
INSTANTIATE_TEST_SUITE_P(Consumers, TwoLives, testing::ValuesIn(kConsumers),
                         [](const auto &setting) { return setting.param.about; });

// ---- To the byte -------------------------------------------------------------------------------

namespace {

const Setting kThreeFiles = {"",
                             Format("Delimited", "*.csv", {{"RecordErrorFileName", ""}}),
                             kVarying,
                             {{"a.csv", "h,h\n1,a\nbad\n2,b\n3,c\n"},
                              {"b.csv", "1,a\n2,b\n3,c\n4,d\n5,e\n6,f\n"},
                              {"c.csv", "5,e\n6,f\n"}},
                             {{"SkipRows", 1}},
                             false,
                             1,
                             2};
constexpr size_t kHead = 12376, kEntry = 4120, kPosition = 40;

uint32_t WordAt(const std::string &record, size_t offset)
{
    uint32_t word = 0xEEEEEEEE;
    if (offset + sizeof word <= record.size())
        memcpy(&word, record.data() + offset, sizeof word);
    return word;
}

std::string With(std::string record, size_t offset, uint32_t word)
{
    memcpy(record.data() + offset, &word, sizeof word);
    return record;
}

// The words of a record, all other bytes of it being 0: it is read by later builds.
using ByteTable = std::vector<std::tuple<const char *, size_t, uint32_t>>;

std::string AsBytes(const ByteTable &table, size_t size)
{
    std::string bytes(size, '\0');
    for (const auto &[about, offset, word] : table)
        bytes = With(bytes, offset, word);
    return bytes;
}

void ExpectBytes(const std::string &record, const std::string &expected, const ByteTable &table)
{
    ASSERT_EQ(record.size(), expected.size());
    for (const auto &[about, offset, word] : table)
        EXPECT_EQ(WordAt(record, offset), word) << about;
    for (size_t i = 0; i < record.size() && !testing::Test::HasFailure(); ++i)
        EXPECT_EQ(record[i], expected[i]) << i;
}

class Records : public testing::Test {
protected:
    explicit Records(int instance = 1) : setting(kThreeFiles)
    {
        for (const auto &[name, contents] : setting.files)
            directory.Write(name, contents);
        globals = InChild([this] {
            Play play(setting, directory);
            PX_Initiate(play.fake.op(), 1);
            return play.Globals();
        });
        setting.instance = instance;
    }

    // The record behind so many rows, or behind the last one.
    std::string RecordBehind(int rows)
    {
        return InChild([&] {
            Play play(setting, directory);
            if (setting.instance > 1)
                play.SetGlobals(globals);
            play.Start();
            for (int i = 0; i < rows; ++i)
                PX_Execute(play.fake.op(), 1);
            return Pack({play.Take(), play.Globals()});
        });
    }

    // "0 started" or what the public log and the exit code say.
    std::string StartFrom(const std::string &record,
                          const std::function<std::string(Play &)> &then = {},
                          const std::function<void(Play &)> &before = {})
    {
        return InChild([&] {
            Play play(setting, directory);
            play.GoOnFrom({"0", "0", record, globals, ""});
            if (before)
                before(play);
            if (play.Start())
                return then ? then(play) : "started"s;
            return std::to_string(play.fake.exit_code) + " " + play.fake.public_log;
        });
    }

    Setting setting;
    TempDirectory directory;
    std::string globals;
};

class RecordsOfSecond : public Records {
protected:
    RecordsOfSecond() : Records(2) {}
};

}  // namespace

TEST_F(Records, HoldAllFilesAndTheOwnPosition)
{
    const std::string record = Unpack(RecordBehind(2))[0];
    const size_t second = kHead + kEntry, third = second + kEntry, position = third + kEntry;
    // clang-format off
    const ByteTable bytes = {
        {"directory given", 12292, 1}, {"pass", 12300, 1}, {"scan", 12304, 1}, {"checkpoints", 12312, 1},
        {"files", 12324, 3}, {"instances", 12332, 2}, {"rows", 12336, 2}, {"skipped", 12340, 1},
        {"status", kHead, 1}, {"instance", kHead + 4, 1}, {"size", kHead + 8, 20},
        {"second status", second, 1}, {"second instance", second + 4, 2}, {"second size", second + 8, 24},
        {"third instance", third + 4, 1}, {"third size", third + 8, 8},
        {"bad records", position, 1}, {"file's records", position + 4, 3}, {"data length", position + 8, kPosition},
        {"errors length", position + 12, kPosition}, {"errors of", position + 16, 1},
        {"place in block", position + 20 + 16, 16}, {"records read", position + 20 + 20, 4},
        {"place of errors", position + 20 + kPosition + 8, 4}, {"lines of errors", position + 20 + kPosition + 20, 1},
        {"rows again", position + 20 + 2 * kPosition, 2},
    };
    // clang-format on
    std::string expected = AsBytes(bytes, position + 20 + 2 * kPosition + 4);
    expected.replace(0, directory.path().size() + 1, directory.path() + "/");
    for (const size_t entry : {kHead, second, third}) {
        expected.replace(entry + 16, 5, setting.files[(entry - kHead) / kEntry].first);
        expected = With(expected, entry + 4112, WordAt(record, entry + 4112));  // the file's time
    }
    ExpectBytes(record, expected, bytes);

    const std::string last = Unpack(RecordBehind(99))[0];
    ASSERT_EQ(last.size(), position) << "no file open, no position";
    EXPECT_EQ(WordAt(last, 12320), 2U);
    EXPECT_EQ(WordAt(last, 12372), 2U);
    EXPECT_EQ(WordAt(last, kHead), 2U);
}

TEST_F(RecordsOfSecond, HoldThePositionAndThePlace)
{
    // clang-format off
    const ByteTable bytes = {
        {"file's records", 4, 2}, {"data length", 8, kPosition}, {"errors length", 12, kPosition}, {"errors of", 16, 2},
        {"place in block", 20 + 16, 12}, {"records read", 20 + 20, 3}, {"rows", 20 + 2 * kPosition, 2},
        {"place, not counted in the position", 20 + 2 * kPosition + 4, 0},
    };
    // clang-format on
    const std::string record = Unpack(RecordBehind(2))[0];
    ExpectBytes(record, AsBytes(bytes, 20 + 2 * kPosition + 4 + 4), bytes);
    EXPECT_EQ(Unpack(RecordBehind(99))[0], "") << "no file open, no record";
}

// ---- What is not believed ----------------------------------------------------------------------

TEST_F(Records, DamageIsNamedBeforeAFileIsTouched)
{
    const std::string record = Unpack(RecordBehind(2))[0];
    const size_t position = kHead + 3 * kEntry;
    // clang-format off
    const struct { size_t offset; uint32_t word; const char *said; } cases[] = {
        {12332, 3, "19150(3,2)"}, {12332, 0, "19150(0,2)"},
        {12324, 0, "number of files"}, {12324, 4, "number of files"}, {12324, 0x80000003, "number of files"}, {12324, 0x7FFFFFFF, "number of files"},
        {12372, 4, "current file"}, {12372, 0xFFFFFFFF, "current file"}, {12344, 1, "several readers"},
        {12356, 2, "setting"}, {12356, 0x10000, "setting"},
        {kHead, 4, "unknown status"}, {kHead, 0xFFFFFFFF, "unknown status"}, {kHead, 2, "no file that was begun"},
        {kHead + 4, 0, "no instance"}, {kHead + 4, 3, "no instance"}, {kHead + 12, 0x80000000, "negative size"},
        {position + 8, 0xFFFFFFFF, "longer than the record"}, {position + 8, 0, "19308()"}, {position + 12, 45, "longer than the record"},
        {position + 20, 2, "damaged position block"}, {position + 20 + 8, 999, "19308()"},
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_NE(StartFrom(With(record, c.offset, c.word)).find(c.said), std::string::npos)
            << c.offset << ": " << StartFrom(With(record, c.offset, c.word));
    const struct {
        std::string name;
        const char *said;
    } names[] = {{std::string(4096, 'x'), "has no end"},
                 {"a.txt"s + '\0', "none that the job names"},
                 {"/etc/a.csv"s + '\0', "none that the job names"}};
    for (const auto &c : names)
        EXPECT_NE(
            StartFrom(std::string(record).replace(kHead + 16, c.name.size(), c.name)).find(c.said),
            std::string::npos)
            << c.said;
    for (size_t length = 1; length < record.size(); length += length < position ? 555 : 1)
        EXPECT_NE(StartFrom(record.substr(0, length)).find(" 19985(1,"), std::string::npos)
            << length;
    EXPECT_EQ(StartFrom(record), "started");
}

TEST_F(RecordsOfSecond, DamageIsNamedToo)
{
    const Words taken = Unpack(RecordBehind(2));
    globals = taken[1];
    for (const uint32_t place : {0xFFFFFFFF, 1U, 1000U})
        EXPECT_NE(StartFrom(With(taken[0], taken[0].size() - 4, place)).find("19985(2,"),
                  std::string::npos)
            << place;
    for (size_t length = 1; length < taken[0].size(); ++length)
        EXPECT_TRUE(StartFrom(taken[0].substr(0, length)).starts_with("12 ")) << length;
    EXPECT_EQ(StartFrom(taken[0]), "started");
    // It is one of several that were taken at one time.
    EXPECT_NE(StartFrom("").find("19985(2,it is missing"), std::string::npos);
    const auto without_first = [this](Play &play) { play.SetGlobals(globals); };
    EXPECT_NE(StartFrom(taken[0], {}, without_first).find("instance 1, which it belongs to"),
              std::string::npos);
    EXPECT_EQ(StartFrom("", {}, without_first), "started");
}

// ---- What a record carries besides -------------------------------------------------------------

TEST_F(Records, TraceLevelOfAUserOutlivesTheRun)
{
    const std::string record = With(With(Unpack(RecordBehind(1))[0], 12356, 0x10000), 12368, 4);
    EXPECT_EQ(StartFrom(record,
                        [](Play &play) {
                            return std::to_string(FW_TraceLvl) + " " +
                                   std::to_string(WordAt(play.Take(), 12368));
                        }),
              "4 4");
}

// The record that failed lies in front of the position: whoever went on from there would miss it.
TEST_F(Records, AreNotWrittenWhereACallFailed)
{
    const auto fail = [](Play &play) {
        play.fake.put_row_status = PXSTC_Length;
        PX_Execute(play.fake.op(), 1);
        const std::string taken = play.Take();
        CurrentExitCode = 0;  // a row of a wrong length does not raise it
        return taken + play.Take();
    };
    EXPECT_EQ(StartFrom("", fail), "failedfailed");
}

TEST_F(Records, WithoutOneTheFilesAreReadFromTheStart)
{
    const auto rows = [](Play &play) {
        std::string shown;
        for (const std::string &event : play.Live(false)[0])
            shown += event.size() == 3 ? event + " " : "";
        return shown;
    };
    EXPECT_EQ(StartFrom("", rows), "1|a 2|b 3|c 5|e 6|f ");
}

// The limit is one over all instances and all runs.
TEST_F(Records, BadRecordsOfAllInstancesCountToTheLimitAgain)
{
    const std::string record = Unpack(RecordBehind(2))[0];
    const auto go_on = [](Play &play) {
        play.fake.globals["RecordErrorCount"][1][4] = 2;
        const PxStatus status = PX_Execute(play.fake.op(), 1);
        return std::to_string(status) + " " +
               std::to_string(WordAt(play.fake.globals["GlblRecordErrorCount"][0], 0));
    };
    setting.integer["ErrorLimit"] = 4;
    EXPECT_EQ(StartFrom(record, go_on), "43 3");
    // With files of its own or without, instance 1 adds up.
    const std::string ended = Unpack(RecordBehind(9))[0];
    EXPECT_EQ(StartFrom(ended, go_on), "42 3");
    setting.integer["ErrorLimit"] = 3;
    EXPECT_EQ(StartFrom(record, go_on), "48 0");
    EXPECT_EQ(StartFrom(ended, go_on), "48 0");
}
