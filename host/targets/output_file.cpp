// host/targets/output_file.cpp - writing to file descriptors.

#include "host/targets/output_file.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/job/words.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void WriteFailed(const std::string &what, int error)
{
    if (error == ENOSPC || error == EDQUOT)
        throw TargetError(fmt::format("{} can't be written: no space is left there; make room and "
                                      "run the job again",
                                      what));
    if (error == EPIPE)
        throw TargetError(fmt::format("the program that reads {} has ended before the job", what));
    throw TargetError(fmt::format("{} can't be written: {}", what, strerror(error)));
}

// Waits where a non-blocking descriptor, as a terminal's can be, takes no more for now.
void AwaitRoom(int fd)
{
    pollfd wanted = {fd, POLLOUT, 0};
    poll(&wanted, 1, -1);
}

// The file that a link stands for, so that the link stays one.
fs::path Followed(const fs::path &path)
{
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    return error ? path : real;
}

void SyncFolder(const fs::path &folder)
{
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    fsync(fd);
    close(fd);
}

}  // namespace

void FdWriter::Write(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd_, text.data(), text.size());
        if (written >= 0)
            text.remove_prefix(static_cast<size_t>(written));
        else if (errno == EAGAIN || errno == EWOULDBLOCK)
            AwaitRoom(fd_);
        else if (errno != EINTR)
            WriteFailed(what_, errno);
    }
}

void FdWriter::Flush()
{
    Write(buffer_);
    buffer_.clear();
}

void PendingFile::Check(const fs::path &path)
{
    const std::string shown = Quoted(path.string());
    const fs::path folder = path.parent_path();
    struct stat info;
    if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw TargetError(fmt::format("the folder {} of file {} is not there; make it first",
                                      Quoted(folder.string()), Quoted(path.filename().string())));
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw TargetError(fmt::format("no file can be made in folder {}: {}",
                                      Quoted(folder.string()), strerror(errno)));
    if (stat(path.c_str(), &info) != 0)
        return;
    if (!S_ISREG(info.st_mode))
        throw TargetError(fmt::format("{} is no plain file, so it can't be replaced; without file "
                                      "the rows go to standard output",
                                      shown));
    if (access(path.c_str(), W_OK) != 0)
        throw TargetError(fmt::format("file {} can't be written: {}", shown, strerror(errno)));
}

PendingFile::PendingFile(const fs::path &path)
{
    Check(path);
    path_ = Followed(path);
    part_ = path_.parent_path() / fmt::format(".{}.{}.part", path_.filename().string(), getpid());
    // Nobody reads a part who could not read what it replaces, not even before its mode is set.
    struct stat old;
    const bool replaces = stat(path_.c_str(), &old) == 0;
    fd_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
               replaces ? 0600 : 0666);
    if (fd_ < 0)
        throw TargetError(
            fmt::format("file {} can't be made: {}", Quoted(part_.string()), strerror(errno)));
    if (replaces)
        fchmod(fd_, old.st_mode & 0777);
}

PendingFile::~PendingFile()
{
    if (fd_ < 0)
        return;
    close(fd_);
    unlink(part_.c_str());
}

void PendingFile::Publish()
{
    const std::string what = fmt::format("file {}", Quoted(path_.string()));
    if (fsync(fd_) != 0 || rename(part_.c_str(), path_.c_str()) != 0)
        WriteFailed(what, errno);
    close(fd_);
    fd_ = -1;
    SyncFolder(path_.parent_path());
}

}  // namespace fenwire
