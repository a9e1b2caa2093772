// pm/handles.h - from a handle to its object: the first thing in every call.

#ifndef FENWIRE_PM_HANDLES_H
#define FENWIRE_PM_HANDLES_H

#include "pm/index/ready_rows.h"
#include "pm/pm_file.h"
#include "pm/pm_memory.h"
#include "pm/pm_trace.h"

int NotInitialised(const char *function);                // traced; 26
int BadFileHandle(const char *function, pmToken token);  // traced; 7

// The file of a handle, whose trace level then holds. Null: *code says why.
inline pmFile *EnterFile(const char *function, pmToken token, int *code)
{
    if (bPmInitialised == 0) [[unlikely]] {
        *code = NotInitialised(function);
        return nullptr;
    }
    auto *file = static_cast<pmFile *>(pmGetMemA(token));
    if (file == nullptr || file->MMToken != token || file->Kind != kKindFile) [[unlikely]] {
        *code = BadFileHandle(function, token);
        return nullptr;
    }
    SettleReadyRows();
    pmTraceLvl = file->TraceLvl;
    if (pmTraceLvl > 4) [[unlikely]]
        trceprnt(function, " entry <<<<", "");
    return file;
}

// The module of a handle, likewise.
Paramod *EnterModule(const char *function, pmToken token, int *code);

#endif
