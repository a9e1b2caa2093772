// tests/operator/consumer_test.cpp - a consumer from its first call to its last, over real files.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>

#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"
#include "tests/operator/whole_instance.h"

using namespace std::literals;

namespace {

constexpr uint32_t kChar = 5;

class Consumer : public WholeInstance {
protected:
    Consumer()
    {
        fake.integer["SYSTEM_OperatorType"] = 2;
        fake.text["FileName"] = "out.txt";
        fake.text["Format"] = "Text";
        fake.columns = {{.name = "id", .type = kChar, .length = 2},
                        {.name = "name", .type = kChar, .length = 3}};
    }

    void Send(int rows)
    {
        for (int i = 0; i < rows; ++i)
            fake.stream.push_back(fake.Row({std::to_string(10 + i % 90), "abc"}));
    }
};

}  // namespace

TEST_F(Consumer, RowsBecomeRecordsOfOneFile)
{
    Send(3);
    EXPECT_EQ(Run(), "41 42 43 42 41 42 ");
    EXPECT_EQ(directory.Read("out.txt"), "10abc\n11abc\n12abc\n");
    EXPECT_EQ(fake.exit_code, 0);
    EXPECT_TRUE(fake.Told("19007(Fenwire,1) "));
    EXPECT_TRUE(fake.Told("19222(1," + directory.File("out.txt") + ") "));
    EXPECT_TRUE(fake.Told("19221(1) "));
    EXPECT_EQ(fake.statistics,
              (std::vector<std::string>{"126=0", "120=3", "122=1", "125=0", "124=out.txt"}));
    EXPECT_EQ(Counts(), "ended 1, file 1, records 3, rows 3, refused 0, bytes 18");
    EXPECT_EQ(std::count(fake.calls.begin(), fake.calls.end(), "schema 1"), 1);
    EXPECT_TRUE(fake.globals.empty()) << "what was created is deleted";
}

// ---- Which file, and what becomes of one that is there -------------------------------------------

TEST_F(Consumer, InstanceNumberStandsInTheNameOfItsFile)
{
    // clang-format off
    const struct { const char *given; int32_t instances; std::vector<std::string> names; } cases[] = {
        {"out.dat",    1, {"out.dat"}},
        {"out.dat",    3, {"out.dat-1", "out.dat-2", "out.dat-3"}},
        {"out.dat.gz", 2, {"out.dat-1.gz", "out.dat-2.gz"}},
        {"out.zip",    2, {"out-1.zip", "out-2.zip"}},
        {"a.gz.dat",   2, {"a.gz.dat-1", "a.gz.dat-2"}},
        {"/x/out",     2, {"/x/out-1", "/x/out-2"}},
    };
    // clang-format on
    for (const auto &c : cases) {
        fake.text["FileName"] = c.given;
        fake.integer["SYSTEM_MaxInstances"] = c.instances;
        fake.globals.clear();
        bInitPhase1Done = bOperatorInUse = 0;
        AllocatedFileCount = 0;
        EXPECT_EQ(PX_Initiate(fake.op(), 1), PXSTC_NextPhase) << c.given;
        std::vector<std::string> names;
        for (const std::string &element : fake.globals["FileNames"]) {
            FileNamesEntry entry;
            memcpy(&entry, element.data(), sizeof entry);
            names.emplace_back(entry.Name);
            EXPECT_EQ(entry.Instance, static_cast<int32_t>(names.size()));
            EXPECT_EQ(entry.Status, kInProcess);
        }
        EXPECT_EQ(names, c.names);
        EXPECT_EQ(DirInfo.PassNumber, 1);
    }
}

// ---- One file, and what may happen to it ---------------------------------------------------------

struct Course {
    const char *about;
    const char *statuses;
    const char *message;    // somewhere in the public log
    std::string_view file;  // what it holds at the end; no address: that does not matter
    uint32_t ended;         // of the file's counts; 2: there are none
    uint64_t rows;
    void (*prepare)(Fake &fake, const TempDirectory &directory);
};

void PrintTo(const Course &course, std::ostream *out) { *out << course.message; }

class ConsumerCourse : public Consumer, public testing::WithParamInterface<Course> {};

TEST_P(ConsumerCourse, IsToldAndCounted)
{
    const Course &c = GetParam();
    Send(2);
    c.prepare(fake, directory);
    EXPECT_EQ(Run(), c.statuses);
    EXPECT_TRUE(fake.Told(c.message));
    EXPECT_EQ(fake.exit_code, fake.Told("19987(") ? 4 : c.ended == 1 ? 0 : 12);
    if (c.file.data() != nullptr) {
        EXPECT_EQ(directory.Read("out.txt"), c.file);
    }
    EXPECT_EQ(pmfp, 0U);
    ASSERT_EQ(fake.file_counts.size(), c.ended == 2 ? 0U : 1U);
    if (c.ended == 2)
        return;
    EXPECT_EQ(fake.file_counts[0].ended, c.ended);
    EXPECT_EQ(fake.file_counts[0].rows, c.rows);
    if (c.rows > 0 && c.file.data() != nullptr) {
        EXPECT_EQ(fake.file_counts[0].bytes, c.file.size());
    }
}

ssize_t DiskIsFull(int, const void *, size_t) { return errno = ENOSPC, -1; }

void MakeWide(Fake &fake, size_t rows)
{
    fake.columns[1].length = 65000;
    fake.stream.assign(rows, fake.Row({"10", std::string(65000, 'x')}));
}

using Values = std::vector<std::optional<std::string>>;

void MakeDelimited(Fake &fake, size_t columns, const std::vector<Values> &rows)
{
    fake.text["Format"] = "Delimited";
    fake.columns.assign(columns, {.name = "c"});
    fake.stream.clear();
    for (const Values &row : rows)
        fake.stream.push_back(fake.Row(row));
}

// clang-format off
constexpr Course kCourses[] = {
    {"NoRows", "41 42 42 41 42 ", "19221(1) ", "", 1, 0, [](Fake &f, const auto &) { f.stream.clear(); }},
    {"NothingToAppendTo", "41 48 41 42 ", "19231(", "", 0, 0,
     [](Fake &f, const auto &) { f.text["OpenMode"] = "WriteAppend"; }},
    {"Delimited", "41 42 43 42 41 42 ", "19221(1) ", "1|a b\n|\n", 1, 2,
     [](Fake &f, const auto &) { MakeDelimited(f, 2, {{"1", "a b"}, {std::nullopt, ""}}); }},
    {"RowsWithoutARecord", "41 42 43 42 41 42 ", ",2,1) ", "\xEF\xBB\xBF" "a\n", 1, 3,
     [](Fake &f, const auto &) { MakeDelimited(f, 1, {{std::nullopt}, {""}, {"a"}}); f.text["WriteBOM"] = "Yes"; }},
    {"ByteOrderMark", "41 42 43 42 41 42 ", "19221(1) ", "\xEF\xBB\xBF" "1|2\n", 1, 1,
     [](Fake &f, const auto &) { MakeDelimited(f, 2, {{"1", "2"}}); f.text["WriteBOM"] = "Yes"; }},
    {"IndicatorsTakenOff", "41 42 43 42 41 42 ", "19221(1) ", "\5\0" "10abc\n\5\0" "\0\0abc\n"sv, 1, 2,
     [](Fake &f, const auto &) { f.text["Format"] = "Formatted"; f.stream[1] = f.Row({std::nullopt, "abc"}); }},
    {"IndicatorsWritten", "41 42 43 42 41 42 ", "19221(1) ", "\6\0" "\0" "10abc\n\6\0" "\x80\0\0abc\n"sv, 1, 2,
     [](Fake &f, const auto &) { f.text["Format"] = "Formatted"; f.text["IndicatorMode"] = "Yes"; f.stream[1] = f.Row({std::nullopt, "abc"}); }},
    {"NoPermission", "41 48 41 42 ", "Permission denied", {}, 0, 0,
     [](Fake &, const auto &) { os.create = [](const char *, int, mode_t) { errno = EACCES; return -1; }; }},
    {"DirectoryUnderTheName", "41 48 41 42 ", "Is a directory", {}, 0, 0,
     [](Fake &, const auto &d) { std::filesystem::create_directory(d.File("out.txt")); }},
    {"CompressedName", "41 48 41 42 ", "19990(FileName,", {}, 0, 0,
     [](Fake &f, const auto &) { f.text["FileName"] = "out.gz"; }},
    {"ScanWanted", "48 41 42 ", "19230(EnableScan) ", {}, 2, 0,
     [](Fake &f, const auto &) { f.text["EnableScan"] = "No"; }},
    {"ReadersWanted", "41 42 43 42 41 42 ", "19237(MultipleReaders) ", "10abc\n11abc\n", 1, 2,
     [](Fake &f, const auto &) { f.text["MultipleReaders"] = "Yes"; }},
    {"TwoPaths", "41 42 43 42 41 42 ", "19221(1) ", "10abc\n11abc\n", 1, 2,
     [](Fake &f, const auto &d) { f.text["FileName"] = d.File("out.txt"); f.text["DirectoryPath"] = "/none"; }},
    {"FullAtTheEnd", "41 42 43 48 41 42 ", "19434(pmFlush,34,pmunxWBuf: fwrite byte count error (No space left on device)) 19306() ", "", 0, 2,
     [](Fake &, const auto &) { os.write = DiskIsFull; }},
    {"FullOnTheWay", "41 42 43 48 41 42 ", "19434(pmWrite,", "", 0, 16,
     [](Fake &f, const auto &) { MakeWide(f, 20); os.write = DiskIsFull; }},
    {"NotOnTheDevice", "41 42 43 48 41 42 ", "'fdatasync' error (Input/output error)) 19306() ", {}, 0, 2,
     [](Fake &, const auto &) { os.fdatasync = [](int) { errno = EIO; return -1; }; }},
    {"StreamBreaks", "41 42 43 48 41 42 ", "19015(12) ", "10abc\n11abc\n", 0, 2,
     [](Fake &f, const auto &) { f.failing["PX_GetRow"] = PXSTC_DataStream; }},
    {"ColumnTooLong", "41 42 43 29 41 42 ", "19110(0,id,2,3,2) ", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1] = f.Row({"123", "abc"}); }},
    {"ColumnTooMany", "41 42 43 48 41 42 ", "19109(2,3,2) ", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].columns = 3; }},
    {"NoOffsets", "41 42 43 48 41 42 ", "19100(PX_GetRow: record 2: a part of the row is missing,2) ", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].complete = false; }},
    {"RowCutShort", "41 42 43 48 41 42 ", "record 2: column 2 lies outside of its place in the row's 5 bytes,2) ", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].length = 5; }},
    {"ColumnBehindTheRow", "41 42 43 48 41 42 ", "column 1 lies outside", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].offsets[0] = 5; }},
    {"ColumnsThatOverlap", "41 42 43 48 41 42 ", "column 2 lies outside", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].offsets[1] = 2; }},
    {"ColumnInTheIndicators", "41 42 43 48 41 42 ", "column 1 lies outside", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].offsets[0] = 0; }},
    {"ColumnThatWraps", "41 42 43 48 41 42 ", "column 2 lies outside", "10abc\n", 0, 1,
     [](Fake &f, const auto &) { f.stream[1].offsets[1] = 0xFFFFFFFF; }},
    {"RowLongerThanTheBuffer", "41 42 48 41 42 ", "19471(2000003,2000002) 19417(pmWrite,", "", 0, 0,
     [](Fake &f, const auto &) { f.columns[1].length = 2000000; f.stream = {f.Row({"10", std::string(2000000, 'x')})}; }},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(One, ConsumerCourse, testing::ValuesIn(kCourses),
                         [](const auto &course) { return course.param.about; });
