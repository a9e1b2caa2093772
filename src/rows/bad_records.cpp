// rows/bad_records.cpp

#include "rows/bad_records.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

namespace {

PxBadRecord Describe(const BadRecord &bad, bool kept)
{
    PxBadRecord head = {};
    head.index = static_cast<uint32_t>(CurrentFileIndex);
    head.left_out = bad.left_out ? 1 : 0;
    head.record = FileRecordCount + FileRowsSkipped + 1;
    head.offset = pmRecordOffset(pmfp);
    head.message = bad.message;
    head.column = bad.column <= SG_ColCount ? static_cast<uint32_t>(bad.column) : 0;
    head.kept = kept ? 1 : 0;
    head.text_bytes = static_cast<uint32_t>(strlen(bad.reason));
    head.raw_bytes = pmBufferOrig.DataLength;
    return head;
}

// A block that grows with the longest record.
uint8_t *BlockOf(size_t bytes)
{
    static uint8_t *block = nullptr;
    static size_t size = 0;

    if (bytes <= size)
        return block;
    free(block);
    size = std::max(bytes, 2 * size);
    block = static_cast<uint8_t *>(malloc(size));
    if (block == nullptr)
        size = 0;
    return block;
}

// Reports serve people; one that does not arrive fails nothing.
void Send(const BadRecord &bad, bool kept)
{
    const PxBadRecord head = Describe(bad, kept);
    const size_t bytes = sizeof head + head.text_bytes + head.raw_bytes;
    uint8_t *block = BlockOf(bytes);

    if (block == nullptr)
        return;
    memcpy(block, &head, sizeof head);
    memcpy(block + sizeof head, bad.reason, head.text_bytes);
    if (head.raw_bytes != 0)
        memcpy(block + sizeof head + head.text_bytes, pmBufferOrig.Data, head.raw_bytes);
    (void)Service(SG_opHandle, &PxOperator::PX_PutJobStat, int32_t{PX_STAT_BadRecord},
                  int32_t{PX_STAT_RECORD}, static_cast<const void *>(block),
                  static_cast<int32_t>(bytes), 0, 0);
}

PxStatus LimitReached()
{
    FW_ERROR("ErrorLimit (%d) is reached", SG_ErrorRowLimit);
    return FW_Fatal<19993>(SG_ErrorRowLimit, SG_RowErrFileName);
}

}  // namespace

PxStatus ReportBadRecord(const BadRecord &bad)
{
    const bool wanted = KeepsBadRecords() && !bad.keep_out;
    const PxStatus status = wanted ? WrRecErrFile(bad.reason) : PxStatus{PXSTC_Success};
    BadRecord told = bad;
    told.left_out = bad.left_out || status != PXSTC_Success;  // a job that ends loads no row of it
    const bool kept = wanted && status == PXSTC_Success && SG_pmFpErrors != 0;
    if (told.left_out || kept)
        Send(told, kept);
    return status;
}

PxStatus LeaveOutRecord(const BadRecord &bad)
{
    if (const PxStatus status = ReportBadRecord(bad); status != PXSTC_Success)
        return status;
    if (SG_ContinueOnRowError == 0)
        return PXSTC_Success;
    if (SG_ContinueOnRowError != 1)
        return LimitReached();
    FW_TRACE(1, "Skipping row and continuing...");
    RaiseExitCode(4);
    return PXSTC_RowError;
}
