// host/coordinator/state_folder.cpp

#include "host/coordinator/state_folder.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/system/replace_file.h"

namespace fenwire {

namespace {

// The process that wrote itself into the file; empty: none did.
std::string OwnerOf(int fd)
{
    std::array<char, 32> owner = {};
    const ssize_t got = pread(fd, owner.data(), owner.size() - 1, 0);
    return got > 0 ? std::string(owner.data()) : std::string();
}

bool IsAlive(const std::string &process)
{
    pid_t number = 0;
    std::from_chars(process.data(), process.data() + process.size(), number);
    return number > 0 && (kill(number, 0) == 0 || errno != ESRCH);
}

// Whoever only looks whether the lock is held has it for a moment. The children of a runner that was
// killed share its lock until they are gone too, which the system sees to: until then they may write.
bool TakeLock(int fd)
{
    constexpr int kTries = 5, kTriesBehindDead = 500;
    constexpr useconds_t kPause = 20'000;
    for (int i = 1; flock(fd, LOCK_EX | LOCK_NB) != 0; ++i) {
        if (i >= kTries && (IsAlive(OwnerOf(fd)) || i == kTriesBehindDead))
            return false;
        usleep(kPause);
    }
    return true;
}

// What is brought to the disk in a folder that has no name there is lost with the power: checkpoints, and
// with them the knowledge of what output files and tables hold. A folder that may not be read can't be
// waited for.
void SyncNamesOf(const std::filesystem::path &folder)
{
    for (const auto &parent : {folder.parent_path().parent_path(), folder.parent_path()}) {
        if (access(parent.c_str(), R_OK) == 0)
            SyncFolder(parent);
    }
}

}  // namespace

StateFolder::StateFolder(const std::filesystem::path &folder)
{
    std::error_code failure;
    std::filesystem::create_directories(folder / "logs", failure);
    if (failure)
        throw std::runtime_error("the state folder " + folder.string() +
                                 " can't be made: " + failure.message());
    SyncNamesOf(folder);
    const auto path = folder / "lock";
    lock_ = UniqueFd(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock_)
        ThrowErrno("lock file " + path.string());
    if (!TakeLock(lock_.get())) {
        const std::string owner = OwnerOf(lock_.get());
        throw std::runtime_error("this job is running already" +
                                 (owner.empty() ? "" : ", as process " + owner) +
                                 "; wait for its end, or give this one another name");
    }
    const std::string me = std::to_string(getpid());
    if (ftruncate(lock_.get(), 0) != 0 ||
        pwrite(lock_.get(), me.data(), me.size(), 0) != static_cast<ssize_t>(me.size()))
        ThrowErrno("lock file " + path.string());
}

int RunningProcess(const std::filesystem::path &folder)
{
    const auto path = folder / "lock";
    const UniqueFd lock(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!lock || flock(lock.get(), LOCK_SH | LOCK_NB) == 0)
        return 0;
    int process = 0;
    const std::string owner = OwnerOf(lock.get());
    std::from_chars(owner.data(), owner.data() + owner.size(), process);
    return process;
}

}  // namespace fenwire
