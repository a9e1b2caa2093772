// fileset/global_vars.cpp - DirInfo and FileNames, the two variables that all instances share.
//
// Instance 1 creates them and writes every element once; from then on an instance writes only the
// elements of its own files. The barrier between the phases keeps readers behind the writer, so one
// element a call is all the order that is needed. What is read is checked here and nowhere else.

#include <cstdio>
#include <cstring>

#include "attributes/attributes_state.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

[[nodiscard]] PxStatus BadElement(const char *name, int32_t index, const char *what)
{
    char text[160];
    snprintf(text, sizeof text, "PX_ReadGlobalVar: %s[%d]: %s", name, index, what);
    FW_ERROR("%s", text);
    return FW_Fatal<19100>(text, PXSTC_InvalidArgument);
}

// The service's status when it fails; the caller says what that costs.
PxStatus ReadElement(const char *name, int32_t index, const void **element, uint32_t *length)
{
    *element = nullptr;
    *length = 0;
    return Service(SG_opHandle, &PxOperator::PX_ReadGlobalVar, name, static_cast<uint32_t>(index),
                   element, length);
}

PxStatus Create(const char *name, size_t element_bytes, int32_t count)
{
    FW_TRACE(2, "Calling PX_CreateGlobalVar for %s", name);
    const PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_CreateGlobalVar, name,
                static_cast<uint32_t>(element_bytes), static_cast<uint32_t>(count));
    return status != PXSTC_Success ? ServiceFailed(__func__, "PX_CreateGlobalVar", status) : status;
}

PxStatus Delete(const char *name)
{
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_DeleteGlobalVar, name);
    return status != PXSTC_Success ? ServiceFailed(__func__, "PX_DeleteGlobalVar", status) : status;
}

PxStatus Update(const char *name, const void *data, size_t bytes, int32_t index)
{
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_UpdateGlobalVar, name, data,
                                    static_cast<uint32_t>(bytes), static_cast<uint32_t>(index));
    return status != PXSTC_Success ? ServiceFailed(__func__, "PX_UpdateGlobalVar", status) : status;
}

bool IsTerminated(const char *text, size_t room) { return memchr(text, '\0', room) != nullptr; }

}  // namespace

PxStatus PublishDirInfo() { return Update(DirInfoVarName, &DirInfo, sizeof DirInfo, 1); }

PxStatus AllocateGlobalVariables()
{
    PxStatus status = PXSTC_Success;

    // The share-out of one file over all instances (multi-instance reading) is decided here, before
    // the count is fixed.
    if (AllocatedFileCount > 0 && DirInfo.FileCount <= AllocatedFileCount) {
        FW_TRACE(2, "No new allocation");
        return PublishDirInfo();
    }
    if (AllocatedFileCount > 0) {
        if ((status = Delete(DirInfoVarName)) != PXSTC_Success ||
            (status = Delete(FileNamesVarName)) != PXSTC_Success)
            return status;
        AllocatedFileCount = 0;
    }
    if ((status = Create(DirInfoVarName, sizeof DirInfo, 1)) != PXSTC_Success ||
        (status = PublishDirInfo()) != PXSTC_Success)
        return status;
    FW_TRACE(1, "%d entries of %d length each", DirInfo.FileCount,
             static_cast<int>(sizeof(FileNamesEntry)));
    status = Create(FileNamesVarName, sizeof(FileNamesEntry), DirInfo.FileCount);
    if (status == PXSTC_Success)
        AllocatedFileCount = DirInfo.FileCount;
    return status;
}

PxStatus GetDirectoryName(int32_t required)
{
    const void *element = nullptr;
    uint32_t length = 0;
    DirInfoImage found;

    const PxStatus status = ReadElement(DirInfoVarName, 1, &element, &length);
    if (status == PXSTC_NotFound && required == 0) {
        FW_TRACE(1, "Global variable '%s' not found.", DirInfoVarName);
        return status;
    }
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_ReadGlobalVar", status);
    if (element == nullptr || length != sizeof found)
        return BadElement(DirInfoVarName, 1, "wrong length");
    memcpy(&found, element, sizeof found);
    if (!IsTerminated(found.DirName, sizeof found.DirName))
        return BadElement(DirInfoVarName, 1, "directory without an end");
    if (found.FileCount < 0)
        return BadElement(DirInfoVarName, 1, "negative file count");
    DirInfo = found;
    return PXSTC_Success;
}

PxStatus ViewFileEntry(int32_t index, const uint8_t **entry)
{
    const void *element = nullptr;
    uint32_t length = 0;
    struct {
        int32_t Status, Instance;
        int64_t Size;
    } head;
    static_assert(sizeof head == offsetof(FileNamesEntry, Name));

    const PxStatus status = ReadElement(FileNamesVarName, index, &element, &length);
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_ReadGlobalVar", status);
    if (element == nullptr || length != sizeof(FileNamesEntry))
        return BadElement(FileNamesVarName, index, "wrong length");
    *entry = static_cast<const uint8_t *>(element);
    memcpy(&head, *entry, sizeof head);
    if (!IsTerminated(static_cast<const char *>(element) + sizeof head,
                      sizeof FileNamesEntry::Name))
        return BadElement(FileNamesVarName, index, "name without an end");
    if (head.Instance < 1 || head.Instance > TotalInstances)
        return BadElement(FileNamesVarName, index, "no such instance");
    if (bWriting != 0 && head.Instance != index)  // it would write another's file
        return BadElement(FileNamesVarName, index, "another instance's file");
    if (head.Size < 0)
        return BadElement(FileNamesVarName, index, "negative size");
    return PXSTC_Success;
}

PxStatus ReadFileEntry(int32_t index, FileNamesEntry *entry)
{
    const uint8_t *element = nullptr;
    const PxStatus status = ViewFileEntry(index, &element);
    if (status == PXSTC_Success && element != nullptr)
        memcpy(entry, element, sizeof *entry);
    return status;
}

PxStatus UpdateFileEntry(int32_t index, const FileNamesEntry *entry)
{
    return Update(FileNamesVarName, entry, sizeof *entry, index);
}

// A writer's elements go out anew at the end of a pass: the next one begins with them.
static PxStatus Republish(int32_t index, const FileNamesEntry &entry)
{
    return Reading == 0 ? UpdateFileEntry(index, &entry) : PxStatus{PXSTC_Success};
}

PxStatus GetScanFileCount(int32_t *count)
{
    FileNamesEntry entry = {};
    int32_t processed = 0, failed = 0;

    *count = 0;
    for (int32_t index = 1; index <= DirInfo.FileCount; ++index) {
        if (const PxStatus status = ReadFileEntry(index, &entry))
            return status;
        if (entry.Status == kFinished || entry.Status == kArchived) {
            ++processed;
            if (const PxStatus status = Republish(index, entry))
                return status;
            continue;
        }
        FW_ERROR("%s '%s' %s %d failed.  %s %s.", "Processing of file", entry.Name, "by instance",
                 entry.Instance,
                 "Status is:", entry.Status == kPending ? "unprocessed" : "still processing");
        ++failed;
    }
    FW_TRACE(1, "Total files processed in pass: %d", processed);
    if (failed > 0)
        return PXSTC_FatalError;
    *count = processed;
    return PXSTC_Success;
}
