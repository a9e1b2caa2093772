// pm/modules.cpp - start and end of the layer, and the modules attached to it.
//
// There is one module so far, the default module, which reads local files. A library that exports the
// module entry is found, loaded and told of the attach in pmAttach, and told of its end in pmDetach.

#include <cstdlib>
#include <cstring>

#include "pm/handles.h"

namespace {

constexpr uint32_t kLowestLevel = 1, kHighestLevel = 5;
constexpr uint16_t kInterfaceVersion = 3;
constexpr size_t kMaxUtilityId = 255;

bool IsTraceLevel(uint32_t level) { return level >= kLowestLevel && level <= kHighestLevel; }

int CheckInit(const pmInitParms *parms)
{
    if (!IsTraceLevel(parms->TraceLvl)) {
        pmTraceLvl = 2;
        PM_TRACE(1, "!ERROR! %s", pmErrorText(pmrcTraceLevel));
        return pmrcTraceLevel;
    }
    pmGlobalTraceLvl = pmTraceLvl = parms->TraceLvl;
    ForgetErrorText();
    if (parms->InterfaceVerNo != kInterfaceVersion) {
        PM_TRACE(1, "!ERROR! Invalid parameter value for InterfaceVerNo=%d", parms->InterfaceVerNo);
        PM_TRACE(1, "!ERROR! Correct value for InterfaceVerNo=%d", kInterfaceVersion);
        return pmrcVersion;
    }
    if (parms->UtilityId != nullptr && strlen(parms->UtilityId) > kMaxUtilityId) {
        PM_TRACE(1, "Utility ID too long");
        return pmrcUtility;
    }
    return pmrcOk;
}

int CheckAttach(const pmAttachParms *parms, uint32_t checkpoint_method)
{
    if (parms->NameLen > kMaxModuleText) {
        PM_TRACE(1, "!ERROR! Access Module Name field >%u", kMaxModuleText);
        return pmrcBadParameter;
    }
    if (parms->InitStrLen > kMaxModuleText) {
        PM_TRACE(1, "!ERROR! Access Module Init Str >%u", kMaxModuleText);
        return pmrcBadParameter;
    }
    if (checkpoint_method != 1 && checkpoint_method != 2) {
        PM_TRACE(1, "!ERROR! Invalid CheckPointMethod=%u", checkpoint_method);
        return pmrcCheckpointMethod;
    }
    return pmrcOk;
}

void TraceVersions(pmToken handle)
{
    constexpr char kDots[] = "..................................................";
    constexpr int kColumn = 40;
    const pmVersion *version = nullptr;

    if (const int code = pmGetID(handle, &version); code != pmrcOk)
        PM_TRACE(1, "pmGetID failed, rc=%d", code);
    for (; version != nullptr; version = version->next) {
        const auto used = static_cast<int>(strlen(version->tag));
        PM_TRACE(2, "%s%.*s %s", version->tag, used < kColumn ? kColumn - used : 1, kDots,
                 version->version);
    }
}

void Append(Paramod *module)
{
    if (SG_Paramod_last != nullptr)
        SG_Paramod_last->Next = module;
    else
        SG_Paramod_1st = module;
    SG_Paramod_last = module;
}

void Unlink(const Paramod *module)
{
    Paramod *previous = nullptr;
    for (Paramod *at = SG_Paramod_1st; at != nullptr; previous = at, at = at->Next) {
        if (at != module)
            continue;
        if (previous != nullptr)
            previous->Next = module->Next;
        else
            SG_Paramod_1st = module->Next;
        if (SG_Paramod_last == module)
            SG_Paramod_last = previous;
        return;
    }
}

int CheckEndMode(uint32_t mode)
{
    if (mode == 1 || mode == 2)
        return pmrcOk;
    PM_TRACE(1, "!ERROR! Invalid Mode");
    return pmrcBadParameter;
}

// What is attached and open already follows, or a log that was quietened would go on.
void SetLevelOfAll(uint32_t level)
{
    pmGlobalTraceLvl = pmTraceLvl = level;
    for (Paramod *module = SG_Paramod_1st; module != nullptr; module = module->Next) {
        module->TraceLvl = level;
        for (pmFile *file = module->FirstFile; file != nullptr; file = file->Next)
            file->TraceLvl = level;
    }
}

}  // namespace

int pmInit(const pmInitParms *parms)
{
    if (const int code = CheckInit(parms); code != pmrcOk)
        return code;
    const char *literal = getenv("FENWIRE_LITERAL_READER");
    if (literal != nullptr)
        bLiteralReader = strcmp(literal, "1") == 0;
    if (bPmInitialised != 0)
        return pmrcOk;
    if (pmMMNewPool() != 0)
        return pmrcMemory;
    bPmInitialised = 1;
    return pmrcOk;
}

int pmAttach(const pmAttachParms *parms, uint32_t checkpoint_method, pmToken *handle)
{
    pmToken token = 0;

    *handle = 0;
    if (bPmInitialised == 0)
        return NotInitialised(__func__);
    pmTraceLvl = pmGlobalTraceLvl;
    if (const int code = CheckAttach(parms, checkpoint_method); code != pmrcOk)
        return code;
    if (parms->NameLen != 0) {
        // Loadable modules: the library is found, loaded and sent its init block here.
        constexpr char kNotAvailable[] = "access modules are not available in this version";
        pmSetErrTxt(kNotAvailable, sizeof kNotAvailable - 1);
        PM_TRACE(1, "!ERROR! %s", kNotAvailable);
        return pmrcText;
    }
    PM_TRACE(1, "Initializing DEFAULT Access Module");
    auto *module = static_cast<Paramod *>(pmGetMem(sizeof(Paramod), &token, true));
    if (module == nullptr) {
        PM_TRACE(1, "!ERROR! Memory allocation error");
        return pmrcMemory;
    }
    module->MMToken = token;
    module->Kind = kKindModule;
    module->TraceLvl = pmGlobalTraceLvl;
    Append(module);
    *handle = token;
    TraceVersions(token);
    return pmrcOk;
}

int pmDetach(pmToken handle, uint32_t mode)
{
    int code = pmrcOk;
    Paramod *module = EnterModule(__func__, handle, &code);
    if (module == nullptr || (code = CheckEndMode(mode)) != pmrcOk)
        return code;
    if (mode == 1 && module->FirstFile != nullptr) {
        PM_TRACE(1, "!ERROR! Access Module still has open files");
        return pmrcFilesOpen;
    }
    PM_TRACE(1, "Detaching default Access Module");
    while (module->FirstFile != nullptr && pmClose(module->FirstFile->MMToken) == pmrcOk) {
    }
    Unlink(module);
    module->MMToken = 0;
    pmFreeMem(handle);
    return pmrcOk;
}

int pmShutDown(uint32_t mode)
{
    int code = pmrcOk;
    if (bPmInitialised == 0)
        return NotInitialised(__func__);
    pmTraceLvl = pmGlobalTraceLvl;
    if ((code = CheckEndMode(mode)) != pmrcOk)
        return code;
    if (mode == 1 && SG_Paramod_1st != nullptr) {
        PM_TRACE(1, "!ERROR! paramods still active");
        return pmrcModulesActive;
    }
    PM_TRACE(1, "Shutting down API");
    while (SG_Paramod_1st != nullptr && code == pmrcOk)
        code = pmDetach(SG_Paramod_1st->MMToken, 2);
    SG_Paramod_1st = SG_Paramod_last = nullptr;
    pmMMFreePool();
    bPmInitialised = 0;
    return code;
}

int pmTrace(uint32_t scope, const pmToken *handle, uint32_t level)
{
    constexpr uint32_t kGlobal = 1, kModule = 2, kFile = 3, kLastScope = 4;
    int code = pmrcOk;

    if (scope < kGlobal || scope > kLastScope)
        return pmrcBadParameter;
    if (!IsTraceLevel(level))
        return pmrcTraceLevel;
    if (scope == kGlobal) {
        SetLevelOfAll(level);
        return pmrcOk;
    }
    if (scope == kModule) {
        if (Paramod *module = EnterModule(__func__, *handle, &code))
            module->TraceLvl = level;
        return code;
    }
    if (scope == kFile) {
        if (pmFile *file = EnterFile(__func__, *handle, &code))
            file->TraceLvl = level;
        return code;
    }
    return pmrcBadParameter;
}

void pmTraceMsg(uint32_t level, const char *text)
{
    constexpr char kUtilityId[] = "Unknown Client";
    if (pmTraceLvl >= level)
        trceprnt(kUtilityId, text, "");
}
