// pm/files.cpp - opening and closing a file: its object, its tables, its buffer.

#include <cstring>

#include "attributes/attributes_state.h"
#include "pm/formats/formats.h"
#include "pm/handles.h"
#include "pm/index/index_state.h"
#include "pm/pm_state.h"

// clang-format off
constexpr pmFormatter kTextFormatter = {pmrwfmtRtext, pmrwfmtWtext, pmrwfmtDtext, "text formatted I/O"},
                      kVliFormatter = {pmrwfmtRvli, pmrwfmtWvli, pmrwfmtDnone, "VLI formatted I/O"},
                      kBareFormatter = {pmrwfmtRnone, pmrwfmtWnone, pmrwfmtDnone, "un-formatted I/O"};

const pmFormatter *const kFormatters[9] = {
    nullptr,
    &kTextFormatter,  // 1 TEXT, DELIMITED
    &kVliFormatter, &kVliFormatter, &kVliFormatter, &kVliFormatter, &kVliFormatter, &kVliFormatter,
    &kBareFormatter,  // 8 UNFORMATTED
};
// clang-format on

namespace {

uint32_t Platform_Endian() { return kLittleEndian; }

int CheckName(const char *name)
{
    if (strlen(name) <= kMaxFileName)
        return pmrcOk;
    PM_TRACE(1, "!ERROR! Filename length >%u", kMaxFileName);
    return pmrcNameTooLong;
}

int CheckFormat(uint32_t format)
{
    if (format >= 1 && format <= 8 && kFormatters[format] != nullptr)
        return pmrcOk;
    PM_TRACE(1, "!ERROR! Invalid File format");
    return pmrcBadFormat;
}

pmFile *NewFile(Paramod *module)
{
    pmToken token = 0;
    auto *file = static_cast<pmFile *>(pmGetMem(sizeof(pmFile), &token, true));
    if (file == nullptr) {
        PM_TRACE(1, "!ERROR! Memory allocation error");
        return nullptr;
    }
    file->MMToken = token;
    file->Kind = kKindFile;
    file->TraceLvl = module->TraceLvl;
    file->PPtr = module;
    return file;
}

void Describe(pmFile *file, uint16_t open_mode, uint32_t format, uint32_t buffer_size,
              const char *name)
{
    file->OpenMode = open_mode & ~(kOpenPrivate | kOpenOwnerOnly);
    file->bPrivate = (open_mode & kOpenPrivate) != 0;
    file->bOwnerOnly = (open_mode & (kOpenPrivate | kOpenOwnerOnly)) != 0;
    file->Format = format;
    file->BufferSize = buffer_size;
    file->BeginningOfFile = 1;
    file->bQuotes = bQuotedData != 0;
    file->FlipBytes = EndianFlip != 0;
    file->BypassAMCheckpoint = bTakeAMcheckpoint == 0;
    file->Endian = Platform_Endian();
    PM_TRACE(2, "default is %s endian", "LITTLE");
    file->FNameLen = static_cast<uint32_t>(strlen(name));
    memcpy(file->FName, name, file->FNameLen + 1);
    file->Fmt = *kFormatters[format];
    PM_TRACE(2, "%s", file->Fmt.trace);
    file->Dsk = kUnxDskEntries;
    // HDFS and connector jobs put their own entries in here.
}

void Release(pmFile *file)
{
    const pmToken token = file->MMToken;
    if (file->BufferToken != 0)
        pmFreeMem(file->BufferToken);
    ForgetWindow(file);
    file->MMToken = 0;
    pmFreeMem(token);
}

// The master of several readers of one file gets no buffer here but reads into shared memory.
int AllocateBuffer(pmFile *file)
{
    const uint64_t bytes = uint64_t{file->BufferSize} * 2 + kMarkRoom + kVectorSlack;
    PM_TRACE(2, "Allocating buffer size=%llu", static_cast<unsigned long long>(bytes));
    if (bytes <= UINT32_MAX)
        file->Buffer = static_cast<uint8_t *>(
            pmGetMem(static_cast<uint32_t>(bytes), &file->BufferToken, false));
    if (file->Buffer != nullptr)
        return pmrcOk;
    PM_TRACE(1, "!ERROR! Memory allocation error");
    return pmrcMemory;
}

// 0 or 29 with the file open; else nothing is left open.
int OpenOnDisk(pmFile *file)
{
    // A module is sent its open block here, and says which buffer and block header it wants.
    const int code = file->Dsk.DskOpen(file);
    if (code != pmrcOk && code != pmrcEmptyFile)
        return code;
    file->BufferBlkStrt = -static_cast<int32_t>(file->BlkHeaderLen);
    PM_TRACE(2, "BufferSize=%u, BlkHeaderLen=%u, BufferBlkStrt=%d", file->BufferSize,
             file->BlkHeaderLen, file->BufferBlkStrt);
    if (const int failure = AllocateBuffer(file); failure != pmrcOk) {
        file->Dsk.DskClose(file);
        return failure;
    }
    return code;
}

void Append(pmFile *file)
{
    Paramod *module = file->PPtr;
    if (module->PrevFile != nullptr)
        module->PrevFile->Next = file;
    else
        module->FirstFile = file;
    module->PrevFile = file;
}

int Unlink(const pmFile *file)
{
    Paramod *module = file->PPtr;
    pmFile *previous = nullptr;
    for (pmFile *at = module->FirstFile; at != nullptr; previous = at, at = at->Next) {
        if (at != file)
            continue;
        if (previous != nullptr)
            previous->Next = file->Next;
        else
            module->FirstFile = file->Next;
        if (module->PrevFile == file)
            module->PrevFile = previous;
        return pmrcOk;
    }
    PM_TRACE(1, "!ERROR! File not found in list");
    return pmrcMemory;
}

}  // namespace

int pmOpen(uint16_t open_mode, bool parallel_master, uint32_t format, const HadoopParms *hadoop,
           uint32_t buffer_size, uint32_t record_length, const char *name, pmToken handle,
           const uint32_t *extra, pmToken *file_handle)
{
    int code = pmrcOk;
    (void)record_length, (void)extra;  // for modules

    *file_handle = 0;
    Paramod *module = EnterModule(__func__, handle, &code);
    if (module == nullptr || (code = CheckFormat(format)) != pmrcOk ||
        (code = CheckName(name)) != pmrcOk)
        return code;
    if (parallel_master || hadoop != nullptr)
        return pmrcUnsupported;  // several readers of one file, and Hadoop, come in here
    PM_TRACE(2, "FileName='%s', Format=%u, OpenMode=%u", name, format, open_mode);
    PM_TRACE(2, "opening via default paramod");
    pmFile *file = NewFile(module);
    if (file == nullptr)
        return pmrcMemory;
    Describe(file, open_mode, format, buffer_size, name);
    code = OpenOnDisk(file);
    if (code != pmrcOk && code != pmrcEmptyFile) {
        Release(file);
        return code;
    }
    Append(file);
    *file_handle = file->MMToken;
    return code;
}

int pmClose(pmToken handle)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr)
        return code;
    PM_TRACE(1, "Closing file=%s", file->FName);
    PM_TRACE(1, "closed via default paramod");
    PM_TRACE(1, "Record count=%u", file->RecCount);
    // Kept: the close of the disk decides, so that a last block that can't be written does not show
    // here. Callers that must know call pmFlush first. A module is sent its close block in here.
    if (file->OpenMode != kOpenRead)
        file->Fmt.FmtWrite(file, nullptr, true);
    code = file->Dsk.DskClose(file);
    if (const int lost = Unlink(file); lost != pmrcOk)
        return lost;
    Release(file);
    return code;
}
