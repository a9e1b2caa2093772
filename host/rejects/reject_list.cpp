// host/rejects/reject_list.cpp

#include "host/rejects/reject_list.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <fcntl.h>
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
      fd_(open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW | O_CLOEXEC,
               0600))
{
    if (!fd_)
        ThrowErrno(fmt::format("the list of bad records {} can't be made", Quoted(path.string())));
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
