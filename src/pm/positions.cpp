// pm/positions.cpp - pmGetPos, pmRepos: where a file stands, and the way back to it.
//
// A position stands between two records. Records that were taken out of the window count as read as soon
// as a call of the layer is made, so that a position is always that of the row behind the last one taken.
// What is written counts only once it is on the device: no checkpoint may rely on bytes that can get lost.

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "pm/handles.h"
#include "pm/pm_state.h"
#include "pm/position_block.h"

namespace {

// Everything that was written so far is on the device.
int SettleOutput(pmFile *file)
{
    const int code = file->Fmt.FmtWrite(file, nullptr, true);
    return code != pmrcOk ? code : int{file->Dsk.DskSync(file)};
}

// A pipe can't be gone back to, which matters to jobs with checkpoints only.
int NoPosition(const pmFile *file, int code)
{
    if (code == pmrcPipe && bTakeAMcheckpoint == 0) {
        PM_TRACE(1, "Zero checkpoint interval.  Ignoring pipe position error.");
        return pmrcOk;
    }
    PM_TRACE(1, "NOT returning position for file=%s", file->FName);
    return code;
}

}  // namespace

int pmPositionRefused(const char *function, const pmFile *file, const char *format, ...)
{
    char reason[200], words[kMaxFileName + sizeof reason + 4];
    va_list list;
    va_start(list, format);
    vsnprintf(reason, sizeof reason, format, list);
    va_end(list);
    snprintf(words, sizeof words, "'%s' %s", file->FName, reason);
    errno = 0;
    return pmDiskError(function, words);
}

void pmStartOver(pmFile *file)
{
    file->BeginningOfFile = 1;
    file->bBOMFound = 0;
    if (file->bExact == 0)
        file->EORLength = 0;
}

int pmGetPos(pmToken handle, uint32_t user_done, pmData *position)
{
    int code = pmrcOk;
    *position = {};
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr)
        return code;
    if (user_done > 1) {
        PM_TRACE(1, "!ERROR! %s", "Invalid UserDone flag");
        return pmrcBadParameter;
    }
    if (user_done == 1) {
        PM_TRACE(1, "Utility forcing EOF status");
        ForgetWindow(file);
        file->atEOF = 1;
    }
    if (file->OpenMode != kOpenRead && (code = SettleOutput(file)) != pmrcOk)
        return NoPosition(file, code);
    if ((code = file->Dsk.DskGetPos(file)) != pmrcOk)
        return NoPosition(file, code);
    *position = file->Position;
    PM_TRACE(2, "Returning position for file '%s', record %u", file->FName, file->RecCount);
    return pmrcOk;
}

int pmRepos(pmToken handle, const pmData *position)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr)
        return code;
    if (pmTraceLvl > 3)
        pmHexDmp(kDumpMessage, kDumpBytes, position->bytes, position->length, "pmPos->Data", true);
    ForgetWindow(file);
    if ((code = file->Dsk.DskSetPos(file, position)) != pmrcOk) {
        PM_TRACE(1, "Failed to reposition file=%s", file->FName);
        return code;
    }
    PM_TRACE(1, "Repositioned file=%s", file->FName);
    PM_TRACE(1, "Repositioned to Record=%u", file->RecCount);
    return pmrcOk;
}
