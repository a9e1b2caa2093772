// restart/checkpoint.cpp - WriteCheckpointRecord: what it takes to come back to this point.
//
// The infrastructure's checkpoint is a barrier: no other instance changes an element of FileNames while
// instance 1 copies them.

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
    return FW_GetPos(&position->length, &position->bytes);
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

PxStatus CopyEntries(uint8_t *to)
{
    FileNamesEntry entry;
    for (int32_t index = 1; index <= DirInfo.FileCount; ++index, to += sizeof entry) {
        if (const PxStatus status = ReadFileEntry(index, &entry))
            return status;
        memcpy(to, &entry, sizeof entry);
    }
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
    uint8_t *record = ResizeRecord(nullptr, bytes);
    if (record == nullptr)
        return PXSTC_FatalError;
    memcpy(record, &head, sizeof head);
    PxStatus status = CopyEntries(record + sizeof head);
    if (position.length > 0)
        memcpy(record + behind, position.bytes, position.length);
    if (status == PXSTC_Success)
        status = WriteRecord({record, static_cast<uint32_t>(bytes)});
    free(record);
    return status;
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
