// pm/disk/unx_disk_write.cpp - creating local files, and writing them block by block.

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "operator/operator_state.h"
#include "pm/disk/os_calls.h"
#include "pm/disk/unx_disk.h"
#include "pm/pm_trace.h"

namespace {

constexpr mode_t kOrdinary = 0666, kOwnerOnly = 0600;

int FlagsOfMode(const pmFile *file)
{
    // A restart may come before anything was written: what the checkpoint counts on is asked later.
    if (file->OpenMode == kOpenWriteAppend)
        return O_RDWR | (FW_RestartMode != 0 ? O_CREAT : 0);
    return O_WRONLY | O_CREAT | (file->bPrivate != 0 ? O_EXCL | O_NOFOLLOW : O_TRUNC);
}

// A pipe whose reader has gone answers EPIPE here; the signal that comes with it would end the process.
class PipeSignalHeld {
public:
    PipeSignalHeld()
    {
        sigset_t pending;
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~PipeSignalHeld()
    {
        const timespec at_once = {};
        const int error = errno;
        if (!was_pending_)
            sigtimedwait(&pipe_, nullptr, &at_once);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    PipeSignalHeld(const PipeSignalHeld &) = delete;
    PipeSignalHeld &operator=(const PipeSignalHeld &) = delete;

private:
    sigset_t pipe_ = {}, before_ = {};
    bool was_pending_;
};

ssize_t WriteOnce(const DiskFile *disk, const uint8_t *from, uint32_t bytes)
{
    if (disk->isFIFO == 0)
        return os.write(disk->descriptor, from, bytes);
    const PipeSignalHeld held;
    return os.write(disk->descriptor, from, bytes);
}

// As write, but for interruptions and short counts. A count of 0 would never come to an end.
int WriteAll(DiskFile *disk, const uint8_t *from, uint32_t bytes)
{
    while (bytes != 0) {
        errno = 0;
        const ssize_t count = WriteOnce(disk, from, bytes);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            disk->lost = 1;
            return pmDiskError("pmunxWBuf", "fwrite byte count error");
        }
        from += count;
        bytes -= static_cast<uint32_t>(count);
        disk->next_block += static_cast<uint64_t>(count);
    }
    return pmrcOk;
}

// Until interrupted no more. 0, or -1 with errno set.
int Sync(int (*sync)(int descriptor), int descriptor)
{
    int result = 0;
    do {
        errno = 0;
        result = sync(descriptor);
    } while (result != 0 && errno == EINTR);
    // The file system may have nothing to be waited for.
    return result != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP ? -1 : 0;
}

// The folder that the file lies in, whatever links lead there.
bool FolderOf(const pmFile *file, char (&folder)[PATH_MAX])
{
    if (realpath(file->FName, folder) == nullptr)
        return false;
    char *name = strrchr(folder, '/') + 1;
    *name = '\0';
    return true;
}

// A file that the device has under no name is gone after a power failure, and the rows with it. A folder
// that was moved away or that may not be read can't be waited for.
int SyncFolder(const pmFile *file)
{
    char folder[PATH_MAX];
    int descriptor = -1;

    if (!FolderOf(file, folder) ||
        (descriptor = os.open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) < 0)
        return pmrcOk;
    const bool good = Sync(os.fsync, descriptor) == 0;
    const int code = good ? int{pmrcOk} : pmDiskError("pmunxSync", "'fsync' error of the folder");
    os.close(descriptor);
    return code;
}

}  // namespace

int OpenForWriting(const pmFile *file)
{
    const int flags = FlagsOfMode(file) | O_CLOEXEC | O_NOCTTY;
    int descriptor = 0;
    do {
        descriptor = os.create(file->FName, flags, file->bOwnerOnly != 0 ? kOwnerOnly : kOrdinary);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int SeekToEnd(pmFile *file, DiskFile *disk)
{
    const off_t end = os.lseek(disk->descriptor, 0, SEEK_END);
    if (end < 0)
        return pmDiskError("pmUnxDskSetPos", "'seek' error");
    disk->block_start = disk->next_block = static_cast<uint64_t>(end);
    file->BeginningOfFile = end == 0;  // a byte order mark stands at a file's start only
    return pmrcOk;
}

// The buffer is empty afterwards in any case: a block that failed is not written twice.
int pmunxWBuf(pmFile *file)
{
    auto *disk = static_cast<DiskFile *>(file->FIData);
    const uint32_t bytes = file->BufferEnd;

    if (bytes == 0) {
        PM_TRACE(2, "!WARNING! Write of empty buffer bypassed");
        return pmrcOk;
    }
    file->BufferEnd = 0;
    const int code = WriteAll(disk, file->Buffer, bytes);
    disk->block_start = disk->next_block;
    return code;
}

int pmunxSync(pmFile *file)
{
    auto *disk = static_cast<DiskFile *>(file->FIData);

    if (disk->regular == 0)
        return pmrcOk;
    if (Sync(os.fdatasync, disk->descriptor) != 0) {
        disk->lost = 1;  // whatever the next call answers
        return pmDiskError("pmunxSync", "'fdatasync' error");
    }
    if (disk->unnamed == 0)
        return pmrcOk;
    const int code = SyncFolder(file);
    disk->unnamed = code != pmrcOk;
    return code;
}
