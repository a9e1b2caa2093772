// host/system/unique_fd.h - a file descriptor that closes itself, and the words for errno.

#ifndef FENWIRE_HOST_SYSTEM_UNIQUE_FD_H
#define FENWIRE_HOST_SYSTEM_UNIQUE_FD_H

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace fenwire {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept
    {
        std::swap(fd_, other.fd_);  // what was held before is closed with other
        return *this;
    }
    ~UniqueFd() { Close(); }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int Release() { return std::exchange(fd_, -1); }
    void Close()
    {
        if (fd_ >= 0)
            ::close(std::exchange(fd_, -1));
    }

private:
    int fd_ = -1;
};

[[noreturn]] inline void ThrowErrno(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace fenwire

#endif
