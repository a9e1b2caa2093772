// delimited/record_error_merge.cpp - the end of the record error files: closed, appended to one, removed.
//
// A temporary file is removed only when all of it is on the disk in the named file. One that can't be
// appended stays where it is; the job's outcome stands too, but the person is told where to look.

#include <cstdio>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"

namespace {

struct Temporary {
    int32_t instance;
    char path[kMaxErrorPath];
    pmToken file = 0;
    int32_t copied = 0;
};

void Close(pmToken &file, const char *label, int32_t instance)
{
    char text[80];
    snprintf(text, sizeof text, "%s (%d)", label, instance);
    Close_pmFile(file, text);
    file = 0;
}

// ---- One temporary file ------------------------------------------------------------------------

bool WillBeMissing(const Temporary &temporary, const char *why)
{
    FW_ERROR("%s %d %s %s ('%s') %s.", "Error records from instance", temporary.instance,
             "will be missing.", "The temporary file", temporary.path, why);
    return false;
}

// Others may write in the log directory: what lies under the name must be what the instance wrote.
bool IsTheInstances(const Temporary &temporary)
{
    PmIdentity wanted = {}, found = {};
    return ReadFileId(temporary.instance, &wanted) == PXSTC_Success &&
           pmIdentity(temporary.file, &found) == pmrcOk && found.device == wanted.device &&
           found.inode == wanted.inode;
}

bool OpenTemporary(Temporary &temporary)
{
    const int code =
        OpenRowErrorFile(temporary.path, temporary.instance, kOpenRead, &temporary.file);
    if (code != pmrcOk && code != pmrcEmptyFile) {
        FW_ERROR("'%s'", pmErrorText(code));
        return WillBeMissing(temporary, "can not be opened");
    }
    if (IsTheInstances(temporary))
        return true;
    Close(temporary.file, "Term Phase 2:Record error fileInstance:", temporary.instance);
    return WillBeMissing(temporary, "is not the one that the instance wrote");
}

bool CopyFailed(const char *routine, int code)
{
    FW_ERROR("%s rc=%d", routine, code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure(routine, code, pmErrorText(code));
    return false;
}

bool CopyRecords(Temporary &temporary)
{
    pmRecord record = {};

    FW_TRACE(1, "Copying temporary record error file from instance %d...", temporary.instance);
    for (;;) {
        const int code = pmRead(temporary.file, &record);
        if (code == pmrcEOF)
            break;
        // A process that was killed leaves a last record without its mark.
        if (code != pmrcOk && (code != pmrcNoEOR || bAcceptEOFasEOR == 0))
            return CopyFailed("pmRead", code);
        if (const int written = pmWrite(SG_pmFpErrors, &record); written != pmrcOk)
            return CopyFailed("pmWrite", written);
        ++temporary.copied;
    }
    const int flushed = pmFlush(SG_pmFpErrors);
    return flushed == pmrcOk || CopyFailed("pmFlush", flushed);
}

void Remove(const char *path)
{
    if (os.unlink(path) == 0)
        FW_TRACE(1, "Temporary file '%s' deleted", path);
    else
        FW_WARN(1, "Unable to remove %s", "temporary record error file.");
}

bool CopyAndRemove(Temporary &temporary)
{
    const bool good = CopyRecords(temporary);

    FW_TRACE(1, "%d error records copied.", temporary.copied);
    Close(temporary.file, "Term Phase 2:Record error fileInstance:", temporary.instance);
    if (good)
        Remove(temporary.path);
    else
        FW_ERROR("%s %d %s %s ('%s') %s.", "Some or all record errors from instance",
                 temporary.instance, "may be missing.", "The temporary file", temporary.path,
                 "is kept");
    return good;
}

// True: nothing of this instance's is missing in the named file.
bool AppendInstance(int32_t instance)
{
    Temporary temporary = {.instance = instance, .path = {}};
    int32_t process = 0;

    if (ReadProcessId(instance, &process) != PXSTC_Success)
        return false;
    if (process == 0)
        return true;  // it did not come to open one
    MakeRowErrorFileName(temporary.path, instance, process);
    const bool good = OpenTemporary(temporary) && CopyAndRemove(temporary);
    if (!good)
        FW_Message<19994>(instance, temporary.path, SG_RowErrFileName);
    ErrorFileLines += static_cast<uint64_t>(temporary.copied);
    return good;
}

void AppendAll()
{
    bool good = true;
    for (int32_t instance = 2; instance <= TotalInstances; ++instance)
        good = AppendInstance(instance) && good;
    if (!good)
        FW_ERROR("Errors were encountered during multi-instance %s",
                 "error record copy operation.");
}

// Instance 1 could not open its own file, so nobody has read a record, and these are empty.
void RemoveAll()
{
    for (int32_t instance = 2; instance <= TotalInstances; ++instance) {
        char path[kMaxErrorPath];
        int32_t process = 0;
        if (ReadProcessId(instance, &process) != PXSTC_Success || process == 0)
            continue;
        MakeRowErrorFileName(path, instance, process);
        Remove(path);
    }
}

}  // namespace

PxStatus CloseRecordErrorFile()
{
    if (SG_pmFpErrors == 0)
        return PXSTC_Success;
    PxStatus status = PublishErrorCount();
    if (const PxStatus flushed = FlushRecordErrorFile())
        status = flushed;
    if (ThisInstance > 1)
        Close(SG_pmFpErrors, "Term Phase 1: Record error file Instance:", ThisInstance);
    return status;
}

void AppendRowErrorFile()
{
    if (ThisInstance != 1 || pmHandleErrors == 0)
        return;
    if (SG_pmFpErrors != 0) {
        AppendAll();
        Close(SG_pmFpErrors, "Term Phase 2:Record error file Instance", 1);
        FW_TRACE(1, "%llu Total lines written to '%s'",
                 static_cast<unsigned long long>(ErrorFileLines), SG_RowErrFileName);
    } else {
        RemoveAll();
    }
    DeleteErrorVariables();
    pmHandleErrors = 0;  // the access layer ends now, and its modules with it
}
