// host/rejects/file_mark.cpp

#include "host/rejects/file_mark.h"

#include <algorithm>
#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/job/words.h"
#include "host/system/unique_fd.h"

namespace fenwire {

namespace {

// Fewer than asked for where the file ends.
std::string ReadAt(int fd, uint64_t begin, uint64_t count)
{
    std::string bytes(count, '\0');
    size_t have = 0;
    while (have < bytes.size()) {
        const ssize_t got =
            pread(fd, bytes.data() + have, bytes.size() - have, static_cast<off_t>(begin + have));
        if (got < 0 && errno != EINTR)
            ThrowErrno("a file of bad records can't be read");
        if (got == 0)
            break;
        have += static_cast<size_t>(std::max<ssize_t>(got, 0));
    }
    bytes.resize(have);
    return bytes;
}

uint64_t SizeOf(int fd)
{
    struct stat info = {};
    if (fstat(fd, &info) != 0)
        ThrowErrno("a file of bad records can't be looked at");
    return static_cast<uint64_t>(std::max<off_t>(info.st_size, 0));
}

}  // namespace

FileMark MarkOf(int fd)
{
    const uint64_t size = SizeOf(fd), tail = std::min(size, FileMark::kTailBytes);
    return {size, ReadAt(fd, size - tail, tail)};
}

std::string WhyNotAt(int fd, const FileMark &mark)
{
    const uint64_t size = SizeOf(fd);
    if (size < mark.bytes)
        return fmt::format("is shorter than it was, {} bytes instead of {}", size, mark.bytes);
    if (ReadAt(fd, mark.bytes - mark.tail.size(), mark.tail.size()) != mark.tail)
        return "was changed in the meantime";
    return {};
}

void CutAt(int fd, const FileMark &mark, const std::string &path)
{
    if (SizeOf(fd) != mark.bytes && ftruncate(fd, static_cast<off_t>(mark.bytes)) != 0)
        ThrowErrno(fmt::format("{} can't be cut back to the checkpoint", Quoted(path)));
}

void CopyBytes(int from, uint64_t begin, uint64_t end, int to, const std::string &to_path)
{
    constexpr uint64_t kPiece = 256 << 10;
    while (begin < end) {
        const std::string piece = ReadAt(from, begin, std::min(kPiece, end - begin));
        for (std::string_view left = piece; !left.empty();) {
            const ssize_t written = write(to, left.data(), left.size());
            if (written < 0 && errno != EINTR)
                ThrowErrno(fmt::format("bad records can't be kept in {}", Quoted(to_path)));
            left.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
        }
        if (piece.empty())
            throw std::runtime_error(
                "a file of bad records became shorter while it was copied to " + Quoted(to_path));
        begin += piece.size();
    }
}

void SyncFile(int fd, const std::string &path)
{
    if (fdatasync(fd) != 0)
        ThrowErrno(fmt::format("{} can't be brought to the disk", Quoted(path)));
}

}  // namespace fenwire
