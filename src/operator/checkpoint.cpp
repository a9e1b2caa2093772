// operator/checkpoint.cpp - PX_Checkpoint, between two calls of execute, and PX_Restart in place of the
// search for files.

#include "delimited/record_error_file.h"
#include "fileset/fileset_state.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "restart/restart.h"
#include "restart/restart_state.h"

namespace {

PxStatus MustBeInitiated()
{
    if (bOperatorInUse != 0)
        return PXSTC_Success;
    FW_ERROR("Operator %s NOT initialized!", OpNameStr);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// The files may stand behind a record that ended the job, and the next run would pass over it.
PxStatus MustNotHaveFailed()
{
    if (bExecuteFailed == 0 && CurrentExitCode < 12)
        return PXSTC_Success;
    FW_ERROR("An earlier call failed, there is nothing to come back to");
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

int32_t LocalFileCount()
{
    int32_t count = bWriting != 0 ? 1 : 0;
    for (const FileNode *node = FirstFileNode; node != nullptr; node = node->Next)
        ++count;
    return count;
}

PxStatus MethodComplete(const char *method, const char *how)
{
    FW_TRACE(1, "%s: %s.  Returning EndMethod", method, how);
    if (bExecuteEndMethod != 0 && bJobStatsSent == 0)
        PutJobStats();
    return PXSTC_EndMethod;
}

// Bad records are safe before anybody commits the rows that they were left out of.
PxStatus SecureBadRecords()
{
    const PxStatus status = ShareErrorCount();
    return status != PXSTC_Success ? status : FlushRecordErrorFile();
}

PxStatus RestoreFiles()
{
    if (ThisInstance != 1)
        return PXSTC_NextPhase;
    if (const PxStatus status = RestoreFileSet())
        return MapStatus(status);
    FW_TRACE(1, "Returning PXSTC_NextPhase (%d)", PXSTC_NextPhase);
    return PXSTC_NextPhase;
}

// An instance above 1 finds its place in the list before it takes a file from it.
PxStatus OpenRestoredFile()
{
    FW_TRACE(1, "%s %d, Calling InitPhase2", "Restart/phase2: instance", ThisInstance);
    if (ThisInstance > 1) {
        if (const PxStatus status = ReadOwnRecord())
            return status;
    }
    const PxStatus status = InitPhase2();
    if (status == PXSTC_Success)
        FW_TRACE(1, "InitPhase2 returned success, filecount: %d", LocalFileCount());
    return status == PXSTC_EndMethod ? PxStatus{PXSTC_Success} : status;
}

PxStatus GoOn()
{
    if (const PxStatus status = OpenRestoredFile())
        return MapStatus(status);
    FW_TRACE(1, "Restarting instance %d, file count %d of %d:", ThisInstance, CountCurrent,
             LocalFileCount());
    if (const PxStatus status = ResumePosition())
        return MapStatus(status);
    if (const PxStatus status = ShareErrorCount())
        return MapStatus(status);
    return MethodComplete("PX_Restart",
                          bNoFileForInstance != 0 ? "No file open for this instance" : "Complete");
}

}  // namespace

PxStatus PX_Checkpoint(PxOperator *handle, uint32_t phase)
{
    int64_t now = 0;

    EnterMethod(handle, __func__, phase);
    if (const PxStatus status = MustBeInitiated())
        return status;
    if (const PxStatus status = MustNotHaveFailed())
        return status;
    ++EvtCkptCount;
    FetchCurrentTime(&now);
    FW_TRACE_TIMED(1, "Checkpointing instance %d, file count %d of %d:", ThisInstance, CountCurrent,
                   LocalFileCount());
    // Buffer mode: a row in hand goes out here. It is packed again from where packing begins, not
    // extracted, counted or given its file name a second time. A notify exit hears of the checkpoint.
    if (const PxStatus status = SecureBadRecords())
        return MapStatus(status);
    if (const PxStatus status = WriteCheckpointRecord())
        return MapStatus(status);
    PutFileCounts(kCountedSoFar);
    // An archiving job is told here that its pass is complete.
    return MethodComplete(__func__, "Complete-Setting Execute CkptJustCompleted flag");
}

PxStatus PX_Restart(PxOperator *handle, uint32_t phase)
{
    EnterMethod(handle, __func__, phase);
    if (const PxStatus status = MustBeInitiated())
        return status;
    switch (phase) {
    case 1:
        return RestoreFiles();
    case 2:
        return GoOn();
    default:
        return InvalidPhase(phase);
    }
}
