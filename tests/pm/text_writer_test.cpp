// tests/pm/text_writer_test.cpp - records written to files: what stands in them, and what fails.

#include <random>
#include <vector>

#include "tests/pm/faulty_calls.h"
#include "tests/pm/pm_fixture.h"

using namespace std::string_literals;

namespace {

int syncs = 0;

}  // namespace

class TextWriter : public Pm {
protected:
    // The bytes of the file after these records and a close.
    std::string Written(const std::vector<std::string> &records, uint32_t buffer_size = 64,
                        uint16_t mode = kOpenWrite)
    {
        EXPECT_EQ(Open(path, buffer_size, mode), pmrcOk);
        for (const std::string &record : records)
            EXPECT_EQ(Write(record), pmrcOk) << record;
        EXPECT_EQ(pmFlush(file), pmrcOk);
        EXPECT_EQ(pmClose(file), pmrcOk);
        return directory.Read("out.txt");
    }

    const std::string path = directory.File("out.txt");
};

TEST_F(TextWriter, WhatStandsInTheFile)
{
    // clang-format off
    static const struct {
        const char *about, *charset;
        int32_t write_mark;
        uint16_t mode;
        const char *before;
        std::vector<std::string> records;
        std::string after;
    } kCases[] = {
        {"new",              "ASCII", kNo,  kOpenWrite,       "old\n", {"a", "b\r", "c"}, "a\nb\r\nc\n"},
        {"empty record",     "ASCII", kNo,  kOpenWrite,       "",      {"a", "", "b"},    "a\nb\n"},
        {"nothing",          "UTF8",  kYes, kOpenWrite,       "old",   {""},              ""},
        {"append",           "ASCII", kNo,  kOpenWriteAppend, "old\n", {"a"},             "old\na\n"},
        {"mark, ASCII",      "ASCII", kYes, kOpenWrite,       "",      {"a"},             "a\n"},
        {"mark, UTF-8",      "UTF8",  kYes, kOpenWrite,       "",      {"a", "b"},        "\xEF\xBB\xBF" "a\nb\n"},
        {"mark, UTF-16",     "UTF16", kYes, kOpenWrite,       "",      {"a\0"s, "b\0"s},  "\xFF\xFE" "a\0\n\0b\0\n\0"s},
        {"mark, append",     "UTF8",  kYes, kOpenWriteAppend, "old\n", {"a"},             "old\na\n"},
        {"mark, empty file", "UTF8",  kYes, kOpenWriteAppend, "",      {"a"},             "\xEF\xBB\xBF" "a\n"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        pmSetCharSet(c.charset);
        bWriteBOM = c.write_mark;
        for (const uint32_t buffer_size : {4U, 5U, 64U}) {
            directory.Write("out.txt", c.before);
            EXPECT_EQ(Written(c.records, buffer_size, c.mode), c.after)
                << c.about << ", " << buffer_size;
        }
    }
}

TEST_F(TextWriter, RecordMustFitTheBufferWithItsMark)
{
    ASSERT_EQ(Open(path, 8, kOpenWrite), pmrcOk);
    EXPECT_EQ(Write("1234567"), pmrcOk);
    EXPECT_EQ(Write("12345678"), pmrcOverflow);
    EXPECT_EQ(fake.public_log, "19471(9,8) ");
    EXPECT_EQ(Write("x"), pmrcOk);
    pmRecord record = {};
    EXPECT_EQ(pmRead(file, &record), pmrcWriteOnly);
    EXPECT_EQ(pmRecordOffset(file), -1);
    pmClose(file);
    EXPECT_EQ(directory.Read("out.txt"), "1234567\nx\n");
    ASSERT_EQ(Open(path, 8, kOpenWriteAppend), pmrcOk);
    EXPECT_EQ(Write("y"), pmrcOk);
    EXPECT_EQ(pmRead(file, &record), pmrcEOF);  // and not what waits to be written
    pmClose(file);
    EXPECT_EQ(directory.Read("out.txt"), "1234567\nx\ny\n");
}

TEST_F(TextWriter, ErrorFileRowsAreWrittenAtOnceWhereLatencyCounts)
{
    for (const char latency : {'N', 'Y'}) {
        SG_LatencyOn = latency;
        for (const char *name : {path.c_str(), "other"}) {
            snprintf(SG_RowErrFileName, sizeof SG_RowErrFileName, "%s", name);
            ASSERT_EQ(Open(path, 64, kOpenWrite), pmrcOk);
            Write("a");
            EXPECT_EQ(directory.Read("out.txt"), latency == 'Y' && name == path ? "a\n" : "");
            pmClose(file);
        }
    }
}

// Two files that are set exact hand over every byte, whatever the records hold and the job reads.
TEST_F(TextWriter, ExactCopyIsTheSame)
{
    std::mt19937 random(11);
    pmSetCharSet("UTF8");
    Quote("'", "'");
    for (int i = 0; i < 2000; ++i) {
        std::string bytes(random() % 200, '\0');
        for (char &byte : bytes)
            byte = "ab,'\r\r\n\n\xEF\xBB\xBF\0"[random() % 12];
        if (!bytes.empty() && bytes.back() != '\n')
            bytes += '\n';
        directory.Write("out.txt", "kept\n");
        OpenText(bytes, static_cast<uint32_t>(200 + random() % 20));
        const pmToken from = file;
        ASSERT_EQ(Open(path, static_cast<uint32_t>(202 + random() % 20), kOpenWriteAppend), pmrcOk);
        EXPECT_EQ(pmSetExact(from), pmrcOk);
        EXPECT_EQ(pmSetExact(file), pmrcOk);
        pmRecord record = {};
        int code = pmrcOk;
        while ((code = pmRead(from, &record)) == pmrcOk)
            ASSERT_EQ(pmWrite(file, &record), pmrcOk);
        EXPECT_EQ(code, pmrcEOF);
        pmClose(from);
        pmClose(file);
        ASSERT_EQ(directory.Read("out.txt"), "kept\n" + bytes);
    }
}

TEST_F(TextWriter, ShortAndInterruptedWritesDoNotShow)
{
    os.write = Faulty<::write, const void>;
    for (const std::string &pattern :
         {std::string{EINTR}, std::string{0, EINTR, 0}, std::string(9, '\0')}) {
        faults = pattern;
        EXPECT_EQ(Written({"abc", "def", "ghi"}, 8), "abc\ndef\nghi\n");
    }
}

TEST_F(TextWriter, FullDiskShowsInTheCallThatWrites)
{
    os.write = Faulty<::write, const void>;
    ASSERT_EQ(Open(path, 8, kOpenWrite), pmrcOk);
    EXPECT_EQ(Write("abc"), pmrcOk);
    EXPECT_EQ(Write("def"), pmrcOk);
    faults = {0, ENOSPC};
    EXPECT_EQ(Write("ghi"), pmrcText);
    EXPECT_STREQ(pmErrorText(34), "pmunxWBuf: fwrite byte count error (No space left on device)");
    EXPECT_EQ(Write("jkl"), pmrcOk);
    faults = {ENOSPC};
    EXPECT_EQ(pmFlush(file), pmrcText);
    EXPECT_EQ(pmFlush(file), pmrcOk);  // the block that failed is not tried again
    Write("mno");
    faults = {ENOSPC};
    EXPECT_EQ(pmClose(file), pmrcOk);
    EXPECT_EQ(directory.Read("out.txt"), "a");
}

TEST_F(TextWriter, FlushAnswersForTheDevice)
{
    static std::string sync_faults;
    os.fdatasync = [](int) {
        const int fault = sync_faults.empty() ? 0 : sync_faults[0];
        sync_faults.erase(0, 1);
        return ++syncs, errno = fault, fault == 0 ? 0 : -1;
    };
    ASSERT_EQ(Open(path, 8, kOpenWrite), pmrcOk);
    Write("a");
    sync_faults = {EINTR, EIO, EINVAL};
    EXPECT_EQ(pmFlush(file), pmrcText);
    EXPECT_STREQ(pmErrorText(34), "pmunxSync: 'fdatasync' error (Input/output error)");
    EXPECT_EQ(pmFlush(file), pmrcOk);
    EXPECT_EQ(syncs, 3);
    os.close = [](int descriptor) { return ::close(descriptor), errno = EIO, -1; };
    EXPECT_EQ(pmClose(file), pmrcOk);
    EXPECT_EQ(pmWrite(file, nullptr), pmrcBadFile);
}

TEST_F(TextWriter, FailedOpenLeavesNothingOpen)
{
    EXPECT_EQ(Open(path, 8, kOpenWriteAppend), pmrcNotFound);
    EXPECT_EQ(Open(directory.File("none/out"), 8, kOpenWrite), pmrcNotFound);
    EXPECT_EQ(Open(directory.path(), 8, kOpenWrite), pmrcText);
    static int closed;
    os.close = [](int descriptor) { return ++closed, ::close(descriptor); };
    os.lseek = [](int, off_t, int) -> off_t { return errno = ESPIPE, -1; };
    directory.Write("out.txt", "a\n");
    EXPECT_EQ(Open(path, 8, kOpenWriteAppend), pmrcText);
    EXPECT_STREQ(pmErrorText(34), "pmUnxDskSetPos: 'seek' error (Illegal seek)");
    EXPECT_EQ(closed, 1);
}

TEST_F(TextWriter, PipeWithoutAReaderFailsTheWriteAndNotTheProcess)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_EQ(Open(path, 8, kOpenWrite), pmrcOk);
    Write("a");
    EXPECT_EQ(pmFlush(file), pmrcOk);
    char bytes[4] = "";
    EXPECT_EQ(::read(reader, bytes, 4), 2);
    ::close(reader);
    Write("b");
    EXPECT_EQ(pmFlush(file), pmrcText);
    EXPECT_STREQ(pmErrorText(34), "pmunxWBuf: fwrite byte count error (Broken pipe)");
}

// What somebody may have put under the name of a file of ours is neither written nor read.
TEST_F(TextWriter, PrivateFileIsOursAlone)
{
    struct stat info = {};
    ASSERT_EQ(Open(path, 8, kOpenWrite | kOpenPrivate), pmrcOk);
    Write("ours");
    PmIdentity written = {}, read = {};
    EXPECT_EQ(pmIdentity(file, &written), pmrcOk);
    EXPECT_EQ(pmClose(file), pmrcOk);
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
    ASSERT_EQ(Open(path, 8, kOpenRead | kOpenPrivate), pmrcOk);
    EXPECT_EQ(ReadAll(), "ours|->9");
    EXPECT_EQ(pmIdentity(file, &read), pmrcOk);
    EXPECT_TRUE(read.device == written.device && read.inode == written.inode && read.inode != 0);
    const std::string link = directory.File("link"), pipe = directory.File("pipe"),
                      dangling = directory.File("dangling"), hard = directory.File("hard");
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    ASSERT_EQ(symlink(directory.File("none").c_str(), dangling.c_str()), 0);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string &name : {path, link, dangling, pipe}) {
        EXPECT_EQ(Open(name, 8, kOpenWrite | kOpenPrivate), pmrcText) << name;
        EXPECT_EQ(Open(name, 8, kOpenRead | kOpenPrivate), name == path ? pmrcOk : pmrcText)
            << name;
    }
    ASSERT_EQ(::link(path.c_str(), hard.c_str()), 0);
    EXPECT_EQ(Open(path, 8, kOpenRead | kOpenPrivate), pmrcText);
    EXPECT_EQ(directory.Read("out.txt"), "ours\n");
}
