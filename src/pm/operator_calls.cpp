// pm/operator_calls.cpp - closing with a report, the state of the current file, the layer's end.

#include "operator/messages.h"
#include "pm/handles.h"
#include "pm/pm_state.h"

// A close that fails costs nothing: what was read stands.
void Close_pmFile(pmToken file, const char *label)
{
    constexpr MessageRow kCloseStep = {19309, 2, Warning, ""};
    PxLogArg list[] = {{}, {}};

    if (file == 0)
        return;
    FW_TRACE(1, "Closing file: '%s'", label);
    const int code = pmClose(file);
    if (code == pmrcOk)
        return;
    FW_TRACE(1, "!WARNING! close of '%s' file failed - rc %d (%s)", label, code, pmErrorText(code));
    FW_PmFailure("pmClose", code, pmErrorText(code), PmFailureKind::CloseWarning);
    PutMessage(kCloseStep, list);
}

void fwfini() { ForgetErrorText(); }

uint32_t pmRecordCount(pmToken token)
{
    const auto *file = static_cast<const pmFile *>(pmGetMemA(token));
    return file != nullptr && file->Kind == kKindFile ? file->RecCount : 0;
}

const char *pmFileName(pmToken token)
{
    const auto *file = static_cast<const pmFile *>(pmGetMemA(token));
    return file != nullptr && file->Kind == kKindFile ? file->FName : "";
}

void DumpFileInfo(int32_t)
{
    const auto *file = static_cast<const pmFile *>(pmGetMemA(pmfp));
    if (FW_TraceLvl <= 1 || file == nullptr || file->Kind != kKindFile)
        return;
    FW_TRACE(1, "CurrentFilename:       '%s'", file->FName);
    FW_TRACE(1, "Records read:          %u", file->RecCount);
    FW_TRACE(1, "Buffer position:       %u of %u", file->BufferPosition, file->BufferEnd);
    FW_TRACE(1, "End of file:           %s", file->atEOF != 0 ? "reached" : "not reached");
}
