// restart/restart.cpp - the file set and the place in it, as the checkpoint record tells them.

#include "restart/restart.h"

#include <cstdlib>
#include <cstring>

#include "attributes/attributes_state.h"
#include "fileset/fileset.h"
#include "operator/messages.h"
#include "pm/pm.h"
#include "pm/pm_state.h"
#include "restart/record.h"

namespace {

// The record is the infrastructure's, and the position is needed when services were called in between.
PxStatus KeepPosition(const RecordView &position)
{
    bRecordFound = 1;
    RestartPositionLength = position.length;
    if (position.length == 0)
        return PXSTC_Success;
    RestartPosition = ResizeRecord(nullptr, position.length);
    if (RestartPosition == nullptr)
        return PXSTC_FatalError;
    memcpy(RestartPosition, position.bytes, position.length);
    return PXSTC_Success;
}

void ForgetPosition()
{
    free(RestartPosition);
    RestartPosition = nullptr;
    RestartPositionLength = 0;
}

PxStatus FirstStart()
{
    bRecordFound = 0;
    CountCurrent = 0;
    FW_TRACE(1, "No checkpoint record: the files are looked for");
    return BuildGlobalInfo();
}

// The time and the number of files of an active scan are set here too, where there is one.
void ApplyUpdates()
{
    if (PendingUpdates.bTraceLevel == 0)
        return;
    FW_TRACE(1, "%s: '%s' value set to %d (was %d)", "Restart user update", "TraceLevel",
             PendingUpdates.TraceLevel, FW_TraceLvl);
    FW_TraceLvl = PendingUpdates.TraceLevel;
    pmTrace(1, nullptr, static_cast<uint32_t>(FW_TraceLvl));
}

void RestoreCounts()
{
    TotalFilesProcessed = static_cast<uint32_t>(DirInfo.Processed);
    RowCount = DirInfo.RowCount;
    RowsSkipped = DirInfo.RowsSkipped;
    EvtCkptCount = static_cast<uint32_t>(DirInfo.EvtCkptCount);
    EvtRecordCount = static_cast<uint32_t>(DirInfo.EvtRecordCount);
    EvtFileCount = static_cast<uint32_t>(DirInfo.EvtFileCount);
    FW_TRACE(1, "RowCount=%u, RowsSkipped=%u", DirInfo.RowCount, DirInfo.RowsSkipped);
    FW_TRACE(1, "%s=%d, %s=%u, %s=%llu, %s=%u", "bMultiInstanceRead", DirInfo.bMultiInstanceRead,
             "EvtCkptCount", EvtCkptCount, "EvtRecordCount",
             static_cast<unsigned long long>(EvtRecordCount), "EvtFileCount", EvtFileCount);
}

void RestoreHead(const CheckpointHead &head)
{
    const DirInfoImage own = DirInfo;
    DirInfo = head.DirInfo;
    // The job says where its files lie: its folder may have moved, and the record is not to lead elsewhere.
    memcpy(DirInfo.DirName, own.DirName, sizeof own.DirName);
    FW_TRACE(1, "DirectoryPath: '%s' (%d), FC=%d, PC=%d, Instances=%d", DirInfo.DirName,
             DirInfo.DirNameSpecified, DirInfo.FileCount, DirInfo.Processed,
             DirInfo.TotalInstances);
    RestoreCounts();
    PendingUpdates = head.Updates;
    CountCurrent = head.CountCurrent;
    FW_TRACE(1, "CountCurrent=%d", CountCurrent);
    ApplyUpdates();
}

PxStatus PublishEntries(const uint8_t *from)
{
    FileNamesEntry entry;
    for (int32_t index = 1; index <= DirInfo.FileCount; ++index, from += sizeof entry) {
        memcpy(&entry, from, sizeof entry);
        FW_TRACE(1, "%s %3d %1d '%s'", "index", index, entry.Status, entry.Name);
        if (const PxStatus status = UpdateFileEntry(index, &entry))
            return status;
    }
    return PXSTC_Success;
}

PxStatus PublishFileSet(const uint8_t *entries)
{
    const PxStatus status = AllocateGlobalVariables();
    return status != PXSTC_Success ? status : PublishEntries(entries);
}

// From a copy: the services that publish the files need not leave the record where it is.
PxStatus RestoreFrom(const RecordView &record)
{
    CheckpointHead head;
    memcpy(&head, record.bytes, sizeof head);
    const size_t behind = FilesEnd(head.DirInfo.FileCount), entries_bytes = behind - sizeof head;
    if (const PxStatus status =
            KeepPosition({record.bytes + behind, static_cast<uint32_t>(record.length - behind)}))
        return status;
    uint8_t *entries = ResizeRecord(nullptr, entries_bytes);
    if (entries == nullptr)
        return PXSTC_FatalError;
    memcpy(entries, record.bytes + sizeof head, entries_bytes);
    RestoreHead(head);
    const PxStatus status = PublishFileSet(entries);
    free(entries);
    return status;
}

bool IsDone(int32_t status) { return status == kFinished || status == kArchived; }

// What this instance finished before: the record of an instance above 1 has no count of files, and none
// has the bad records of an instance without a position.
void CountFinishedFiles()
{
    uint32_t finished = bWriting != 0 && IsDone(CurrentFile.Status) ? 1 : 0;
    for (const FileNode *node = FirstFileNode; node != nullptr; node = node->Next) {
        if (!IsDone(node->Status))
            continue;
        ++finished;
        SG_ErrorRowCount = node->BadRecords;
    }
    FilesThisInstance = finished;
    if (ThisInstance > 1)
        EvtFileCount = finished;
}

// The record of the files and the position were written at one time. Where one of them is missing, or they
// contradict each other, rows would be lost or read twice. Null: nothing is wrong.
const char *Contradiction()
{
    const bool files_restored = ThisInstance == 1 ? bRecordFound != 0 : DirInfo.EvtCkptCount != 0;
    if (pmfp == 0)
        return RestartPositionLength != 0 ? "it has a position but no file that was begun"
                                          : nullptr;
    if (bRecordFound != 0 && !files_restored)
        return "the record of instance 1, which it belongs to, is missing";
    if (bRecordFound == 0)
        return files_restored ? "it is missing, but a file was begun" : nullptr;
    return RestartPositionLength == 0 ? "it has no position in a file that was begun" : nullptr;
}

}  // namespace

PxStatus RestoreFileSet()
{
    RecordView record;

    const PxStatus status = ReadRecord(&record);
    if (status == PXSTC_NullPointer)
        return FirstStart();
    if (status != PXSTC_Success)
        return status;
    if (const PxStatus damaged = CheckFileSetRecord(record))
        return damaged;
    return RestoreFrom(record);
}

PxStatus ReadOwnRecord()
{
    RecordView record;

    CountCurrent = 0;
    const PxStatus status = ReadRecord(&record);
    if (status != PXSTC_Success)
        return status == PXSTC_NullPointer ? PxStatus{PXSTC_Success} : status;
    if (const PxStatus damaged = CheckInstanceRecord(record))
        return damaged;
    const auto position_length = static_cast<uint32_t>(record.length - sizeof CountCurrent);
    memcpy(&CountCurrent, record.bytes + position_length, sizeof CountCurrent);
    FW_TRACE(1, "CountCurrent=%d", CountCurrent);
    return KeepPosition({record.bytes, position_length});
}

PxStatus ResumePosition()
{
    CountFinishedFiles();
    if (const char *fault = Contradiction())
        return DamagedRecord(fault);
    if (bRecordFound == 0 || pmfp == 0)
        return PXSTC_Success;
    const PxStatus status = FW_Repos(RestartPositionLength, RestartPosition);
    ForgetPosition();
    return status;
}
