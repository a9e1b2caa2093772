// host/checkpoint/changed_files.cpp - whether files are those that the checkpoint knows.

#include <fmt/format.h>

#include <sys/stat.h>

#include "host/checkpoint/fingerprint.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr int64_t kNanoseconds = 1'000'000'000;

std::string Bytes(int64_t bytes) { return bytes == 1 ? "1 byte" : fmt::format("{} bytes", bytes); }

// Words for what became of an input file; empty: it is as it was. A device may have another number after
// the machine was started again, so it does not count.
std::string Change(const FileIdentity &then, const FileIdentity &now)
{
    if (now.size < 0)
        return then.size < 0 ? "" : "is gone, or no plain file any more";
    if (then.size < 0)
        return "was not there at the checkpoint, or was no plain file";
    if (then.size != now.size)
        return fmt::format("had {} at the checkpoint and has {} now", Bytes(then.size),
                           Bytes(now.size));
    if (then.inode != now.inode)
        return "is another file under the same name";
    if (then.time_ns != now.time_ns)
        return "was written to since the checkpoint";
    return {};
}

// Likewise of an output file. What stands in it behind the checkpoint is cut off and written again.
std::string Loss(const FileIdentity &then, const FileIdentity &now)
{
    if (then.size <= 0)
        return {};
    if (now.size < 0)
        return fmt::format("is gone, and with it {} of rows", Bytes(then.size));
    if (then.inode != now.inode)
        return "is another file under the same name";
    if (now.size < then.size)
        return fmt::format("held {} at the checkpoint and holds {} now", Bytes(then.size),
                           Bytes(now.size));
    return {};
}

template <class Words>
std::vector<std::string> Tell(const Job &job, const std::vector<FileIdentity> &files, Words &&words)
{
    std::vector<std::string> lines;
    for (const FileIdentity &then : files) {
        if (const std::string what = words(then, IdentityOf(job, then.path)); !what.empty())
            lines.push_back(fmt::format("{} {}", Escaped(then.path), what));
    }
    return lines;
}

}  // namespace

FileIdentity IdentityOf(const Job &job, const std::string &path)
{
    FileIdentity file;
    file.path = path;
    struct stat now = {};
    if (stat((job.folder / path).c_str(), &now) != 0 || !S_ISREG(now.st_mode))
        return file;
    file.device = now.st_dev;
    file.inode = now.st_ino;
    file.size = now.st_size;
    file.time_ns = now.st_mtim.tv_sec * kNanoseconds + now.st_mtim.tv_nsec;
    return file;
}

std::vector<std::string> ChangedFiles(const Job &job, const Generation &generation)
{
    return Tell(job, generation.inputs, [](const FileIdentity &then, const FileIdentity &now) {
        return then.status == FileIdentity::kFinished ? std::string() : Change(then, now);
    });
}

std::vector<std::string> LostFiles(const Job &job, const Generation &generation)
{
    return Tell(job, generation.outputs, Loss);
}

}  // namespace fenwire
