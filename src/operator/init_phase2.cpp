// operator/init_phase2.cpp - InitPhase2: this instance's share of the files, and the first of them.

#include <cstdio>

#include "fileset/fileset.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"

namespace {

PxStatus NothingToDo(const char *why)
{
    FW_TRACE(1, "%s: %s.  Returning EndMethod", "InitPhase2", why);
    return PXSTC_EndMethod;
}

// FW_FenwireOpen and the count of records come first: what follows tells of a file that is open.
void AnnounceFile()
{
    int64_t now = 0;
    FetchCurrentTime(&now);
    FW_STATS_TIMED("From file '%s' (Size %lld), starting to send rows.", CurrentFullPath,
                   static_cast<long long>(CurrentFile.Size));
    if (CurrentFullPath[0] != '\0')
        FW_Message<19222>(ThisInstance, CurrentFullPath);
}

}  // namespace

PxStatus OpenCurrentFile()
{
    FileStartCpu = ProcessCpuSeconds();
    ComposeFullPath(CurrentFullPath, sizeof CurrentFullPath, CurrentFile.Name);
    bFileCountsDue = 1;  // also of a file that can't be opened: it was to be loaded
    if (const PxStatus status = FW_FenwireOpen(CurrentFullPath))
        return status;
    AnnounceFile();
    return PXSTC_Success;
}

PxStatus InitPhase2()
{
    PxStatus status = GetDirectoryName(0);
    if (status != PXSTC_Success)
        return MapStatus(status == PXSTC_NotFound ? PxStatus{PXSTC_Warning} : status);
    // Several readers of one file: master and slaves are settled here, and the shared memory attached.
    bNoFileForInstance = 1;
    if (DirInfo.FileCount == 0)
        return NothingToDo("File count zero");
    if ((status = GetAllFileNames()) != PXSTC_Success)
        return status;
    status = GetNextFileName(kInProcess);
    if (status == PXSTC_EndOfData) {
        FW_TRACE(1, "No files found for instance %d - stasis", ThisInstance);
        FW_Message<19012>(ThisInstance);
        return NothingToDo("No files for this instance");
    }
    if (status != PXSTC_Success)
        return status;
    bNoFileForInstance = 0;
    return OpenCurrentFile();
}
