// delimited/extract.cpp - one record: set up, scan, pack, judge.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "attributes/attributes_state.h"
#include "delimited/assemble.h"
#include "delimited/characters.h"
#include "delimited/delimited.h"
#include "delimited/delimited_state.h"
#include "delimited/marks.h"
#include "delimited/raw_record.h"
#include "delimited/scan_state.h"
#include "delimited/verdict.h"
#include "operator/messages.h"
#include "pm/index/index_state.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

static ScanState BeginScan()
{
    uint8_t *begin = pmBuffer.Data;
    return {.begin = begin,
            .cursor = begin,
            .end = begin + pmBuffer.DataLength,
            .settled = begin,
            .counting = TruncateColumnsOpt != 0 || bTruncateUTF8 != 0 ||
                        Marks.trim_leading.length != 0 || Marks.trim_trailing.length != 0 ||
                        (TrimLeadingNchars | TrimTrailingNchars) != 0,
            .columns = {.count = SG_ColCount,
                        .offsets = SG_ColOffs,
                        .lengths = SG_ColLens,
                        .lengths_orig = SG_ColLensOrig,
                        .lengths_base = SG_ColLensBase,
                        .indicators = SG_IndBytes,
                        .empty_is_null = bNullColumns != 0}};
}

static ScanRoutine ScannerForRecord(const ScanState &s)
{
    const bool fast = FastScannerFor == FastRoad::Always ||
                      (FastScannerFor == FastRoad::AsciiRecords && IsAscii(s.begin, s.end));
    return fast ? FastScanner : ExactScanner;
}

// Columns that the record did not reach still hold a former record's values.
static void NullUnreached(int32_t reached, uint32_t record_length)
{
    for (int32_t i = reached; i < SG_ColCount; ++i) {
        SG_ColOffs[i] = record_length;
        SG_ColLens[i] = 0;
        SG_IndBytes[i] = 1;
    }
}

static void TraceRecord()
{
    FW_Trace("ExtractDelimitedText", TraceKind::Plain, "<DBG> UDDI_ParsingCase: %d",
             UDDI_ParsingCase);
    FW_Dump("ExtractDelimitedText", "<DBG> Buffer IN->", pmBuffer.Data,
            std::min<uint32_t>(pmBuffer.DataLength, MaxBytesToDump));
}

// A scan that stopped, or a record that is not packed: the record stays, compacted, in pmBuffer, and the columns point into it.
static int32_t RefuseStopped(const ScanState &s)
{
    switch (s.verdict) {
    case FieldOverflow:
        return RefuseRecord(s.verdict, s.column, s.overflow_column);
    case BadCharacter:
        return RefuseRecord(s.verdict, s.column, s.wide_column);
    default:
        return RefuseRecord(s.verdict, s.column, s.column + 1);  // the open column
    }
}

static int32_t Judge(const ScanState &s)
{
    if (s.column > SG_ColCount)
        return RefuseRecord(TooManyColumns, s.column, 0);
    if (s.column < SG_ColCount)
        return RefuseRecord(TooFewColumns, s.column, 0);
    if (s.overflow_column != 0)
        return RefuseRecord(FieldOverflow, s.column, s.overflow_column);
    ActualColumnCount = s.column;
    return RowComplete;
}

// The record was cut when its block was searched: its columns are copied to where everybody looks for
// them, its row stays where it is.
static bool TakeIndexedRow()
{
    if (pmIndex.served == 0 || FW_TraceLvl > 4)
        return false;
    const IndexWork &work = pmIndex.work;
    if (work.regular[pmIndex.next - 1] == 0)
        return false;
    const ReadyRow row = RowOf(work, pmIndex.next - 1);
    const auto columns = static_cast<uint32_t>(SG_ColCount);
    memcpy(SG_ColOffs, work.offsets + row.first, columns * sizeof *SG_ColOffs);
    memcpy(SG_ColLens, work.lengths + row.first, columns * sizeof *SG_ColLens);
    memcpy(SG_IndBytes, work.indicators + row.first, columns);
    pmBuffer.Data = work.packed + row.packed;
    pmBuffer.DataLength = row.length;
    ActualColumnCount = SG_ColCount;
    bUnclosedQuote = bExcessIgnored = 0;
    return true;
}

int32_t ExtractDelimitedText()
{
    ActualColumnCount = 0;
    if (bUsingUDDI == 0) {
        FW_ERROR("'%s' feature not initialized.", UDDI_FeatureName);
        snprintf(ExtractErrMsg, sizeof ExtractErrMsg, "'%s' feature not initialized.",
                 UDDI_FeatureName);
        return NotInitialized;
    }
    pmBufferOrig = pmBuffer;
    if (TakeIndexedRow()) [[likely]]
        return RowComplete;
    if (pmBuffer.DataLength > RawCopySize && !GrowRawCopy(pmBuffer.DataLength)) [[unlikely]]
        return OutOfMemory;
    if (!GrowCharacterLength(pmBuffer.DataLength))
        return RefuseRecord(OutOfMemory, 0, 0);
    // Buffer mode zeroes its sum of variable data here, and each stored column adds to it.
    if (FW_TraceLvl > 4) [[unlikely]]
        TraceRecord();

    ScanState s = BeginScan();
    ScannerForRecord(s)(s);
    Settle(s, s.end);
    bUnclosedQuote = s.unclosed;
    bExcessIgnored = s.excess_ignored;
    bScanStopped = s.verdict != RowComplete;
    pmBuffer.DataLength = static_cast<uint32_t>(s.end - s.begin) - s.gap;
    // The column that a bad character stands in is counted, but not stored.
    if (const int32_t stored = s.column - (s.verdict == BadCharacter); stored < SG_ColCount)
        NullUnreached(stored, pmBuffer.DataLength);
    if (s.verdict != RowComplete)
        return RefuseStopped(s);
    if (s.wide_column != 0) [[unlikely]]
        return RefuseRecord(BadCharacter, s.column, s.wide_column);

    pmBuffer.DataLength = PackColumns(s.begin);
    pmBuffer.Data = TargetBuffer;
    if (FW_TraceLvl > 4) [[unlikely]] {
        TraceRow(TargetBuffer, s.column);
        FW_Dump("ExtractDelimitedText", "Target buffer OUT>", TargetBuffer,
                std::min<uint32_t>(pmBuffer.DataLength, MaxBytesToDump));
    }
    return Judge(s);
}
