// host/rejects/reject_list.cpp

#include "host/rejects/reject_list.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/job/words.h"

namespace fenwire {

namespace fs = std::filesystem;

fs::path RecordErrorFile(const Job &job)
{
    const std::string name =
        job.producer.Text("RecordErrorFileName", job.producer.Text("RowErrFileName"));
    return name.empty() ? fs::path() : (job.folder / name).lexically_normal();
}

fs::path RejectListOf(const fs::path &error_file) { return error_file.string() + ".jsonl"; }

// A fresh file that takes the name: whatever lies under the name, a link of somebody's, say, is
// replaced and never followed.
RejectList::RejectList(const fs::path &path)
    : path_(path),
      part_(path.parent_path() / fmt::format(".{}.{}.part", path.filename().string(), getpid())),
      fd_(open(part_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0600))
{
    if (!fd_)
        ThrowErrno(fmt::format("the list of bad records {} can't be made", Quoted(path.string())));
}

std::unique_ptr<RejectList> RejectList::Reopen(const fs::path &path)
{
    auto list = std::make_unique<RejectList>();
    list->path_ = path;
    list->fd_ = OpenOurs(path, O_RDWR | O_APPEND);
    return list;
}

RejectList::~RejectList()
{
    if (fd_ && !part_.empty())
        unlink(part_.c_str());
}

void RejectList::PutInPlace()
{
    if (!fd_ || part_.empty())
        return;
    if (rename(part_.c_str(), path_.c_str()) != 0)
        ThrowErrno(
            fmt::format("the list of bad records {} can't be replaced", Quoted(path_.string())));
    part_.clear();
}

UniqueFd OpenOurs(const fs::path &path, int flags)
{
    UniqueFd fd(open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info = {};
    if (!fd)
        ThrowErrno(
            fmt::format("{}, which holds bad records, can't be opened", Quoted(path.string())));
    if (fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != geteuid() ||
        info.st_nlink != 1)
        throw std::runtime_error(fmt::format(
            "{} is not the file of bad records that this job has written", Quoted(path.string())));
    return fd;
}

std::string AppendLine(int fd, std::string_view line)
{
    ssize_t written = 0;
    do {
        written = write(fd, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(line.size()))
        return {};
    return written < 0 ? strerror(errno) : "no space is left there";
}

}  // namespace fenwire
