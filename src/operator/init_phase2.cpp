// operator/init_phase2.cpp - InitPhase2: this instance's share of the files, and the first of them.

#include <cstdio>

#include "attributes/attributes_state.h"
#include "fileset/fileset.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "pm/pm.h"

namespace {

PxStatus NothingToDo(const char *why)
{
    FW_TRACE(1, "%s: %s.  Returning EndMethod", "InitPhase2", why);
    return PXSTC_EndMethod;
}

// Before the open, which empties it.
void NoteExistingFile()
{
    int64_t size = 0;
    int32_t mode = 0, time = 0;

    if (FW_OpenMode != kOpenWrite || GetFileInfo(CurrentFullPath, CurrentFullPath, &mode, &size,
                                                 &time, false, false) != kFileFound)
        return;
    FW_STATS("%s '%s' (size %lld).", "Overwriting existing file", CurrentFullPath,
             static_cast<long long>(size));
}

// FW_FenwireOpen and the count of records come first: what follows tells of a file that is open.
void AnnounceFile()
{
    int64_t now = 0;
    FetchCurrentTime(&now);
    if (bWriting != 0)
        FW_STATS_TIMED("Starting to send rows to file '%s'", CurrentFullPath);
    else
        FW_STATS_TIMED("From file '%s' (Size %lld), starting to send rows.", CurrentFullPath,
                       static_cast<long long>(CurrentFile.Size));
    if (CurrentFullPath[0] != '\0')
        FW_Message<19222>(ThisInstance, CurrentFullPath);
}

// This instance's files, and the first of them as the current one. 0; 12: there is none; a failure.
PxStatus TakeFirstFile()
{
    if (bWriting != 0)
        return TakeOutputFile();
    const PxStatus status = GetAllFileNames();
    return status != PXSTC_Success ? status : GetNextFileName(kInProcess);
}

}  // namespace

PxStatus OpenCurrentFile()
{
    FileStartCpu = ProcessCpuSeconds();
    ComposeFullPath(CurrentFullPath, sizeof CurrentFullPath, CurrentFile.Name);
    bFileCountsDue = 1;  // also of a file that can't be opened: it was to be loaded
    if (bWriting != 0)
        NoteExistingFile();
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
    status = TakeFirstFile();
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
