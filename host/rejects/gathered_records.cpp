// host/rejects/gathered_records.cpp

#include "host/rejects/gathered_records.h"

#include <algorithm>
#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/job/words.h"
#include "host/rejects/reject_list.h"
#include "host/system/replace_file.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTemporary = "QLX_FWOP_RE_TMP_", kGathered = "bad-records-";

void FindNamed(const fs::path &folder, std::string_view prefix, std::string_view end,
               std::vector<fs::path> &found)
{
    std::error_code none;
    for (const auto &entry : fs::directory_iterator(folder, none)) {
        struct stat info = {};
        const std::string name = entry.path().filename().string();
        if (name.starts_with(prefix) && name.ends_with(end) &&
            lstat(entry.path().c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            info.st_uid == geteuid())
            found.push_back(entry.path());
    }
}

}  // namespace

fs::path GatheredRecords::PathOf(const Part &part) const
{
    return job_.state / fmt::format("{}{}-{}", kGathered, part.attempt, part.instance);
}

// The name comes from another process: it may only be that of a file which such a process makes.
void GatheredRecords::Watch(int instance, const fs::path &path)
{
    if (instance < 2 || instance > job_.producer.instances ||
        path.parent_path() != job_.state / "logs" ||
        !path.filename().string().starts_with(kTemporary))
        throw std::runtime_error(
            fmt::format("{} is no temporary file of instance {}", Quoted(path.string()), instance));
    if (std::ranges::find(watched_, instance, &Watched::instance) == watched_.end())
        watched_.push_back({instance, OpenOurs(path, O_RDONLY), {}});
}

void GatheredRecords::Begin(Watched &watched)
{
    const Part part = {attempt_, watched.instance, {}};
    const fs::path path = PathOf(part);
    watched.to =
        UniqueFd(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!watched.to)
        ThrowErrno(fmt::format("{} can't be made for bad records", Quoted(path.string())));
    watched.part = parts_.size();
    parts_.push_back(part);
}

bool GatheredRecords::Gather()
{
    bool news = false, names = false;
    for (Watched &watched : watched_) {
        struct stat info = {};
        if (fstat(watched.from.get(), &info) != 0)
            ThrowErrno("a temporary file of bad records can't be looked at");
        const auto size = static_cast<uint64_t>(info.st_size);
        const uint64_t copied = watched.to ? parts_[watched.part].mark.bytes : 0;
        if (size == copied)
            continue;
        if (!watched.to) {
            Begin(watched);
            names = true;
        }
        FileMark &mark = parts_[watched.part].mark;
        const std::string path = PathOf(parts_[watched.part]).string();
        if (size < copied || lseek(watched.to.get(), static_cast<off_t>(copied), SEEK_SET) < 0)
            throw std::runtime_error(fmt::format(
                "the temporary file that is copied to {} became shorter", Quoted(path)));
        CopyBytes(watched.from.get(), copied, size, watched.to.get(), path);
        SyncFile(watched.to.get(), path);
        mark = MarkOf(watched.to.get());
        news = true;
    }
    if (names)
        SyncFolder(job_.state);
    return news;
}

void GatheredRecords::Reopen(const std::vector<Part> &parts, int attempts)
{
    for (const Part &part : parts) {
        earlier_.push_back(OpenOurs(PathOf(part), O_RDWR));
        if (const std::string why = WhyNotAt(earlier_.back().get(), part.mark); !why.empty())
            throw std::runtime_error(
                fmt::format("{}, which holds bad records, {}", Quoted(PathOf(part).string()), why));
    }
    parts_ = parts;
    attempt_ = attempts + 1;
}

void GatheredRecords::Cut()
{
    for (size_t i = 0; i < earlier_.size(); ++i)
        CutAt(earlier_[i].get(), parts_[i].mark, PathOf(parts_[i]).string());
}

void GatheredRecords::AppendEarlierTo(int fd, const std::string &path)
{
    for (size_t i = 0; i < earlier_.size(); ++i)
        CopyBytes(earlier_[i].get(), 0, parts_[i].mark.bytes, fd, path);
}

void GatheredRecords::FindLeftovers()
{
    // A list that never took its place.
    const fs::path list = RejectListOf(RecordErrorFile(job_));
    if (!RecordErrorFile(job_).empty())
        FindNamed(list.parent_path(), fmt::format(".{}.", list.filename().string()), ".part",
                  leftovers_);
    FindNamed(job_.state / "logs", kTemporary, {}, leftovers_);
    FindNamed(job_.state, kGathered, {}, leftovers_);
    std::erase_if(leftovers_, [](const fs::path &path) {
        return path.filename().string().ends_with(fmt::format(".{}.part", getpid()));
    });
    for (const Part &part : parts_)
        std::erase(leftovers_, PathOf(part));
}

void GatheredRecords::RemoveLeftovers()
{
    for (const fs::path &path : leftovers_)
        unlink(path.c_str());
    leftovers_.clear();
}

void GatheredRecords::Remove()
{
    for (const Part &part : parts_)
        unlink(PathOf(part).c_str());
    parts_.clear();
    earlier_.clear();
}

}  // namespace fenwire
