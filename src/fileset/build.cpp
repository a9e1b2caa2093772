// fileset/build.cpp - BuildGlobalInfo: from the FileName attribute to published elements.
//
// Instance 1 walks kFileSetCases from the top and takes the first that applies. To add a way of
// naming files, add a row: connector jobs, access modules and file lists belong above the literal
// name, the active scan behind the single one.

#include <cstring>

#include "fileset/balance.h"
#include "fileset/fileset.h"
#include "fileset/scan.h"
#include "operator/messages.h"

namespace {

PxStatus NoFileMatches()
{
    FW_ERROR("No filenames in directory match wildcard");
    return FW_Fatal<19117>(DirInfo.DirName, "FileName", FW_FileName);
}

bool WritesFiles() { return Reading == 0; }

// ---- One file, named in full ------------------------------------------------------------------

bool NamesOneFile() { return bEnableScan != kYes; }

// A missing file is entered all the same: whoever opens it says so.
PxStatus BuildFromName()
{
    char path[sizeof CurrentFullPath];
    AcceptedFile file = {.name = FW_FileName, .mode = kRegularFile, .size = 0, .time = 0};
    FileScan store = {.pass = ScanPass::Store};

    if (strchr(FW_FileName, '*') != nullptr)
        FW_WARN(1, "%s ('%s') %s", "Wildcarded filename", FW_FileName,
                "specified when Directory/PDS scan disabled");
    ComposeFullPath(path, sizeof path, FW_FileName);
    if (GetFileInfo(path, path, &file.mode, &file.size, &file.time, true, true) == kFileMissing &&
        !IsInputKind(file.mode))
        return NoFileMatches();
    DirInfo.FileCount = 1;
    if (const PxStatus status = AllocateGlobalVariables())
        return status;
    return ProcessAcceptedFile(store, file);
}

// ---- The files of a directory that match a pattern --------------------------------------------

bool NamesAPattern() { return bEnableScan == kYes; }

PxStatus CountMatchingFiles(const WildcardPattern &pattern)
{
    FileScan count = {.pass = ScanPass::Count};
    if (const PxStatus status = TallyFiles(count, pattern))
        return status;
    FW_TRACE(1, "Matching file count=%d", count.files);
    DirInfo.FileCount = count.files;
    return count.files > 0 ? PXSTC_Success : NoFileMatches();
}

PxStatus StoreMatchingFiles(const WildcardPattern &pattern)
{
    FileScan store = {.pass = ScanPass::Store};
    if (const PxStatus status = TallyFiles(store, pattern))
        return status;
    if (store.files == DirInfo.FileCount)
        return PXSTC_Success;
    DirInfo.FileCount = store.files;
    FW_TRACE(1, "Reassigned FileCount=%d", DirInfo.FileCount);
    return store.files > 0 ? PublishDirInfo() : NoFileMatches();
}

PxStatus BuildFromDirectory()
{
    WildcardPattern pattern;
    PxStatus status = PXSTC_Success;

    DirInfo.FileCount = 0;
    ++DirInfo.PassNumber;
    if ((status = SplitPattern(FW_FileName, &pattern)) != PXSTC_Success ||
        (status = CountMatchingFiles(pattern)) != PXSTC_Success ||
        (status = AllocateGlobalVariables()) != PXSTC_Success ||
        (status = StoreMatchingFiles(pattern)) != PXSTC_Success ||
        (status = BalanceLoad()) != PXSTC_Success ||
        (status = GetDirectoryName(1)) != PXSTC_Success)
        return status;
    return PublishDirInfo();
}

struct FileSetCase {
    int number;
    bool (*applies)();
    PxStatus (*build)();
};

// clang-format off
constexpr FileSetCase kFileSetCases[] = {
    // 1 connector jobs, 2 access modules, 3 file lists, 4 one file for many readers
    {5, WritesFiles,   BuildOutputFiles  },
    {6, NamesOneFile,  BuildFromName     },
    {7, NamesAPattern, BuildFromDirectory},
    // 8 the active directory scan
};
// clang-format on

}  // namespace

bool IsFileOfJob(const FileNamesEntry &entry, int32_t index)
{
    WildcardPattern pattern;
    if (WritesFiles())
        return IsOutputFileOfJob(entry, index);
    if (NamesOneFile())
        return index == 1 && strcmp(entry.Name, FW_FileName) == 0;
    return strchr(entry.Name, '/') == nullptr &&
           SplitPattern(FW_FileName, &pattern) == PXSTC_Success &&
           MatchesPattern(pattern, entry.Name);
}

PxStatus BuildGlobalInfo()
{
    DirInfo.TotalInstances = TotalInstances;
    DirInfo.EnableScan = bEnableScan;
    for (const FileSetCase &way : kFileSetCases) {
        if (way.applies())
            return way.build();
    }
    return PXSTC_FatalError;
}
