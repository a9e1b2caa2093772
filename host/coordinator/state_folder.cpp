// host/coordinator/state_folder.cpp

#include "host/coordinator/state_folder.h"

#include <array>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace fenwire {

StateFolder::StateFolder(const std::filesystem::path &folder)
{
    std::error_code failure;
    std::filesystem::create_directories(folder / "logs", failure);
    if (failure)
        throw std::runtime_error("the state folder " + folder.string() +
                                 " can't be made: " + failure.message());
    const auto path = folder / "lock";
    lock_ = UniqueFd(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock_)
        ThrowErrno("lock file " + path.string());
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
        std::array<char, 32> owner = {};
        const ssize_t got = pread(lock_.get(), owner.data(), owner.size() - 1, 0);
        throw std::runtime_error("this job is running already" +
                                 (got > 0 ? ", as process " + std::string(owner.data()) : "") +
                                 "; wait for its end, or give this one another name");
    }
    const std::string me = std::to_string(getpid());
    if (ftruncate(lock_.get(), 0) != 0 ||
        pwrite(lock_.get(), me.data(), me.size(), 0) != static_cast<ssize_t>(me.size()))
        ThrowErrno("lock file " + path.string());
}

}  // namespace fenwire
