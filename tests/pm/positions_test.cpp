// tests/pm/positions_test.cpp - whatever position a file goes on from, it loses and doubles nothing.

#include <cerrno>
#include <random>
#include <vector>

#include "pm/formats/length_prefix.h"
#include "pm/handles.h"
#include "schema/establish.h"
#include "schema/var_fields.h"
#include "tests/pm/pm_fixture.h"

using namespace std::string_literals;

namespace {

using Records = std::vector<std::string>;

struct Job {
    const char *about;
    uint32_t format;
    std::string charset, bom, mark;  // of text
    std::string open, close, escape;
    Records fields;
};
constexpr uint32_t kBare = 8, kBareLength = 5;

// clang-format off
const std::vector<Job> kJobs = {
    {"LF",                 1, "", "", "\n",   "", "", "", {"", "a", "bcd", "e\rf"}},
    {"CRLF",               1, "", "", "\r\n", "", "", "", {"", "a", "b\r", "c\nd"}},
    {"UTF-8, quotes",      1, "UTF8", "\xEF\xBB\xBF", "\n", "'", "'", "", {"", "\xC3\xA9", "'x\ny'", "'it''s\n'"}},
    {"CRLF, escape",       1, "", "", "\r\n", "'", "'", "\\", {"", "ab", "'\r\n'", "'\\'\r\n\\\\'"}},
    {"long escape",        1, "", "", "\n",   "'", "'", "<esc>", {"a", "b", "'<esc>'\n'", "'\n'"}},
    {"UTF-16",             1, "UTF16", "\xFF\xFE", "\n\0"s, "", "", "", {"a\0"s, "\x41\x0A"s, "b\0c\0"s}},
    {"UTF-16, CR and LF",  1, "UTF16", "", "\r\0\n\0"s,     "", "", "", {"a\0"s, "\r\0"s, "b\0c\0"s}},
    {"long quote marks",   1, "", "", "\n",   "<<", ">>", "", {"a", "a,<<x\ny>>", "b,<<z\n>>"}},
    {"BINARY",             2, "", "", "", "", "", "", {"\n", "ab", "\0\0\0"s}},
    {"FORMATTED",          3, "", "", "", "", "", "", {"", "a", "\0\n"s}},
    {"format 4",           4, "", "", "", "", "", "", {"\n", "ab", "\0\0\0"s}},
    {"FORMATTED2",         5, "", "", "", "", "", "", {"", "a", "\0\n"s}},
    {"BINARY4",            6, "", "", "", "", "", "", {"\n", "ab", "\0\0\0"s}},
    {"FORMATTED4",         7, "", "", "", "", "", "", {"", "a", "\0\n"s}},
    {"UNFORMATTED",        kBare, "", "", "", "", "", "", {"abcde"}},
    {"UNFORMATTED, rows",  kBare, "", "", "", "", "", "", {"abc\0\0"s, "abc\x04\0....", "abc\x01\0."s}},
};
// clang-format on

size_t longest_piece = 0;  // of a read; 0: as long as it is asked for
std::minstd_rand pieces;

ssize_t ReadPiece(int descriptor, void *to, size_t most)
{
    const size_t wanted = longest_piece == 0 ? most : 1 + pieces() % longest_piece;
    return ::read(descriptor, to, std::min(most, wanted));
}

std::string Framed(const Job &job, const std::string &record)
{
    const Frame frame = kFrames[job.format];
    const uint64_t length = record.size() + frame.counted;
    return std::string(reinterpret_cast<const char *>(&length), frame.prefix) + record +
           std::string(frame.trailer, kTrailer) + job.mark;
}

bool Holds(const std::string &text, const std::string &words)
{
    return text.find(words) != std::string::npos;
}

std::string Block(uint8_t at_end, uint64_t start, uint32_t offset, uint32_t count)
{
    std::string block(40, '\0');
    block[0] = static_cast<char>(at_end);
    memcpy(&block[8], &start, 8);
    memcpy(&block[16], &offset, 4);
    memcpy(&block[20], &count, 4);
    return block;
}

}  // namespace

class Positions : public Pm {
protected:
    Positions() { os.read = ReadPiece; }
    ~Positions() override { FreeSchema(); }

    void Set(const Job &job)
    {
        file_format = FileFormat = job.format;
        rows_ = job.fields.size() > 1 && job.format == kBare;
        if (rows_) {
            Reading = 1;
            fake.columns = {{.name = "a", .type = 5, .length = 3}, {.name = "b", .length = 9}};
            ASSERT_EQ(FW_EstablishSchema(), PXSTC_Success);
        }
        pmSetCharSet(job.charset.c_str());
        bWriteBOM = job.bom.empty() ? 0 : 1;
        Quote(job.open.c_str(), job.close.c_str(), job.escape.c_str());
        bQuotedData = job.open.empty() ? kNo : kOptional;
    }

    Records Random(const Job &job)
    {
        Records records = {job.fields[0] + (job.format == 1 ? job.fields[0] : "")};
        for (size_t i = random_() % 30; i != 0; --i) {
            records.push_back(job.fields[random_() % job.fields.size()]);
            for (size_t j = random_() % 3; j != 0 && job.format != kBare; --j)
                records.back() += (job.charset == "UTF16" ? ",\0"s : ",") +
                                  job.fields[random_() % job.fields.size()];
        }
        return records;
    }

    // The file in directory, at a position if there is one.
    void Go(const std::string &position, uint16_t mode = kOpenRead)
    {
        const int code = Open(path_, buffer_size_, mode);
        ASSERT_TRUE(code == pmrcOk || code == pmrcEmptyFile);
        pmfp = file;
        if (rows_)
            pmSetReader(file, pmfmtRVarNone);
        if (!position.empty()) {
            ASSERT_EQ(Repos(position), pmrcOk) << pmErrorText(pmrcText);
        }
    }

    int Repos(const std::string &position) const
    {
        const std::vector<char> exact(position.begin(), position.end());
        const pmData at = {static_cast<uint32_t>(exact.size()), exact.data()};
        return pmRepos(file, &at);
    }

    // The error text of a refusal.
    std::string Refused(const std::string &position) const
    {
        EXPECT_EQ(Repos(position), pmrcText);
        return pmErrorText(pmrcText);
    }

    std::string Position(uint32_t user_done = 0, int code = pmrcOk)
    {
        pmData at = {};
        EXPECT_EQ(pmGetPos(file, user_done, &at), code);
        return {static_cast<const char *>(at.bytes), at.length};
    }

    // At most these many records, then the code that ended the reading. rows: out of the window, too.
    Records Read(size_t most = SIZE_MAX, bool rows = false)
    {
        Records records;
        while (records.size() < most) {
            if (rows && IsRowReady()) {
                TakeReadyRow();
                records.emplace_back("row");
                continue;
            }
            pmRecord record = {};
            record.DataLength = kBareLength;
            const int code = pmRead(file, &record);
            const bool last = code == pmrcNoEOR && record.Data != nullptr;
            if (code != pmrcOk && !last) {
                records.push_back("->" + std::to_string(code));
                break;
            }
            records.emplace_back(reinterpret_cast<char *>(record.Data), record.DataLength);
        }
        return records;
    }

    void Write(const Records &records, size_t from, size_t to)
    {
        for (size_t i = from; i < to; ++i) {
            std::string bytes = records[i];
            pmRecord record = {};
            record.DataLength = static_cast<uint32_t>(bytes.size());
            record.Data = reinterpret_cast<uint8_t *>(bytes.data());
            ASSERT_EQ(pmWrite(file, &record), pmrcOk);
        }
    }

    // Stopped behind each record, gone on, stopped again before a record came, and gone on.
    void RestartEverywhere(const Job &job)
    {
        Go("");
        const Records whole = Read();
        pmClose(file);
        for (size_t k = 0; k < whole.size(); ++k) {
            Go("");
            ASSERT_EQ(Read(k, true).size(), k);
            std::string position = Position();
            ASSERT_EQ(Position(), position);
            ASSERT_EQ(Position(1), Block(1, 0, 0, static_cast<uint32_t>(k)));
            ASSERT_EQ(Read(1, true), Records{"->9"});
            for (int restart = 0; restart < 2; ++restart) {
                pmClose(file);
                Go(position);
                position = Position();
            }
            const Records rest = Read();
            ASSERT_EQ(rest, Records(whole.begin() + static_cast<ptrdiff_t>(k), whole.end()))
                << job.about << " behind record " << k << ", blocks of " << buffer_size_;
            pmClose(file);
        }
    }

    const std::string path_ = directory.File("data");
    uint32_t buffer_size_ = 64;
    bool rows_ = false;
    std::minstd_rand random_{1};
};

TEST_F(Positions, ReadersGoOnBehindEveryRecord)
{
    static constexpr uint32_t kMaximums[] = {50, 50};
    for (const Job &job : kJobs) {
        Set(job);
        for (int round = 0; round < 24; ++round) {
            std::string bytes = job.bom;
            for (const std::string &record : Random(job))
                bytes += Framed(job, record);
            if (job.format == 1 && round % 3 == 0)
                bytes.resize(bytes.size() - job.mark.size());  // the last record without its mark
            bytes += job.format == kBare && !rows_ ? "abc" : "";
            directory.Write("data", bytes);
            buffer_size_ = static_cast<uint32_t>(40 + random_() % 40);
            longest_piece = round % 4 * 7;
            bAcceptEOFasEOR = round % 6 == 0 ? 0 : 1;
            bLiteralReader = round / 2 % 3 == 0;
            const bool indexed = round / 2 % 3 == 1 && job.format == 1 && job.open.size() < 2 &&
                                 job.escape.empty() && job.charset != "UTF16";
            IndexMarks marks = {};
            marks.delimiter = marks.escapes[0] = marks.escapes[1] = ',';
            marks.quote = static_cast<uint8_t>(job.open[0]);
            marks.quotes = bQuotedData != kNo;
            marks.high_is_odd = true;
            marks.columns = indexed ? 2 : 0;
            marks.maximums = kMaximums;
            ASSERT_TRUE(SetIndexMarks(marks));
            RestartEverywhere(job);
        }
    }
    FreeIndex();
}

TEST_F(Positions, WritersGoOnBehindEveryRecord)
{
    for (const Job &job : kJobs) {
        Set(job);
        const Records records = Random(job), garbage(7, job.fields.back());
        Go("", kOpenWrite);
        Write(records, 0, records.size());
        pmClose(file);
        const std::string whole = directory.Read("data");
        for (size_t k = 0; k <= records.size(); ++k) {
            Go("", kOpenWrite);
            Write(records, 0, k);
            const std::string position = Position();
            Write(garbage, 0, k % 8);
            pmClose(file);
            Go(position, kOpenWriteAppend);
            ASSERT_EQ(Position(), position);
            Write(records, k, records.size());
            pmClose(file);
            ASSERT_EQ(directory.Read("data"), whole) << job.about << " behind record " << k;
        }
    }
}

TEST_F(Positions, BlockToTheByte)
{
    directory.Write("data", "ab\ncde\nf\n");
    buffer_size_ = 4;
    const std::string end = Block(1, 0, 0, 3);
    Go("");
    for (const std::string &position :
         {Block(0, 0, 0, 0), Block(0, 0, 3, 1), Block(0, 4, 3, 2), Block(0, 8, 1, 3), end, end}) {
        EXPECT_EQ(Position(), position);
        EXPECT_EQ(Position(2, pmrcBadParameter), "");
        Read(1);
    }
    pmClose(file);
    Go(end);
    EXPECT_EQ(Position(), end);
    EXPECT_EQ(Read(), Records{"->9"});
    pmClose(file);
    Go(Block(0, 0, 7, 2));  // of longer blocks
    EXPECT_EQ(Read(), (Records{"f", "->9"}));
    EXPECT_EQ(Repos(Block(0, 0, 0, 0)), pmrcOk);  // the same file once more, from its end
    EXPECT_EQ(Read(), (Records{"ab", "cde", "f", "->9"}));
}

TEST_F(Positions, WhatAFileDoesNotReachIsRefused)
{
    const std::string lines = "ab\ncde\nf\n", damaged = "damaged position block";
    const auto patched = [](size_t at) {
        std::string block = Block(0, 0, 3, 1);
        block[at] = 1;
        return block;
    };
    // clang-format off
    const struct {
        const char *about;
        std::string contents, block;
        int code;
        std::string words;
        uint16_t mode = kOpenRead;
    } kCases[] = {
        {"empty",                 lines, "",                              23, ""},
        {"long",                  lines, Block(0, 0, 3, 1) + '\0',        23, ""},
        {"behind the end",        lines, Block(0, 8, 2, 3),               34, "has 9 bytes, but the checkpoint counts on 10:"},
        {"offset below 0",        lines, Block(0, 4, 0xFFFFFFFF, 3),      34, "counts on 4294967299:"},
        {"start below 0",         lines, Block(0, 1ULL << 63, 0, 3),      34, damaged},
        {"sum beyond 64 bits",    lines, Block(0, ~0ULL, 0xFFFFFFFF, 3),  34, damaged},
        {"end of file is 2",      lines, Block(2, 0, 0, 3),               34, damaged},
        {"end and a place",       lines, Block(1, 0, 1, 3),               34, damaged},
        {"last zero byte",        lines, patched(7),                      34, damaged},
        {"compressed",            lines, patched(24),                     34, damaged},
        {"in HDFS",               lines, patched(39),                     34, damaged},
        {"no mark in the file",   "abcdefghi", Block(0, 4, 3, 2),         34, "has no end-of-record mark"},
        {"empty file",            "", Block(0, 4, 3, 2),                  34, "has 0 bytes, but the checkpoint counts on 7:"},
        {"other byte order",      "\xFE\xFF\0a\0\n\0b\0\n"s, Block(0, 0, 6, 1), 45, ""},
        {"output too short",      "ab", Block(0, 3, 0, 3),                34, "has 2 bytes, but the checkpoint counts on 3:", kOpenWriteAppend},
        {"output in a block",     lines, Block(0, 0, 3, 1),               34, damaged, kOpenWriteAppend},
        {"output at its end",     lines, Block(1, 0, 0, 1),               34, damaged, kOpenWriteAppend},
    };
    // clang-format on
    for (const auto &c : kCases) {
        pmSetCharSet(c.code == pmrcEndianConflict ? "UTF16" : "");
        directory.Write("data", c.contents);
        Go("", c.mode);
        EXPECT_EQ(Repos(c.block), c.code) << c.about;
        EXPECT_PRED2(Holds, pmErrorText(c.code), c.words) << c.about;
        pmClose(file);
        EXPECT_EQ(directory.Read("data"), c.contents) << c.about;
    }
}

// A file that shrinks between the look at it and the read.
TEST_F(Positions, BlockThatCantBeReadIsRefused)
{
    directory.Write("data", "ab\ncde\nf\n");
    Go("");
    os.fstat = [](int, struct stat *info) { return info->st_size = 100, 0; };
    const std::string block = Block(0, 4, 6, 4);
    EXPECT_PRED2(Holds, Refused(block), "has 9 bytes, but the checkpoint counts on 10:");
    static int seeks;
    os.lseek = [](int descriptor, off_t to, int from) {
        return ++seeks == 2 ? errno = EIO, off_t{-1} : ::lseek(descriptor, to, from);
    };
    EXPECT_PRED2(Holds, Refused(block), "'seek' error (Input/output error)");
}

// No position tells of bytes that are not on the device, however often it is asked for.
TEST_F(Positions, LostOutputHasNoPosition)
{
    static int failing_writes, failing_syncs, syncs;
    os.write = [](int descriptor, const void *from, size_t bytes) {
        return failing_writes-- > 0 ? errno = ENOSPC, -1 : ::write(descriptor, from, bytes);
    };
    os.fdatasync = [](int) { return ++syncs, failing_syncs-- > 0 ? errno = EIO, -1 : 0; };
    const Records records = {"a", "b"};
    Go("", kOpenWrite);
    Write(records, 0, 1);
    const std::string position = Position();
    EXPECT_EQ(position, Block(0, 2, 0, 1));
    EXPECT_EQ(syncs, 1);
    EXPECT_EQ(directory.Read("data"), "a\n");
    for (int *fault : {&failing_writes, &failing_syncs}) {
        Write(records, 1, 2);
        *fault = 1;
        EXPECT_EQ(Position(0, pmrcText), "");
        EXPECT_EQ(Position(0, pmrcText), "");
        EXPECT_PRED2(Holds, pmErrorText(pmrcText), "lost bytes in a write that failed");
        EXPECT_EQ(Repos(position), pmrcOk);
        EXPECT_EQ(Position(), position);
    }
    Write(records, 1, 2);
    pmClose(file);
    EXPECT_EQ(directory.Read("data"), "a\nb\n");
}

// Nor of a file whose name may be gone after a power failure. Folders that can't be waited for are let be.
TEST_F(Positions, NewOutputFileHasItsNameOnTheDevice)
{
    static std::vector<int> faults;
    static bool is_folder = true;
    os.fsync = [](int descriptor) {
        struct stat info = {};
        is_folder = is_folder && ::fstat(descriptor, &info) == 0 && S_ISDIR(info.st_mode);
        const int fault = faults.empty() ? 0 : faults.back();
        if (!faults.empty())
            faults.pop_back();
        return fault == 0 ? 0 : (errno = fault, -1);
    };
    Go("", kOpenWrite);
    faults = {EIO, EINTR};
    EXPECT_EQ(Position(0, pmrcText), "");
    EXPECT_STREQ(pmErrorText(pmrcText),
                 "pmunxSync: 'fsync' error of the folder (Input/output error)");
    faults = {EIO, EINVAL};  // the second one is for a third call, which does not come
    EXPECT_NE(Position(), "");
    EXPECT_NE(Position(), "");
    EXPECT_EQ(faults.size(), 1U);
    EXPECT_TRUE(is_folder);
    pmClose(file);
    Go("", kOpenWrite);
    os.open = [](const char *, int) { return errno = EACCES, -1; };
    EXPECT_NE(Position(), "");
    EXPECT_EQ(faults.size(), 1U);
}

TEST_F(Positions, RestartCreatesAnOutputFileThatHadNothing)
{
    EXPECT_EQ(Open(path_, 64, kOpenWriteAppend), pmrcNotFound);
    FW_RestartMode = 1;
    Go(Block(0, 0, 0, 0), kOpenWriteAppend);
    Write({"a"}, 0, 1);
    static int interrupted = 1;
    os.ftruncate = [](int descriptor, off_t bytes) {
        return interrupted-- > 0 ? errno = EINTR, -1 : ::ftruncate(descriptor, bytes);
    };
    pmClose(file);
    Go(Block(0, 0, 0, 0), kOpenWriteAppend);
    EXPECT_EQ(directory.Read("data"), "");
    Write({"b"}, 0, 1);
    pmFlush(file);
    os.ftruncate = [](int, off_t) { return errno = EIO, -1; };
    EXPECT_PRED2(Holds, Refused(Block(0, 0, 0, 0)), "'ftruncate' error (Input/output error)");
}

TEST_F(Positions, PipesHaveNoneUnlessNobodyAsks)
{
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int keep = ::open(path_.c_str(), O_RDWR);
    for (const uint16_t mode : {kOpenRead, kOpenWrite}) {
        Go("", mode);
        for (bTakeAMcheckpoint = 0; bTakeAMcheckpoint < 2; ++bTakeAMcheckpoint)
            EXPECT_EQ(Position(0, bTakeAMcheckpoint != 0 ? pmrcPipe : pmrcOk), "");
        EXPECT_EQ(Repos(""), pmrcPipe);
        pmClose(file);
    }
    ::close(keep);
}
