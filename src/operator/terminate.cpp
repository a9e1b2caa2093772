// operator/terminate.cpp - PX_Terminate: the end of an instance, after a good run and after a failure.
//
// Phase 1 closes the data file and leaves the access layer; after the barrier no instance has a file
// open, and phase 2 lets instance 1 tally the files and delete what all share, then closes the logs.
// Initiate may have stopped anywhere, so every step asks whether its subject is there, and a failed
// cleaning stops nothing: only SYSTEM_ExecutePassed can end the method. Archiving adds a phase.

#include <cstring>

#include "attributes/attribute_table.h"
#include "convert/unicode.h"
#include "delimited/delimited.h"
#include "delimited/record_error_file.h"
#include "fileset/fileset.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "pm/pm.h"
#include "pm/pm_state.h"
#include "schema/establish.h"

namespace {

// ---- SYSTEM_ExecutePassed ---------------------------------------------------------------------

constexpr char kExecutePassed[] = "SYSTEM_ExecutePassed";
constexpr int32_t kMaxExecutePassed = 3;

struct PassedWord {
    const char *word;
    int32_t passed;
};
constexpr PassedWord kPassedWords[] = {{"Y", 1}, {"YES", 1}, {"N", 0}, {"NO", 0}};

const char *DecodeExecutePassed(const void *value)
{
    static char word[kMaxExecutePassed + 1];
    CopyUpper(word, sizeof word, value, PX_Len);
    for (const PassedWord &row : kPassedWords) {
        if (strcmp(word, row.word) == 0) {
            ExecuteSuccessFlag = row.passed;
            return word;
        }
    }
    FW_WARN(1, "Invalid %s attribute value ('%s') provided", kExecutePassed, word);
    FW_WARN(1, "Substituting value 'Y'");
    ExecuteSuccessFlag = 1;
    return "Y";
}

PxStatus ReadExecutePassed()
{
    const void *value = nullptr;
    const char *echo = "Yes (defaulted)";

    const PxStatus status = FetchAttribute(kExecutePassed, &value);
    if (status == PXSTC_NotFound)
        ExecuteSuccessFlag = 1;
    else if (status != PXSTC_Success || CheckLength(kExecutePassed, kMaxExecutePassed))
        return PXSTC_FatalError;
    else
        echo = DecodeExecutePassed(value);
    FW_TRACE(1, "Attribute '%s' value is '%s'", kExecutePassed, echo);
    return PXSTC_Success;
}

void CloseCommandInterface()
{
    if (EciOperatorId[0] == '\0')
        return;
    (void)Service(SG_opHandle, &PxOperator::PX_CloseCommandInterface);
    EciOperatorId[0] = '\0';
}

// ---- FW_Terminate -----------------------------------------------------------------------------

void CloseAccess()
{
    if (pmfp != 0)
        Close_pmFile(pmfp, "Data File");
    pmfp = 0;
    if (pmHandle == 0)
        return;
    // An access module is told here that no restart data need be kept.
    if (const int code = pmDetach(pmHandle, 2); code != pmrcOk) {
        FW_PmFailure("pmDetach", code, pmErrorText(code), PmFailureKind::CloseWarning);
        FW_Message<19310>();
    }
    pmHandle = 0;
}

void CloseLog(PxLog *&log)
{
    if (log == nullptr)
        return;
    // The operation lies in the operator's table, so Service does not fit.
    const PxOperator *op = log->kind == PX_KIND_LOG ? log->op : nullptr;
    const bool callable =
        op != nullptr && op->kind == PX_KIND_OPERATOR && op->PX_Logterm != nullptr;
    LogStatus = callable ? op->PX_Logterm(log) : PxStatus{PXSTC_BadHandle};
    log = nullptr;
}

void ReleaseAll()
{
    AppendRowErrorFile();
    FreeDelimitedBuffers();
    FreeSchema();
    fwfini();
    (void)px_nvicu_term();
    (void)pmShutDown(2);
    FW_TRACE(1, "Exit code is %d", CurrentExitCode);
    FW_TRACE(1, "Closing logs");
    CloseLog(Public_loghandle);
    CloseLog(Private_loghandle);
}

// ---- The phases -------------------------------------------------------------------------------

void WriteTotals()
{
    int64_t now = 0;
    FetchCurrentTime(&now);
    FW_STATS("Files %s by this instance: %u", bWriting != 0 ? "written" : "read",
             FilesThisInstance);
    FW_STATS_TIMED("Total processor time used = '%.2f Seconds(s)'", CpuSecondsTotal);
}

void DeleteGlobalVariable(const char *name)
{
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_DeleteGlobalVar, name);
    FW_TRACE(1, "PX_DeleteGlobalVar rc %d for '%s'", static_cast<int>(status), name);
}

// Instance 1, when every file is closed.
void TallyAndDelete()
{
    int32_t files = 0;

    if (AllocatedFileCount > 0)
        (void)MapStatus(GetScanFileCount(&files));
    TotalFilesProcessed += static_cast<uint32_t>(files);
    FW_TRACE(1, "Total files processed: %u", TotalFilesProcessed);
    FW_Message<19221>(static_cast<int64_t>(TotalFilesProcessed));
    // The shared memory of several readers of one file is released here.
    if (DirInfoVarName[0] == '\0')
        return;
    DeleteGlobalVariable(DirInfoVarName);
    DeleteGlobalVariable(FileNamesVarName);
    DeleteGlobalVariable("InstanceGotError");
}

PxStatus RunPhase1()
{
    const PxStatus status = FW_Terminate(1);
    if (bWriting != 0 && FileRecordCount > 0)
        NoteWrittenSize();
    PutFileCounts(kLeftInFailure);
    return status != PXSTC_Success ? status : PxStatus{PXSTC_NextPhase};
}

PxStatus RunLastPhase()
{
    WriteTotals();
    if (ThisInstance == 1)
        TallyAndDelete();
    FW_TRACE(1, "CkptCount=%u", CheckpointCount);
    // A connector job disconnects here, and the notify exit is let go.
    if (const PxStatus status = FW_Terminate(2))
        return status;
    FreeFileNodes();
    bOperatorInUse = 0;
    return PXSTC_EndMethod;
}

}  // namespace

PxStatus FW_Terminate(uint32_t step)
{
    FW_TRACE(1, "Enter FW_UTIL_Term Phase %u", step);
    switch (step) {
    case 1:
        CloseAccess();
        return CloseRecordErrorFile();
    case 2:
        ReleaseAll();
        return PXSTC_Success;
    default:
        return InvalidPhase(step);
    }
}

PxStatus PX_Terminate(PxOperator *handle, uint32_t phase)
{
    EnterMethod(handle, __func__, phase);
    FW_TRACE_TIMED(1, "@@@@@ TERMINATE phase %u", phase);
    if (const PxStatus status = ReadExecutePassed())
        return status;
    CloseCommandInterface();
    switch (phase) {
    case 1:
        return RunPhase1();
    case 2:
        return RunLastPhase();
    default:
        return FW_Terminate(phase);
    }
}
