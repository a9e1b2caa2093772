// tests/pm/positions_test.cpp - whatever position a file goes on from, it loses and doubles nothing.

#include <cerrno>
#include <functional>
#include <random>
#include <vector>

#include "pm/formats/length_prefix.h"
#include "pm/handles.h"
#include "schema/establish.h"
#include "schema/var_fields.h"
#include "tests/pm/pm_fixture.h"
#include "tests/support/hex.h"

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
    {"UTF-8, quotes",      1, "UTF8", "\xEF\xBB\xBF", "\n", "'", "'", "", {"a", "\xC3\xA9", "'x\ny'", "'it''s\n'"}},
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
        const pmData at = {static_cast<uint32_t>(position.size()), position.data()};
        const int code = Open(path_, buffer_size_, mode);
        ASSERT_TRUE(code == pmrcOk || code == pmrcEmptyFile);
        pmfp = file;
        if (rows_)
            pmSetReader(file, pmfmtRVarNone);
        if (!position.empty()) {
            ASSERT_EQ(pmRepos(file, &at), pmrcOk) << pmErrorText(pmrcText);
        }
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
                                 job.escape.size() < 2 && job.charset != "UTF16";
            IndexMarks marks = {};
            marks.delimiter = marks.escapes[0] = marks.escapes[1] = ',';
            marks.quote = static_cast<uint8_t>(job.open[0]);
            marks.quotes = bQuotedData != kNo;
            marks.quote_escape = !job.escape.empty();
            if (marks.quote_escape)
                marks.escapes[1] = static_cast<uint8_t>(job.escape[0]);
            marks.high_is_odd = true;
            marks.columns = indexed ? 2 : 0;
            marks.maximums = kMaximums;
            ASSERT_TRUE(SetIndexMarks(marks));
            RestartEverywhere(job);
        }
    }
    FreeIndex();
}
