// restart/position.cpp - FW_GetPos and FW_Repos: where the files stand, and back there.

#include <algorithm>
#include <cstring>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "restart/record.h"
#include "restart/restart.h"

namespace {

constexpr uint32_t kNoRowLimit = 0xFFFFFFFF;

template <int Step>
PxStatus PositionFailed(const char *routine, int code)
{
    FW_ERROR("%s rc=%d", routine, code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure(routine, code, pmErrorText(code));
    return FW_Fatal<Step>();
}

// Adds a file's position to the block. It is copied at once: a back end has one block for all its files,
// so the next position would overwrite it.
PxStatus AddPosition(pmToken file, const char *routine, uint32_t *length, uint32_t *added)
{
    pmData position = {};
    if (const int code = pmGetPos(file, 0, &position); code != pmrcOk)
        return PositionFailed<19307>(routine, code);
    uint8_t *block =
        ResizeRecord(PositionBlock, uint64_t{*length} + position.length + kPositionTail);
    if (block == nullptr)
        return PXSTC_FatalError;
    PositionBlock = block;
    if (position.length > 0)
        memcpy(block + *length, position.bytes, position.length);
    *length += position.length;
    *added = position.length;
    DumpRecord(routine, {block + *length - position.length, position.length});
    return PXSTC_Success;
}

// Counts of 64 bits have places of 32 in the record. After a restart, reports number the file's records
// from there.
void NoteOutgrownCount()
{
    static bool told = false;
    if (!told && FileRecordCount > UINT32_MAX)
        FW_STATS("FileRecordCount=%llu does not fit the checkpoint record",
                 static_cast<unsigned long long>(FileRecordCount));
    told = FileRecordCount > UINT32_MAX;
}

void TraceHead(const PositionHead &head, uint32_t length)
{
    FW_TRACE(1, "fwPosSummary_t struct: %s=%u\n%s=%u, %s=%u, %s=%u, %s=%u", "Length", length,
             "ErrRowCount", head.ErrRowCount, "FileRecordCount", head.FileRecordCount, "Data.len",
             head.DataLength, "Errors.len", head.ErrorLength);
    FW_TRACE(1, "RecordInstanceTarget = %u", head.InstanceTarget);
}

// What the files' positions say nothing of.
void TakeCounts(const PositionHead &head, const uint8_t *tail)
{
    uint32_t rows = 0;
    SG_ErrorRowCount = head.ErrRowCount;
    FileRecordCount = FileRecordsBefore = head.FileRecordCount;
    RecordInstanceTarget = head.InstanceTarget;
    memcpy(&rows, tail, sizeof rows);
    if (ThisInstance > 1 && RowsPerInstanceLimit != kNoRowLimit)
        RowCount = rows;
}

// Instance 1 goes on with the named file. Any other one has begun a new temporary file: the old one belongs
// to a process that is gone.
PxStatus ReposErrorFile(const pmData &position)
{
    if (position.length == 0 || ThisInstance > 1) {
        FW_TRACE(1, "The record error file stays where it is");
        return PXSTC_Success;
    }
    const int code = pmRepos(SG_pmFpErrors, &position);
    return code == pmrcOk ? PXSTC_Success : PositionFailed<19308>("pmRepos-Errors", code);
}

// Records in front of the position are not skipped a second time, and none is skipped behind it. At the
// start of a file none was read yet, so none was skipped either.
void TakeSkipped()
{
    if (Reading != 0)
        FileRowsSkipped = FileRowsSkippedBefore =
            pmRecordCount(pmfp) - static_cast<uint32_t>(FileRecordCount);
    bSkipRowsDone = FileRecordCount > 0 || FileRowsSkipped >= SkipRows;
}

}  // namespace

PxStatus FW_GetPos(uint32_t *length, const uint8_t **block)
{
    PositionHead head = {.ErrRowCount = SG_ErrorRowCount,
                         .FileRecordCount = static_cast<uint32_t>(FileRecordCount)};
    const auto rows = static_cast<uint32_t>(RowCount);
    uint32_t used = sizeof head;

    *length = 0;
    *block = nullptr;
    NoteOutgrownCount();
    // A slave of several readers of one file has no position: it ends here.
    if (const PxStatus status = AddPosition(pmfp, "pmGetPos", &used, &head.DataLength))
        return status;
    RecordInstanceTarget = SG_pmFpErrors != 0 ? static_cast<uint32_t>(ThisInstance) : 0;
    head.InstanceTarget = RecordInstanceTarget;
    if (SG_pmFpErrors != 0) {
        if (const PxStatus status =
                AddPosition(SG_pmFpErrors, "pmGetPos-Errors", &used, &head.ErrorLength))
            return status;
    }
    memcpy(PositionBlock, &head, sizeof head);
    memcpy(PositionBlock + used, &rows, sizeof rows);
    TraceHead(head, used + kPositionTail);
    *length = used + kPositionTail;
    *block = PositionBlock;
    return PXSTC_Success;
}

PxStatus FW_Repos(uint32_t length, const uint8_t *block)
{
    PositionHead head;

    FW_TRACE(1, "Entry %s", __func__);
    if (const PxStatus status = CheckPosition({block, length}, &head))
        return status;
    TraceHead(head, length);
    DumpRecord(__func__, {block, length});
    const uint8_t *data = block + sizeof head, *errors = data + head.DataLength;
    TakeCounts(head, errors + head.ErrorLength);
    if (const PxStatus status = ReposErrorFile({head.ErrorLength, errors}))
        return status;
    const pmData position = {head.DataLength, data};
    if (const int code = pmRepos(pmfp, &position); code != pmrcOk)
        return PositionFailed<19308>("pmRepos", code);
    TakeSkipped();
    return PXSTC_Success;
}

PxStatus FW_Checkpoint(PxOperator *)
{
    const uint8_t *block = nullptr;
    uint32_t length = 0;

    const PxStatus status = FW_GetPos(&length, &block);
    return status != PXSTC_Success ? status : WriteRecord({block, length});
}

PxStatus FW_Restart(PxOperator *)
{
    RecordView record;

    const PxStatus status = ReadRecord(&record);
    if (status == PXSTC_NullPointer)
        return PXSTC_Success;
    return status != PXSTC_Success ? status : FW_Repos(record.length, record.bytes);
}
