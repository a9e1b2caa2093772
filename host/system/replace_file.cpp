// host/system/replace_file.cpp

#include "host/system/replace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "host/system/unique_fd.h"

namespace fenwire {

namespace {

bool WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t put = write(fd, text.data(), text.size());
        if (put < 0 && errno != EINTR)
            return false;
        text.remove_prefix(put > 0 ? static_cast<size_t>(put) : 0);
    }
    return true;
}

}  // namespace

void ReplaceFile(const std::filesystem::path &path, std::string_view text)
{
    const std::string part = path.string() + ".part";
    unlink(part.c_str());  // left behind by a process that was killed
    const UniqueFd fd(
        open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd || !WriteAll(fd.get(), text) || fsync(fd.get()) != 0 ||
        rename(part.c_str(), path.c_str()) != 0)
        ThrowErrno("\"" + path.string() + "\" can't be written");
    SyncFolder(path.parent_path());
}

void SyncFolder(const std::filesystem::path &folder)
{
    const UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd || fsync(fd.get()) != 0)
        ThrowErrno("the folder \"" + folder.string() + "\" can't be brought to the disk");
}

}  // namespace fenwire
