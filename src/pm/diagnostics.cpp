// pm/diagnostics.cpp - pmDiag: the layer's structures on standard output, for a person at a debugger.

#include <cstdio>

#include "pm/handles.h"

namespace {

unsigned Low(const void *pointer)
{
    return static_cast<unsigned>(reinterpret_cast<uintptr_t>(pointer));
}

void PrintModule(const Paramod *module)
{
    printf("Paramod MMToken=%u, TraceLvl=%u, FirstFile=x'%08x', PrevFile=x'%08x', Next=x'%08x'\n",
           module->MMToken, module->TraceLvl, Low(module->FirstFile), Low(module->PrevFile),
           Low(module->Next));
}

void PrintFile(const pmFile *file)
{
    printf("File MMToken=%u, TraceLvl=%u, Format=%u, OpenMode=%u, LRecl=%u, FName='%s'\n",
           file->MMToken, file->TraceLvl, file->Format, file->OpenMode, file->LRecl, file->FName);
    printf("  BufferSize=%u, BufferPosition=%u, BufferEnd=%u, BufferBlkStrt=%d, RecCount=%u\n",
           file->BufferSize, file->BufferPosition, file->BufferEnd, file->BufferBlkStrt,
           file->RecCount);
    printf("  atEOF=%u, BeginningOfFile=%u, Endian=%u, EORLength=%u\n", file->atEOF,
           file->BeginningOfFile, file->Endian, file->EORLength);
}

int PrintAllModules(pmToken)
{
    int count = 0;
    printf("dump entire paramod linked list");
    printf("  SG_Paramod_1st=x'%08x', SG_Paramod_last=x'%08x'\n", Low(SG_Paramod_1st),
           Low(SG_Paramod_last));
    for (const Paramod *module = SG_Paramod_1st; module != nullptr; module = module->Next, ++count)
        PrintModule(module);
    printf(">>Number of paramods connected=%d\n", count);
    return pmrcOk;
}

// An object whose own token differs from the handle is shown all the same, if it is of the kind.
const Paramod *FindModule(pmToken token)
{
    const auto *module = static_cast<const Paramod *>(pmGetMemA(token));
    if (module == nullptr || module->Kind != kKindModule) {
        printf("!! Paramod token is invalid !!\n");
        return nullptr;
    }
    if (module->MMToken != token)
        printf("!! Corrupt paramod structure, MMTokens don't match !!\n");
    return module;
}

int PrintOneModule(pmToken token)
{
    const Paramod *module = FindModule(token);
    if (module == nullptr)
        return pmrcBadHandle;
    PrintModule(module);
    return pmrcOk;
}

int PrintFilesOfModule(pmToken token)
{
    const Paramod *module = FindModule(token);
    if (module == nullptr)
        return pmrcBadHandle;
    for (const pmFile *file = module->FirstFile; file != nullptr; file = file->Next)
        PrintFile(file);
    return pmrcOk;
}

int PrintOneFile(pmToken token)
{
    const auto *file = static_cast<const pmFile *>(pmGetMemA(token));
    if (file == nullptr || file->Kind != kKindFile) {
        printf("!! File token is invalid !!\n");
        return pmrcBadFile;
    }
    if (file->MMToken != token)
        printf("!! Corrupt file structure, MMTokens don't match !!\n");
    PrintFile(file);
    return pmrcOk;
}

int PrintMemory(pmToken)
{
    pmMMDiag();
    return pmrcOk;
}

struct Request {
    int (*print)(pmToken token);
    const char *words;
};
constexpr Request kRequests[] = {
    {PrintAllModules, "1: all paramods"},
    {PrintOneModule, "2: one paramod"},
    {PrintFilesOfModule, "3: the files of one paramod"},
    {PrintOneFile, "4: one file"},
    {PrintMemory, "5: memory table"},
};

}  // namespace

int pmDiag(uint32_t request, const pmToken *handle)
{
    const pmToken token = handle != nullptr ? *handle : 0;

    printf("Paramod Diagnostics: Request %u, Handle=%u =>\n", request, token);
    if (request >= 1 && request <= sizeof kRequests / sizeof *kRequests)
        return kRequests[request - 1].print(token);
    printf("you need help.  Request codes are;\n");
    for (const Request &row : kRequests)
        printf("  %s\n", row.words);
    return pmrcBadParameter;
}
