// fileset/output_files.cpp - the files of a job that writes: one for each instance.
//
// Instance 1 names them all and publishes them; each instance takes the element of its own number.

#include <cstdio>
#include <cstring>

#include "attributes/attributes_state.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

bool EndsIn(const char *name, const char *suffix)
{
    const size_t length = strlen(name), tail = strlen(suffix);
    return length >= tail && strcmp(name + length - tail, suffix) == 0;
}

// The suffix by which readers and writers know a compressed file stays the name's end.
const char *CompressedSuffix(const char *name)
{
    for (const char *suffix : {".gz", ".zip"}) {
        if (EndsIn(name, suffix))
            return suffix;
    }
    return "";
}

// "out.dat-2", "out-2.dat.gz". A name is never cut: two instances would write to one file.
int NameFile(int32_t instance, FileNamesEntry *entry)
{
    const char *suffix = CompressedSuffix(FW_FileName);
    const auto stem = static_cast<int>(strlen(FW_FileName) - strlen(suffix));
    return TotalInstances == 1 ? snprintf(entry->Name, sizeof entry->Name, "%s", FW_FileName)
                               : snprintf(entry->Name, sizeof entry->Name, "%.*s-%d%s", stem,
                                          FW_FileName, instance, suffix);
}

PxStatus NameTooLong(int length)
{
    FW_ERROR("File name length > %zu", sizeof(FileNamesEntry::Name) - 1);
    return FW_Fatal<19202>("FileName", length,
                           static_cast<int64_t>(sizeof(FileNamesEntry::Name) - 1));
}

PxStatus StoreFile(int32_t instance)
{
    FileNamesEntry entry = {};

    entry.Status = kInProcess;
    entry.Instance = instance;
    const int length = NameFile(instance, &entry);
    if (length < 0 || static_cast<size_t>(length) >= sizeof entry.Name)
        return NameTooLong(length);
    return UpdateFileEntry(instance, &entry);
}

}  // namespace

PxStatus BuildOutputFiles()
{
    DirInfo.FileCount = TotalInstances;
    DirInfo.PassNumber = 1;
    if (const PxStatus status = AllocateGlobalVariables())
        return status;
    for (int32_t instance = 1; instance <= TotalInstances; ++instance) {
        if (const PxStatus status = StoreFile(instance))
            return status;
    }
    return PXSTC_Success;
}

bool IsOutputFileOfJob(const FileNamesEntry &entry, int32_t index)
{
    FileNamesEntry own = {};
    (void)NameFile(index, &own);
    return strcmp(entry.Name, own.Name) == 0;
}

PxStatus TakeOutputFile()
{
    CurrentFileIndex = ThisInstance;
    if (const PxStatus status = ReadFileEntry(ThisInstance, &CurrentFile))
        return status;
    // In a restart it may be complete.
    const bool done = CurrentFile.Status == kFinished || CurrentFile.Status == kArchived;
    return done ? PxStatus{PXSTC_EndOfData} : PxStatus{PXSTC_Success};
}
