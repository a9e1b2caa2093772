// restart/record.cpp - a record goes to the infrastructure and comes back, and is not believed.
//
// Between the two lies a store that anybody may have damaged. A record that is refused ends the restart
// before any file is touched.

#include "restart/record.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "attributes/attributes_state.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

constexpr int32_t kLeastTraceLevel = 1, kMostTraceLevel = 5;

bool IsTerminated(const char *text, size_t room) { return memchr(text, '\0', room) != nullptr; }

bool IsWithin(int64_t value, int64_t least, int64_t most)
{
    return value >= least && value <= most;
}

PxStatus CheckInstances(int32_t recorded)
{
    char before[12], now[12];
    if (recorded == TotalInstances)
        return PXSTC_Success;
    FW_ERROR("Original job had %d instances.  Restart has %d!", recorded, TotalInstances);
    snprintf(before, sizeof before, "%d", recorded);
    snprintf(now, sizeof now, "%d", TotalInstances);
    return FW_Fatal<19150>(static_cast<const char *>(before), static_cast<const char *>(now));
}

bool AreUpdatesSound(const UserUpdates &updates)
{
    return updates.bVigilWaitTime <= 1 && updates.bVigilMaxFiles <= 1 && updates.bTraceLevel <= 1 &&
           (updates.bTraceLevel == 0 ||
            IsWithin(updates.TraceLevel, kLeastTraceLevel, kMostTraceLevel));
}

// What is wrong with the part in front of the files' elements; null: nothing.
const char *FaultOf(const CheckpointHead &head, uint32_t length)
{
    const DirInfoImage &info = head.DirInfo;
    const auto room = static_cast<int64_t>((length - sizeof head) / sizeof(FileNamesEntry));
    if (!IsWithin(info.FileCount, 1, room))
        return "its number of files does not fit its length";
    if (bWriting != 0 && info.FileCount != TotalInstances)
        return "it has not one output file for each instance";
    if (!IsWithin(head.CountCurrent, 0, info.FileCount))
        return "its current file is none of its files";
    if (info.bMultiInstanceRead != 0)
        return "it is of a file with several readers";
    if (!AreUpdatesSound(head.Updates))
        return "a setting that was changed is out of range";
    return nullptr;
}

const char *FaultOf(const FileNamesEntry &entry, int32_t index)
{
    if (!IsTerminated(entry.Name, sizeof entry.Name))
        return "a file name has no end";
    if (!IsWithin(entry.Status, kPending, kArchived))
        return "a file has an unknown status";
    if (!IsWithin(entry.Instance, 1, TotalInstances) || (bWriting != 0 && entry.Instance != index))
        return "a file belongs to no instance of the job";
    if (!IsFileOfJob(entry, index))
        return "a file is none that the job names";
    return entry.Size < 0 ? "a file has a negative size" : nullptr;
}

PxStatus CheckEntries(const uint8_t *entries, int32_t count)
{
    FileNamesEntry entry;
    for (int32_t index = 1; index <= count; ++index, entries += sizeof entry) {
        memcpy(&entry, entries, sizeof entry);
        if (const char *fault = FaultOf(entry, index)) {
            FW_ERROR("entry %d of the checkpoint record", index);
            return DamagedRecord(fault);
        }
    }
    return PXSTC_Success;
}

}  // namespace

PxStatus DamagedRecord(const char *what)
{
    FW_ERROR("checkpoint record of instance %d: %s", ThisInstance, what);
    return FW_Fatal<19985>(ThisInstance, what);
}

uint8_t *ResizeRecord(uint8_t *block, uint64_t bytes)
{
    char text[24];
    auto *resized = bytes <= UINT32_MAX ? static_cast<uint8_t *>(realloc(block, bytes)) : nullptr;
    if (resized != nullptr)
        return resized;
    snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(bytes));
    FW_ERROR("Unable to allocate %s bytes for the checkpoint record", text);
    (void)FW_Fatal<19140>(static_cast<const char *>(text));
    return nullptr;
}

void DumpRecord(const char *label, const RecordView &bytes, int32_t from_level)
{
    const auto most = static_cast<uint32_t>(std::max(MaxBytesToDump, 0));
    if (FW_TraceLvl >= from_level)
        FW_Dump(__func__, label, bytes.bytes, std::min(bytes.length, most));
}

PxStatus ReadRecord(RecordView *record)
{
    constexpr char kService[] = "PX_ReadCheckpointRecord";
    const void *bytes = nullptr;
    *record = {};
    const PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_ReadCheckpointRecord, &bytes, &record->length);
    if (status == PXSTC_NullPointer) {
        FW_TRACE(2, "%s: there is no checkpoint record", kService);
        return status;
    }
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, kService, status);
    if (bytes == nullptr)
        return DamagedRecord("it has no bytes");
    record->bytes = static_cast<const uint8_t *>(bytes);
    DumpRecord(kService, *record);
    return PXSTC_Success;
}

PxStatus WriteRecord(const RecordView &record)
{
    constexpr char kService[] = "PX_WriteCheckpointRecord";
    DumpRecord(kService, record);
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_WriteCheckpointRecord,
                                    static_cast<const void *>(record.bytes), record.length);
    return status == PXSTC_Success ? status : ServiceFailed(__func__, kService, status);
}

PxStatus CheckPosition(const RecordView &position, PositionHead *head)
{
    if (position.length < sizeof *head + kPositionTail)
        return DamagedRecord("it is too short for a position");
    memcpy(head, position.bytes, sizeof *head);
    if (uint64_t{head->DataLength} + head->ErrorLength >
        position.length - sizeof *head - kPositionTail)
        return DamagedRecord("a position is longer than the record");
    return PXSTC_Success;
}

PxStatus CheckFileSetRecord(const RecordView &record)
{
    CheckpointHead head;
    PositionHead position;

    if (record.length < sizeof head)
        return DamagedRecord("it is too short for the files of the job");
    memcpy(&head, record.bytes, sizeof head);
    if (const PxStatus status = CheckInstances(head.DirInfo.TotalInstances))
        return status;
    if (const char *fault = FaultOf(head, record.length))
        return DamagedRecord(fault);
    if (const PxStatus status = CheckEntries(record.bytes + sizeof head, head.DirInfo.FileCount))
        return status;
    const auto behind = static_cast<uint32_t>(FilesEnd(head.DirInfo.FileCount));
    return record.length == behind
               ? PxStatus{PXSTC_Success}
               : CheckPosition({record.bytes + behind, record.length - behind}, &position);
}

PxStatus CheckInstanceRecord(const RecordView &record)
{
    PositionHead position;
    int32_t place = 0;

    if (record.length < sizeof place)
        return DamagedRecord("it is too short for a place in the list of files");
    const auto position_length = static_cast<uint32_t>(record.length - sizeof place);
    memcpy(&place, record.bytes + position_length, sizeof place);
    if (place < 0)
        return DamagedRecord("its current file is none of its files");
    return CheckPosition({record.bytes, position_length}, &position);
}
