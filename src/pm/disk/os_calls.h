// pm/disk/os_calls.h - the system calls of the access layer, as a table that a test can change.
//
// Product code calls os.read(...) and never ::read. A test makes a call fail by putting its own
// function in; each test is a process of its own, so nothing has to be put back.

#ifndef FENWIRE_PM_DISK_OS_CALLS_H
#define FENWIRE_PM_DISK_OS_CALLS_H

#include <cstdlib>
#include <poll.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

struct OsCalls {
    int (*open)(const char *path, int flags) = [](const char *path, int flags) {
        return ::open(path, flags);
    };
    int (*create)(const char *path, int flags, mode_t mode) =
        [](const char *path, int flags, mode_t mode) { return ::open(path, flags, mode); };
    ssize_t (*read)(int descriptor, void *to, size_t bytes) = ::read;
    ssize_t (*write)(int descriptor, const void *from, size_t bytes) = ::write;
    off_t (*lseek)(int descriptor, off_t offset, int whence) = ::lseek;
    int (*ftruncate)(int descriptor, off_t bytes) = ::ftruncate;
    int (*fdatasync)(int descriptor) = ::fdatasync;
    int (*fsync)(int descriptor) = ::fsync;
    int (*close)(int descriptor) = ::close;
    int (*unlink)(const char *path) = ::unlink;
    int (*stat)(const char *path, struct stat *info) = ::stat;
    int (*fstat)(int descriptor, struct stat *info) = ::fstat;
    int (*ppoll)(pollfd *fds, nfds_t count, const timespec *timeout, const sigset_t *mask) =
        [](pollfd *fds, nfds_t count, const timespec *timeout, const sigset_t *mask) {
            return ::ppoll(fds, count, timeout, mask);
        };
    void *(*calloc)(size_t count, size_t size) = ::calloc;
};

inline OsCalls os;

#endif
