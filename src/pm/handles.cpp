// pm/handles.cpp

#include "pm/handles.h"

#include "attributes/attributes_state.h"

int NotInitialised(const char *function)
{
    pmTraceLvl = 2;
    trceprnt(function, "!ERROR! API not initialized", "");
    return pmrcNotInitialised;
}

int BadFileHandle(const char *function, pmToken token)
{
    const auto *object = static_cast<const pmFile *>(pmGetMemA(token));
    if (object == nullptr) {
        if (pmTraceLvl > 1)
            trceprnt(function, "!ERROR! NULL memory token pointer", "");
        return pmrcBadFile;
    }
    if (pmTraceLvl > 1) {
        trceprnt(function, "!ERROR! file pointer token mismatch", "");
        pmTraceLine(function, "ThisFp->MMToken=%u, pmFp=%u", object->MMToken, token);
        pmHexDmp(kDumpMessage, static_cast<uint32_t>(MaxBytesToDump), object,
                 MemoryTable[token - 1].length, "ThisFp block", true);
    }
    return pmrcBadFile;
}

Paramod *EnterModule(const char *function, pmToken token, int *code)
{
    if (bPmInitialised == 0) {
        *code = NotInitialised(function);
        return nullptr;
    }
    *code = pmrcBadHandle;
    auto *module = static_cast<Paramod *>(pmGetMemA(token));
    if (module == nullptr)
        return nullptr;
    if (module->MMToken != token || module->Kind != kKindModule) {
        if (pmTraceLvl > 1)
            trceprnt(function, "!ERROR! Invalid Access Module Handle", "");
        return nullptr;
    }
    *code = pmrcOk;
    pmTraceLvl = module->TraceLvl;
    if (pmTraceLvl > 4)
        trceprnt(function, " entry <<<<", "");
    return module;
}
