// rows/write_row.cpp - FW_WriteRow: the next record of the current file becomes a row of the stream.
//
//   limit     RowsPerInstance reached: end of data
//   read      pmRead, until SkipRows is used up
//   cut       record -> columns and a packed row; a bad record is left out and the next one read
//   deliver   FW_CheckPutRow
//
// One call is one row. Most rows lie ready, found and cut when their block was searched (pm/index), and
// are only delivered. Buffer mode will loop here until its buffer is full; in multi-instance reading
// the master will file the record away after the read, and a slave take its record from there.

#include "attributes/attributes_state.h"
#include "delimited/delimited.h"
#include "delimited/delimited_state.h"
#include "delimited/verdict.h"
#include "operator/messages.h"
#include "pm/index/ready_rows.h"
#include "pm/pm_state.h"
#include "rows/changed_rows.h"
#include "rows/date_columns.h"
#include "rows/rows.h"
#include "rows/rows_state.h"
#include "rows/verdicts.h"
#include "schema/schema_state.h"

static constexpr uint32_t kNoLimit = 0xFFFFFFFF;
static constexpr uint32_t kTextFormat = 1, kUnformatted = 8;

// ---- Limit -------------------------------------------------------------------------------------

static void LimitDeleteTask()
{
    if (SingleRowForZarnDelete == nullptr || *SingleRowForZarnDelete != 1 ||
        RowsPerInstanceLimit == 1)
        return;
    FW_TRACE(1, "Delete Task is active, RowsPerInstance is being set to 1.");
    RowsPerInstanceLimit = 1;
}

static bool LimitReached()
{
    if (RowsPerInstanceLimit == kNoLimit || RowCount < RowsPerInstanceLimit)
        return false;
    FW_TRACE(1, "Reached '%s' threshold (%u), %s", "RowsPerInstance", RowsPerInstanceLimit,
             "generating EndOfData");
    return true;
}

// ---- Read --------------------------------------------------------------------------------------

static PxStatus ReadFailed(int code)
{
    FW_ERROR("%s rc=%d", "pmRead", code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure("pmRead", code, pmErrorText(code));
    return FW_Fatal<19305>();
}

// A record without a frame is as long as a row without variable columns.
static bool IsReadByLength() { return FileFormat == kUnformatted && SG_VARtypesFlag == 0; }

static PxStatus ByteCountError()
{
    FW_ERROR("%s byte count error.  Expected %u, received %u!", "Record", TotalFixedLength,
             pmBuffer.DataLength);
    DumpFileInfo(-1);
    return FW_Fatal<19102>(pmBuffer.RecCount, "Record", TotalFixedLength, pmBuffer.DataLength);
}

static PxStatus ReadRecord()
{
    const bool by_length = IsReadByLength();
    if (by_length)
        pmBuffer.DataLength = TotalFixedLength;
    const int code = pmRead(pmfp, &pmBuffer);
    if (code == pmrcOk) [[likely]]
        return by_length && pmBuffer.DataLength != TotalFixedLength ? ByteCountError()
                                                                    : PxStatus{PXSTC_Success};
    switch (code) {
    case pmrcNoEOR:
        return bAcceptEOFasEOR != 0 ? PxStatus{PXSTC_Success} : ReadFailed(code);
    case pmrcTimeOut:
        FW_TRACE(1, "Read timed out");
        return PXSTC_WaitTimeout;
    case pmrcEOF:
        FW_TRACE(2, "EOF from pmRead => PXSTC_EndOfData");
        return PXSTC_EndOfData;
    case pmrcSkipped:
        return PXSTC_FatalError;  // reported where it happened
    default:
        return ReadFailed(code);
    }
}

static void NothingLeftToSkip(PxStatus status)
{
    if (status == PXSTC_EndOfData)
        FW_TRACE(1, "No rows were processed from this file.");
    else if (status == PXSTC_WaitTimeout)
        FW_TRACE(1, "No row skipped because of time-out.");
}

// The next record that SkipRows leaves over. A file that ends earlier leaves the rest of the count to
// the next one, unless every file has its own.
static PxStatus ReadBehindSkipped()
{
    const uint64_t &skipped = bSkipRowsEveryFile != 0 ? FileRowsSkipped : RowsSkipped;
    for (;;) {
        const PxStatus status = ReadRecord();
        if (status != PXSTC_Success) {
            NothingLeftToSkip(status);
            return status;
        }
        if (skipped >= SkipRows) {
            bSkipRowsDone = 1;
            FW_TRACE(1, "The first %u rows have been skipped.", SkipRows);
            return PXSTC_Success;
        }
        ++RowsSkipped;
        ++FileRowsSkipped;
    }
}

static PxStatus NextRecord()
{
    return SkipRows != 0 && bSkipRowsDone == 0 ? ReadBehindSkipped() : ReadRecord();
}

// ---- Cut ---------------------------------------------------------------------------------------

// A row whose columns say themselves how long they are.
static PxStatus CutByLengths(uint32_t *expected_length)
{
    RowFault fault;
    if (FileFormat ==
        kUnformatted) {  // its reader has found the columns, or would not know its end
        *expected_length = pmBuffer.DataLength;
        return PXSTC_Success;
    }
    const PxStatus status = FW_SetVarFields(expected_length, &fault);
    if (status == PXSTC_RowError) [[unlikely]]
        return SettleFault(fault);
    return *expected_length == pmBuffer.DataLength ? PXSTC_Success : SettleLength(*expected_length);
}

static PxStatus CutDelimited(uint32_t *expected_length)
{
    const int32_t verdict = ExtractDelimitedText();
    if (bUnclosedQuote != 0) [[unlikely]]
        WarnOfUnclosedQuote();
    if (DateColumnCount != 0) [[unlikely]] {
        if (const PxStatus status = ReformatDates(verdict); status != PXSTC_Success)
            return status;
    }
    if (verdict != RowComplete) [[unlikely]] {
        if (const PxStatus status = SettleVerdict(verdict); status != PXSTC_Success)
            return status;
    }
    if (bExcessIgnored != 0) [[unlikely]]
        CountIgnoredExcess();
    *expected_length = pmBuffer.DataLength;
    return PXSTC_Success;
}

// expected_length: what the schema makes of the record. 0; 45: it is left out; 48.
static PxStatus CutRecord(uint32_t *expected_length)
{
    if (SG_VARtypesFlag == 0) {
        *expected_length = TotalFixedLength;
        return pmBuffer.DataLength == TotalFixedLength ? PXSTC_Success
                                                       : SettleLength(TotalFixedLength);
    }
    return FileFormat == kTextFormat ? CutDelimited(expected_length)
                                     : CutByLengths(expected_length);
}

// The next record that a row can be made of. Each one that is passed over, or ends the job, was read and
// is counted: it is refused. 43: too many of them for one call, the infrastructure may want a word.
static PxStatus NextRow(uint32_t *expected_length)
{
    constexpr int kLeftOutInACall = 1000;
    for (int i = 0; i < kLeftOutInACall; ++i) {
        if (const PxStatus status = NextRecord(); status != PXSTC_Success)
            return status;
        const PxStatus status = CutRecord(expected_length);
        if (status == PXSTC_Success) [[likely]]
            return status;
        ++FileRecordCount;
        if (status != PXSTC_RowError)
            return status;
    }
    return PXSTC_SamePhase;
}

// A record whose row was to be handed over. Taken or not: the file's records are its rows and what was
// refused.
static PxStatus CountRow(PxStatus status)
{
    ++FileRecordCount;
    if (status == PXSTC_SamePhase) [[likely]] {
        ++RowCount;
        ++FileRowCount;
    }
    return status;
}

// ---- Rows that lie ready -----------------------------------------------------------------------

// Whether a row of the window would go through FW_WriteRow without anything but its delivery.
static bool RowsMayGoStraight()
{
    return RowsPerInstanceLimit == kNoLimit && (SkipRows == 0 || bSkipRowsDone != 0) &&
           SG_VARtypesFlag != 0 && SG_IndicatorData == 0 && DateColumnCount == 0 &&
           FW_TraceLvl <= 3;
}

static PxStatus PutReadyRow()
{
    const IndexWork &work = pmIndex.work;
    const ReadyRow ready = TakeReadyRow();
    const RowView row = {work.packed + ready.packed, ready.length, work.offsets + ready.first,
                         work.lengths + ready.first, work.indicators + ready.first};
    return CountRow(InsertFilenameColNum != 0 ? PutRowWithFilename(row) : PutRow(row));
}

// ---- Rows that are yet to be read and cut ------------------------------------------------------

[[gnu::noinline]] static PxStatus WriteNextRecord()
{
    uint32_t expected_length = 0;

    bRowsGoStraight = RowsMayGoStraight();
    LimitDeleteTask();
    if (LimitReached()) [[unlikely]]
        return PXSTC_EndOfData;
    if (const PxStatus status = NextRow(&expected_length); status != PXSTC_Success)
        return status;
    return CountRow(InsertFilenameColNum != 0
                        ? CheckPutRowWithFilename(expected_length)
                        : FW_CheckPutRow(pmBuffer.Data, pmBuffer.DataLength, expected_length));
}

PxStatus FW_WriteRow(PxOperator *)
{
    if (bRowsGoStraight != 0 && IsRowReady()) [[likely]]
        return PutReadyRow();
    return WriteNextRecord();
}
