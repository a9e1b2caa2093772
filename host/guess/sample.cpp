// host/guess/sample.cpp - the part of a data file that a guess is made from.

#include "host/guess/sample.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/job/words.h"
#include "host/system/unique_fd.h"
#include "host/system/utf16.h"

namespace fenwire {

namespace {

using namespace std::string_view_literals;

// Control bytes that no text file has: a few may be faults of the data.
constexpr double kBinaryShare = 0.02;
constexpr size_t kBinaryCount = 8;

std::string Shown(const Sample &sample) { return Quoted(sample.path.string()); }

// ---- Bytes ------------------------------------------------------------------------------------

[[noreturn]] void CantRead(const Sample &sample)
{
    throw GuessError(fmt::format("file {} can't be read: {}", Shown(sample), strerror(errno)));
}

void RefuseNoFile(const Sample &sample, const struct stat &info)
{
    if (S_ISDIR(info.st_mode))
        throw GuessError(fmt::format("{} is a directory", Shown(sample)),
                         "name the files in it, as in " +
                             Escaped((sample.path / "*.csv").string()));
    if (S_ISFIFO(info.st_mode))
        throw GuessError(
            fmt::format("{} is a named pipe: what a guess read would be lost to the job",
                        Shown(sample)),
            "save a part of its data in a file, and guess from that");
    if (!S_ISREG(info.st_mode))
        throw GuessError(fmt::format("{} is no plain file", Shown(sample)));
    if (info.st_size == 0)
        throw GuessError(
            fmt::format("file {} is empty: there is nothing to guess from", Shown(sample)));
}

// Looked at before it is opened, because a program that waits for a reader of its pipe would take us for
// one; and once more behind that, because another file may have come under the name.
UniqueFd OpenData(Sample &sample)
{
    struct stat info = {};
    if (stat(sample.path.c_str(), &info) != 0)
        CantRead(sample);
    RefuseNoFile(sample, info);
    UniqueFd file(open(sample.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file || fstat(file.get(), &info) != 0)
        CantRead(sample);
    RefuseNoFile(sample, info);
    sample.size = static_cast<uint64_t>(info.st_size);
    return file;
}

std::string ReadPart(int fd, const Sample &sample, uint64_t offset, size_t bytes)
{
    std::string text(bytes, '\0');
    size_t got = 0;
    while (got < bytes) {
        const ssize_t n =
            pread(fd, text.data() + got, bytes - got, static_cast<off_t>(offset + got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            CantRead(sample);
        if (n == 0)
            break;  // it was cut meanwhile
        got += static_cast<size_t>(n);
    }
    text.resize(got);
    return text;
}

void ReadPieces(int fd, Sample &sample)
{
    const auto take = [&](uint64_t offset, uint64_t bytes) {
        Piece piece{offset, ReadPart(fd, sample, offset, static_cast<size_t>(bytes)), false};
        piece.to_end = offset + piece.text.size() >= sample.size || piece.text.size() < bytes;
        sample.looked_at += piece.text.size();
        sample.pieces.push_back(std::move(piece));
    };
    if (sample.size <= Sample::kWhole) {
        take(0, sample.size);
        return;
    }
    constexpr uint64_t kEven = ~uint64_t{1};  // pieces of UTF-16 begin with a whole character
    take(0, Sample::kHead);
    take(std::max<uint64_t>(Sample::kHead, sample.size / 2) & kEven, Sample::kPart);
    const uint64_t tail = (sample.size - Sample::kPart) & kEven;
    take(tail, sample.size - tail);
}

// ---- What kind of bytes -----------------------------------------------------------------------

constexpr struct {
    std::string_view start;
    const char *what, *hint;
} kNoData[] = {
    {"\x1f\x8b"sv, "compressed with gzip", "unpack it first: gunzip -k FILE"},
    {"PK\x03\x04"sv, "a zip archive or an office document",
     "unpack it, or save the sheet as delimited text"},
    {"BZh"sv, "compressed with bzip2", "unpack it first: bunzip2 -k FILE"},
    {"\xfd"
     "7zXZ"sv,
     "compressed with xz", "unpack it first: unxz -k FILE"},
    {"\x28\xb5\x2f\xfd"sv, "compressed with zstd", "unpack it first: unzstd FILE"},
    {"SQLite format 3"sv, "an SQLite database", "it is no delimited text"},
    {"PAR1"sv, "a Parquet file", "it is no delimited text"},
    {"\xff\xfe\0\0"sv, "UTF-32 text", "convert it: iconv -f UTF-32 -t UTF-8 FILE"},
    {"\0\0\xfe\xff"sv, "UTF-32 text", "convert it: iconv -f UTF-32 -t UTF-8 FILE"},
    {"\xfe\xff"sv, "big-endian UTF-16 text, which can't be read",
     "convert it: iconv -f UTF-16 -t UTF-8 FILE"},
};

[[noreturn]] void RefuseBinary(const Sample &sample)
{
    throw GuessError(
        fmt::format("file {} is no text: it holds bytes that no text has", Shown(sample)),
        "only delimited text can be guessed; od -c FILE shows what is in it");
}

// Without a mark UTF-16 shows in the zero halves of its blanks, digits, line ends and other ASCII.
enum class Halves : uint8_t { Neither, LittleEndian, BigEndian };

Halves ZeroHalves(std::string_view head)
{
    std::array<size_t, 2> zeros = {};
    for (size_t i = 0; i < head.size(); ++i)
        zeros[i % 2] += head[i] == '\0' ? 1 : 0;
    const size_t pairs = head.size() / 2;
    const auto most = [&](size_t which) {
        return pairs > 0 && zeros[which] * 5 >= pairs && zeros[which] > 20 * zeros[1 - which];
    };
    return most(1) ? Halves::LittleEndian : most(0) ? Halves::BigEndian : Halves::Neither;
}

// Separators of fields and records, escape sequences of terminals and form feeds do occur in text.
bool IsBinaryByte(char c)
{
    const auto byte = static_cast<uint8_t>(c);
    return byte < 0x20 &&
           "\t\n\f\r\x01\x02\x1a\x1b\x1c\x1d\x1e\x1f"sv.find(c) == std::string_view::npos;
}

struct Utf8Count {
    size_t wide = 0, odd = 0;  // characters of several bytes, bytes that are none
};

// Where a piece begins or ends is no concern of the text: up to three bytes may lack their others.
Utf8Count CountUtf8(std::string_view text)
{
    Utf8Count count;
    size_t skip = 0;
    while (skip < std::min<size_t>(3, text.size()) &&
           (static_cast<uint8_t>(text[skip]) & 0xC0) == 0x80)
        ++skip;
    for (size_t i = skip; i < text.size();) {
        const size_t length = Utf8Length(text.substr(i, 4));
        if (length > 1)
            ++count.wide;
        if (length == 0 && i + 3 < text.size())
            ++count.odd;
        i += std::max<size_t>(length, 1);
    }
    return count;
}

void CountControls(Sample &sample)
{
    size_t binary = 0;
    for (const Piece &piece : sample.pieces) {
        sample.nul_bytes += static_cast<uint64_t>(std::ranges::count(piece.text, '\0'));
        binary += static_cast<size_t>(std::ranges::count_if(piece.text, IsBinaryByte));
    }
    if (binary > kBinaryCount &&
        static_cast<double>(binary) > kBinaryShare * static_cast<double>(sample.looked_at))
        RefuseBinary(sample);
}

// ---- All together -----------------------------------------------------------------------------

void RefuseKnownFormats(const Sample &sample)
{
    for (const auto &[start, what, hint] : kNoData) {
        if (sample.pieces[0].text.starts_with(start))
            throw GuessError(fmt::format("file {} is {}", Shown(sample), what), hint);
    }
}

// True: the sample is UTF-16, and its mark is off.
bool TakeUtf16(Sample &sample)
{
    std::string &head = sample.pieces[0].text;
    if (head.starts_with("\xff\xfe"sv)) {
        sample.byte_order_mark = true;
        head.erase(0, 2);
        return true;
    }
    const Halves halves = ZeroHalves(head);
    if (halves == Halves::BigEndian)
        throw GuessError(
            fmt::format("file {} is big-endian UTF-16 text, which can't be read", Shown(sample)),
            "convert it: iconv -f UTF-16BE -t UTF-8 FILE");
    return halves == Halves::LittleEndian;
}

// A few odd bytes among many characters are faults of the data; else the set is another one.
Encoding EncodingOf(const Utf8Count &count)
{
    if (count.odd == 0)
        return count.wide == 0 ? Encoding::Ascii : Encoding::Utf8;
    return count.wide > 10 * count.odd ? Encoding::Utf8 : Encoding::SingleByte;
}

void TakeBytes(Sample &sample)
{
    std::string &head = sample.pieces[0].text;
    if (head.starts_with("\xef\xbb\xbf"sv)) {
        sample.byte_order_mark = true;
        head.erase(0, 3);
    }
    Utf8Count count;
    for (const Piece &piece : sample.pieces) {
        const Utf8Count here = CountUtf8(piece.text);
        count.wide += here.wide;
        count.odd += here.odd;
    }
    sample.encoding = sample.byte_order_mark ? Encoding::Utf8 : EncodingOf(count);
    if (sample.encoding == Encoding::Utf8)
        sample.odd_bytes = count.odd;
}

}  // namespace

Sample TakeSample(const std::filesystem::path &path)
{
    Sample sample;
    sample.path = path;
    const UniqueFd file = OpenData(sample);
    ReadPieces(file.get(), sample);
    RefuseKnownFormats(sample);
    if (TakeUtf16(sample)) {
        sample.encoding = Encoding::Utf16;
        for (Piece &piece : sample.pieces)
            piece.text = Utf8FromUtf16(piece.text, &sample.wide_units);
    } else {
        TakeBytes(sample);
    }
    CountControls(sample);
    if (sample.pieces[0].text.empty())
        throw GuessError(
            fmt::format("file {} holds a byte order mark and nothing else", Shown(sample)));
    return sample;
}

}  // namespace fenwire
