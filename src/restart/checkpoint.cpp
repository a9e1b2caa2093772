// restart/checkpoint.cpp - WriteCheckpointRecord: what it takes to come back to this point.
//
// The infrastructure's checkpoint is a barrier: no other instance changes an element of FileNames while
// instance 1 copies them.

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "fileset/fileset.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "restart/record.h"
#include "restart/restart.h"

namespace {

PxStatus GetPosition(RecordView *position)
{
    if (pmfp == 0) {
        FW_TRACE(1, "No file open, no position");
        return PXSTC_Success;
    }
    const PxStatus status = FW_GetPos(&position->length, &position->bytes);
    if (status == PXSTC_Success)
        DumpRecord("Position", *position, 2);
    return status;
}

CheckpointHead HeadOfRecord()
{
    CheckpointHead head = {
        .DirInfo = DirInfo, .Updates = PendingUpdates, .CountCurrent = CountCurrent};
    DirInfoImage &info = head.DirInfo;
    info.Processed = static_cast<int32_t>(TotalFilesProcessed);
    info.RowCount = static_cast<uint32_t>(RowCount);
    info.RowsSkipped = static_cast<uint32_t>(RowsSkipped);
    info.EvtCkptCount = static_cast<int32_t>(EvtCkptCount);
    info.EvtRecordCount = static_cast<int32_t>(EvtRecordCount);
    info.EvtFileCount = static_cast<int32_t>(EvtFileCount);
    return head;
}

// Most of an element is the room behind its name, which stays as it was.
void RefreshEntry(uint8_t *to, const uint8_t *from)
{
    constexpr size_t kName = offsetof(FileNamesEntry, Name),
                     kBehind = offsetof(FileNamesEntry, Time);
    memcpy(to, from, kName);
    const size_t end =
        strnlen(reinterpret_cast<const char *>(from) + kName, kBehind - kName - 1) + 1;
    if (memcmp(to + kName, from + kName, end) != 0)
        memcpy(to + kName, from + kName, kBehind - kName);
    memcpy(to + kBehind, from + kBehind, sizeof(FileNamesEntry) - kBehind);
}

// With thousands of files, most of a round would go into copying what has not changed since the last one.
PxStatus CopyEntries(uint8_t *to)
{
    const bool refresh = FileSetRecordFiles == DirInfo.FileCount;
    const uint8_t *entry = nullptr;

    FileSetRecordFiles = 0;
    for (int32_t index = 1; index <= DirInfo.FileCount; ++index, to += sizeof(FileNamesEntry)) {
        if (const PxStatus status = ViewFileEntry(index, &entry))
            return status;
        if (refresh)
            RefreshEntry(to, entry);
        else
            memcpy(to, entry, sizeof(FileNamesEntry));
    }
    FileSetRecordFiles = DirInfo.FileCount;
    return PXSTC_Success;
}

PxStatus WriteFileSet(const RecordView &position)
{
    const CheckpointHead head = HeadOfRecord();
    const size_t behind = FilesEnd(DirInfo.FileCount);
    const uint64_t bytes = uint64_t{behind} + position.length;

    FW_TRACE(1, "%s=%d, %s=%llu", "Processed", head.DirInfo.Processed, "CheckpointBufferSize",
             static_cast<unsigned long long>(bytes));
    FW_TRACE(1, "%s=%zu, %s=%d, %s=%zu, %s=%u, %s=%zu", "size(Dir)", sizeof DirInfo, "FileCount",
             DirInfo.FileCount, "size(File)", sizeof(FileNamesEntry), "Pos.len", position.length,
             "sizeof(usercmd_desc)", sizeof PendingUpdates);
    uint8_t *record = ResizeRecord(FileSetRecord, bytes);
    if (record == nullptr)
        return PXSTC_FatalError;
    FileSetRecord = record;
    memcpy(record, &head, sizeof head);
    if (const PxStatus status = CopyEntries(record + sizeof head))
        return status;
    if (position.length > 0)
        memcpy(record + behind, position.bytes, position.length);
    return WriteRecord({record, static_cast<uint32_t>(bytes)});
}

PxStatus WriteOwnPlace(const RecordView &position)
{
    const uint64_t bytes = uint64_t{position.length} + sizeof CountCurrent;

    uint8_t *record = ResizeRecord(nullptr, bytes);
    if (record == nullptr)
        return PXSTC_FatalError;
    memcpy(record, position.bytes, position.length);
    memcpy(record + position.length, &CountCurrent, sizeof CountCurrent);
    FW_TRACE(1, "Instance position data to QLX:");
    const PxStatus status = WriteRecord({record, static_cast<uint32_t>(bytes)});
    free(record);
    return status;
}

}  // namespace

PxStatus WriteCheckpointRecord()
{
    RecordView position;

    if (const PxStatus status = GetPosition(&position))
        return status;
    if (ThisInstance == 1)
        return WriteFileSet(position);
    return position.length > 0 ? WriteOwnPlace(position) : PxStatus{PXSTC_Success};
}
