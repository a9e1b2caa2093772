// pm/disk/unx_disk.cpp

#include "pm/disk/unx_disk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_memory.h"
#include "pm/pm_trace.h"

constexpr pmDiskEntries kUnxDskEntries = {
    .DskRBuf = pmunxRBuf,
    .DskWBuf = pmunxWBuf,
    .DskSync = pmunxSync,
    .DskGetPos = pmUnxDskGetPos,
    .DskSetPos = pmUnxDskSetPos,
    .DskOpen = pmUnxDskOpen,
    .DskClose = pmUnxDskClose,
};

namespace {

constexpr uint32_t kDefaultBlock = 65536;
constexpr const char *kStreamModes[] = {"rb", "wb", "rb+"};  // by open mode, as the log names them

// ---- Open --------------------------------------------------------------------------------------

int CheckMode(const pmFile *file)
{
    const bool known = file->OpenMode >= kOpenRead && file->OpenMode <= kOpenWriteAppend;
    if (known && !(file->bPrivate != 0 && file->OpenMode == kOpenWriteAppend))
        return pmrcOk;
    PM_TRACE(1, "!ERROR! invalid open mode");
    return pmrcBadParameter;
}

bool EndsInFirst(const char *name, const char *suffix)
{
    const char *first = strstr(name, suffix);
    return first != nullptr && first[strlen(suffix)] == '\0';
}

int CheckSuffix(const pmFile *file)
{
    if (!IsCompressedName(file->FName))
        return pmrcOk;
    // Compressed files are opened here.
    char words[kMaxFileName + 100];
    snprintf(words, sizeof words, "compressed files are not available in this version: '%s'",
             file->FName);
    pmSetErrTxt(words, static_cast<uint32_t>(strlen(words)));
    PM_TRACE(1, "!ERROR! %s", words);
    return pmrcText;
}

// A first look, for the log only: the open decides, and what was opened is looked at again.
void LookAtPath(const pmFile *file)
{
    struct stat info = {};
    char reason[128] = "";

    if (os.stat(file->FName, &info) != 0) {
        const int error = errno;
        if (error == ENOENT && file->OpenMode == kOpenWrite)
            return;  // it is about to be created
        PM_TRACE(1, "!WARNING! 'stat' call failed: %s", strerror_r(error, reason, sizeof reason));
        PM_TRACE(1, "errno=%d", error);
    } else if (S_ISFIFO(info.st_mode)) {
        PM_TRACE(1, "!WARNING! FIFO pipe detected");
    }
}

// With a time-out nothing may block, whatever lies under the name by now; nor may a pipe that was put
// in the place of a file of our own.
int OpenFlags(const pmFile *file)
{
    const int own = file->bPrivate != 0 ? O_NOFOLLOW | O_NONBLOCK : 0;
    return O_RDONLY | O_CLOEXEC | O_NOCTTY | own | (FIFO_TimeOutSeconds != 0 ? O_NONBLOCK : 0);
}

int OpenForReading(const pmFile *file)
{
    int descriptor = 0;
    do {
        descriptor = os.open(file->FName, OpenFlags(file));
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

int OpenFailed(const pmFile *file)
{
    char text[kMaxFileName + 16];
    snprintf(text, sizeof text, "File: '%s'", file->FName);
    const int code = pmDiskError("pmUnxDskOpen", text);
    PM_TRACE(1, "Can't open FName=%s", file->FName);
    PM_TRACE(1, "oOption=%s", kStreamModes[file->OpenMode - kOpenRead]);
    return code;
}

int NotOurFile(const pmFile *file)
{
    char words[kMaxFileName + 100];
    snprintf(words, sizeof words, "'%s' is not a plain file of this job's user", file->FName);
    errno = 0;
    return pmDiskError("pmUnxDskOpen", words);
}

bool IsOurFile(const struct stat &info)
{
    return S_ISREG(info.st_mode) && info.st_uid == geteuid() && info.st_nlink == 1;
}

// What was opened, which may differ from what was looked at.
int Classify(pmFile *file, DiskFile *disk)
{
    struct stat info = {};
    if (os.fstat(disk->descriptor, &info) != 0)
        return OpenFailed(file);
    file->Identity = {.device = info.st_dev, .inode = info.st_ino};
    disk->isFIFO = S_ISFIFO(info.st_mode);
    disk->regular = file->bOffsetKnown = S_ISREG(info.st_mode);
    disk->waits = !S_ISREG(info.st_mode) && FIFO_TimeOutSeconds != 0;
    // A file of a process alone need not outlive it.
    disk->unnamed = file->OpenMode != kOpenRead && file->bPrivate == 0;
    if (file->bPrivate != 0 && !IsOurFile(info))
        return NotOurFile(file);
    if (file->OpenMode == kOpenWriteAppend)
        return SeekToEnd(file, disk);
    if (!S_ISREG(info.st_mode) || info.st_size != 0 || file->OpenMode != kOpenRead)
        return pmrcOk;
    PM_TRACE(1, "!WARNING! Empty file detected (for read)");
    return pmrcEmptyFile;
}

// ---- Read --------------------------------------------------------------------------------------

// 0: there is something to read, an end or an error included. 55: nothing came in time.
int WaitForPipe(const DiskFile *disk)
{
    const timespec limit = {.tv_sec = FIFO_TimeOutSeconds, .tv_nsec = 0};
    pollfd wanted = {.fd = disk->descriptor, .events = POLLIN, .revents = 0};

    const int ready = os.ppoll(&wanted, 1, &limit, nullptr);
    if (ready == 0) {
        FW_Message<19468>();
        FW_TRACE(0, "Named pipe timeout limit exceed, aborting job");
        return pmrcTimeOut;
    }
    if (ready > 0)
        PM_TRACE(4, "%s[%d]: %s", JobOpName, ThisInstance, "Data in named pipe is available");
    return pmrcOk;
}

// As read, but for interruptions and for a pipe that was drained between the wait and the read.
int ReadSome(const DiskFile *disk, uint8_t *to, uint32_t most, ssize_t *count)
{
    for (;;) {
        if (disk->waits != 0) {
            if (const int code = WaitForPipe(disk); code != pmrcOk)
                return code;
        }
        errno = 0;
        *count = os.read(disk->descriptor, to, most);
        if (*count >= 0)
            return pmrcOk;
        if (errno != EINTR && !(disk->waits != 0 && errno == EAGAIN))
            return pmDiskError("pmunxRBuf", "read error");
    }
}

}  // namespace

bool IsCompressedName(const char *name)
{
    return EndsInFirst(name, ".gz") || EndsInFirst(name, ".zip");
}

int pmUnxDskOpen(pmFile *file)
{
    pmToken token = 0;
    int code = pmrcOk;

    file->FIData = nullptr;
    if ((code = CheckMode(file)) != pmrcOk || (code = CheckSuffix(file)) != pmrcOk)
        return code;
    auto *disk = static_cast<DiskFile *>(pmGetMem(sizeof(DiskFile), &token, true));
    if (disk == nullptr) {
        PM_TRACE(1, "!ERROR! Memory allocation error");
        return pmrcMemory;
    }
    disk->MMToken = token;
    if (file->BufferSize == 0)
        file->BufferSize = kDefaultBlock;
    LookAtPath(file);
    disk->descriptor = file->OpenMode == kOpenRead ? OpenForReading(file) : OpenForWriting(file);
    code = disk->descriptor < 0 ? OpenFailed(file) : Classify(file, disk);
    if (code != pmrcOk && code != pmrcEmptyFile) {
        if (disk->descriptor >= 0)
            os.close(disk->descriptor);
        pmFreeMem(token);
        return code;
    }
    file->FIData = disk;
    return code;
}

int pmunxRBuf(pmFile *file, uint32_t *bytes_read)
{
    auto *disk = static_cast<DiskFile *>(file->FIData);
    ssize_t count = 0;

    *bytes_read = 0;
    disk->block_start = disk->next_block;
    if (disk->at_end != 0)
        return pmrcEOF;
    const int code = ReadSome(disk, file->Buffer + file->BufferEnd, file->BufferSize, &count);
    if (code != pmrcOk)
        return code;
    if (count == 0) {
        disk->at_end = 1;
        return pmrcEOF;
    }
    *bytes_read = static_cast<uint32_t>(count);
    disk->next_block += static_cast<uint64_t>(count);
    return pmrcOk;
}

int pmUnxDskClose(pmFile *file)
{
    auto *disk = static_cast<DiskFile *>(file->FIData);
    if (os.close(disk->descriptor) != 0 && file->OpenMode != kOpenRead)
        PM_TRACE(1, "!WARNING! 'close' call failed: errno=%d", errno);
    pmFreeMem(disk->MMToken);
    file->FIData = nullptr;
    return pmrcOk;
}
