// fileset/scan.cpp

#include "fileset/scan.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "fileset/directory_calls.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

// Whoever dropped a link into the directory chose what is read: the log tells where it leads.
void TraceLinkTarget(const char *name)
{
    char path[sizeof CurrentFullPath], target[PATH_MAX];
    ComposeFullPath(path, sizeof path, name);
    FW_STATS("link '%s' leads to '%s'", path,
             realpath(path, target) != nullptr ? target : "nothing that can be reached");
}

void NextInstance(FileScan &scan)
{
    if (scan.instance++ == TotalInstances) {
        scan.instance = 1;
        scan.status = kPending;
    }
}

PxStatus StoreFile(FileScan &scan, const AcceptedFile &file)
{
    FileNamesEntry entry = {};

    if (file.mode == kLink)
        TraceLinkTarget(file.name);
    if (strlen(file.name) >= sizeof entry.Name)
        FW_Message<19162>();
    snprintf(entry.Name, sizeof entry.Name, "%s", file.name);
    entry.Status = scan.status;
    entry.Instance = scan.instance;
    entry.Size = file.size;
    entry.Time = file.time;
    FW_TRACE(4, "%s '%s' (%lld bytes), CountSoFar=%d, instance=%d",
             "Calling PX_UpdateGlobalVar for file ", entry.Name, static_cast<long long>(entry.Size),
             scan.files, entry.Instance);
    NextInstance(scan);
    return UpdateFileEntry(scan.files, &entry);
}

PxStatus DirectoryFailed(const char *name)
{
    char text[sizeof DirInfo.DirName + NAME_MAX + 256];
    snprintf(text, sizeof text, "%s%s: %s", DirInfo.DirName, name, strerror(errno));
    FW_ERROR("Can not examine directory '%s'", text);
    return FW_Fatal<19119>(text);
}

PxStatus ExamineEntry(FileScan &scan, const WildcardPattern &pattern, int directory,
                      const char *name)
{
    struct stat64 found = {};

    if (directory_calls.fstatat64(directory, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
        // Kept: a file that vanished, or that the disk can't show, is passed over without a word.
        const bool passed_over = errno == ENOENT || errno == EIO || !MatchesPattern(pattern, name);
        return passed_over ? PXSTC_Success : DirectoryFailed(name);
    }
    const int32_t kind = FileKind(found.st_mode);
    if (!IsInputKind(kind)) {
        if (scan.pass == ScanPass::Count)
            FW_TRACE(2, "'%s', mode '%s' rejected.  %s", name, FileKindName(kind),
                     "Must be a regular file, pipe or link.");
        return PXSTC_Success;
    }
    if (!MatchesPattern(pattern, name)) {
        if (scan.pass == ScanPass::Count)
            FW_TRACE(2, "'%s' rejected. File does not match wildcard", name);
        return PXSTC_Success;
    }
    return ProcessAcceptedFile(scan, {.name = name,
                                      .mode = kind,
                                      .size = found.st_size,
                                      .time = static_cast<int32_t>(found.st_mtime)});
}

PxStatus ExamineEntries(FileScan &scan, const WildcardPattern &pattern, DIR *directory)
{
    while (true) {
        errno = 0;
        const dirent64 *entry = directory_calls.readdir64(directory);
        if (entry == nullptr)  // a directory that can't be read on would lose files
            return errno == 0 ? PXSTC_Success : DirectoryFailed("");
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        if (const PxStatus status = ExamineEntry(scan, pattern, dirfd(directory), entry->d_name))
            return status;
    }
}

}  // namespace

PxStatus ProcessAcceptedFile(FileScan &scan, const AcceptedFile &file)
{
    const size_t length = strlen(file.name);
    if (length > kMaxPath) {
        FW_ERROR("File name length > %d", static_cast<int>(kMaxPath));
        return FW_Fatal<19202>("FileName", static_cast<int64_t>(length), kMaxPath);
    }
    ++scan.files;
    if (scan.pass == ScanPass::Count) {
        FW_TRACE(1, "'%s' (mode='%s', size=%lld) accepted.", file.name, FileKindName(file.mode),
                 static_cast<long long>(file.size));
        return PXSTC_Success;
    }
    if (scan.files > DirInfo.FileCount) {
        FW_ERROR("Files were added to the directory during the scan: too many candidate files in "
                 "the second pass.  Restart the job when the directory contents are stable");
        return FW_Fatal<19223>();
    }
    return StoreFile(scan, file);
}

PxStatus TallyFiles(FileScan &scan, const WildcardPattern &pattern)
{
    FW_TRACE_TIMED(1, "Files from directory '%s'", DirInfo.DirName);
    DIR *directory = directory_calls.opendir(DirInfo.DirName);
    if (directory == nullptr)
        return DirectoryFailed("");
    const PxStatus status = ExamineEntries(scan, pattern, directory);
    closedir(directory);
    return status;
}
