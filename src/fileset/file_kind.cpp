// fileset/file_kind.cpp - what a file is: kind, size, time.

#include <cerrno>
#include <cstring>

#include "fileset/directory_calls.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

// By the code that GetFileInfo gives.
constexpr const char *kKindNames[] = {"regular",   "fifo special",      "symbolic link",
                                      "directory", "character special", "block special"};
constexpr int32_t kUnknownKind = 6;

int32_t NotExamined(const char *name, bool must_exist)
{
    if (errno != ENOENT) {
        FW_WARN(1, "file '%s' not processed (errno %d).", name, errno);
        return kFileUnexaminable;
    }
    if (must_exist)
        FW_WARN(1, "!ERROR! file '%s' does not exist.", name);
    return kFileMissing;
}

}  // namespace

const char *FileKindName(int32_t mode)
{
    return mode >= 0 && mode < kUnknownKind ? kKindNames[mode] : "unknown";
}

int32_t FileKind(uint32_t st_mode)
{
    switch (st_mode & S_IFMT) {
    case S_IFREG:
        return kRegularFile;
    case S_IFIFO:
        return kNamedPipe;
    case S_IFLNK:
        return kLink;
    case S_IFDIR:
        return 3;
    case S_IFCHR:
        return 4;
    case S_IFBLK:
        return 5;
    default:
        return kUnknownKind;
    }
}

int32_t GetFileInfo(const char *path, const char *path2, int32_t *mode, int64_t *size,
                    int32_t *time, bool must_exist, bool report)
{
    struct stat64 found = {};

    *mode = kRegularFile;
    *size = 0;
    *time = 0;
    if (Reading && strcmp(path, "/dev/null") == 0)
        return kFileFound;
    if (directory_calls.lstat64(path, &found) != 0)
        return NotExamined(path2, must_exist);
    *mode = FileKind(found.st_mode);
    if (!IsInputKind(*mode)) {
        if (report) {
            FW_WARN(1, "File '%s' not processed.", path2);
            FW_WARN(1, "file type '%s' in not valid", FileKindName(*mode));
            FW_Message<19127>(path2, FileKindName(*mode));
        }
        return kFileMissing;
    }
    *size = found.st_size;
    *time = static_cast<int32_t>(found.st_mtime);
    return kFileFound;
}
