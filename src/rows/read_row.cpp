// rows/read_row.cpp - FW_ReadRow: the next row of the stream becomes a record of the current file.
//
//   take      PX_GetRow: the row and its columns' arrays stay the infrastructure's until the next call
//   check     they are what the schema says, and lie one behind the other within the row
//   make      delimited text is put together from the columns; any other record is the row's own bytes
//   write     pmWrite
//
// One call is one row. Buffer mode will take a whole buffer of rows here and make and write each of them.

#include <algorithm>
#include <cstdio>

#include "attributes/attributes_state.h"
#include "delimited/create.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/rows.h"
#include "schema/schema_state.h"

namespace {

constexpr char kRoutine[] = "FW_ReadRow";
constexpr uint32_t kTextFormat = 1;

// As PX_GetRow delivers it. Offsets count from the row's first byte, which is an indicator byte.
struct TakenRow {
    int32_t columns = 0;
    const uint8_t *indicators = nullptr;
    const uint32_t *offsets = nullptr, *lengths = nullptr;
    void *bytes = nullptr;
    uint32_t length = 0;
};

uint64_t EndOfColumn(const TakenRow &row, size_t column)
{
    return uint64_t{row.offsets[column]} + row.lengths[column];
}

uint64_t EndOfRow(const TakenRow &row)
{
    return EndOfColumn(row, static_cast<size_t>(SG_ColCount) - 1);
}

auto RecordNumber() { return static_cast<int64_t>(FileRecordCount + 1); }

// ---- Take --------------------------------------------------------------------------------------

[[gnu::cold]] PxStatus NoRow(PxStatus status)
{
    if (status != PXSTC_EndOfData)
        return ServiceFailed(kRoutine, "PX_GetRow", status);
    FW_TRACE(2, "EndOfData from PX_GetRow => EndMethod");
    return PXSTC_EndMethod;
}

// ---- Check -------------------------------------------------------------------------------------

[[gnu::cold]] PxStatus BadRow(const char *what)
{
    char text[160];
    snprintf(text, sizeof text, "PX_GetRow: record %lld: %s",
             static_cast<long long>(RecordNumber()), what);
    FW_ERROR("%s", text);
    return FW_Fatal<19100>(static_cast<const char *>(text), PXSTC_InvalidArgument);
}

[[gnu::cold]] PxStatus CountDiffers(int32_t delivered)
{
    FW_WARN(1, "Data Schema Column count conflicts with data");
    FW_WARN(1, "Schema defined %d columns, received %d", SG_ColCount, delivered);
    return FW_Fatal<19109>(SG_ColCount, delivered, RecordNumber());
}

// Kept: columns count from 0 here, and the exit code stays what it was; the status ends the job.
[[gnu::cold]] PxStatus ColumnTooLong(int32_t column, uint32_t delivered)
{
    FW_WARN(1, "Data Schema Column length conflicts with data");
    FW_WARN(1, "For column %d, '%s', schema defined column length %u, received %u", column,
            SG_ColNames[column], SG_ColLensBase[column], delivered);
    FW_Message<19110>(column, SG_ColNames[column], SG_ColLensBase[column], delivered,
                      RecordNumber());
    RaiseExitCode(0);
    return PXSTC_Length;
}

[[gnu::cold]] PxStatus ColumnAtFault(const TakenRow &row)
{
    char what[96];
    for (int32_t i = 0; i < SG_ColCount; ++i) {
        if (row.lengths[i] > SG_ColLensBase[i])
            return ColumnTooLong(i, row.lengths[i]);
    }
    uint64_t end = NumIndBytes;
    int32_t i = 0;
    while (i < SG_ColCount && row.offsets[i] >= end &&
           (end = EndOfColumn(row, static_cast<size_t>(i))) <= row.length)
        ++i;
    snprintf(what, sizeof what, "column %d lies outside of its place in the row's %u bytes", i + 1,
             row.length);
    return BadRow(what);
}

bool IsWhole(const TakenRow &row)
{
    return row.bytes != nullptr && row.indicators != nullptr && row.offsets != nullptr &&
           row.lengths != nullptr;
}

// A row is good as a rule, so all columns are looked at, by loops without branches that the compiler makes
// vectors of. Sums of two numbers that are no longer than the row do not wrap around.
bool IsRowGood(const TakenRow &row)
{
    const uint32_t *offsets = row.offsets, *lengths = row.lengths, *limits = SG_ColLensBase;
    const auto columns = static_cast<size_t>(SG_ColCount);
    const uint32_t most = row.length;
    uint32_t bad = 0;
    for (size_t i = 0; i < columns; ++i)
        bad |= static_cast<uint32_t>(lengths[i] > limits[i]) |
               static_cast<uint32_t>(lengths[i] > most) | static_cast<uint32_t>(offsets[i] > most);
    for (size_t i = 0; i + 1 < columns; ++i)
        bad |= static_cast<uint32_t>(offsets[i + 1] < offsets[i] + lengths[i]);
    return bad == 0 && most <= INT32_MAX && offsets[0] >= NumIndBytes && EndOfRow(row) <= most;
}

PxStatus CheckColumns(const TakenRow &row)
{
    if (row.columns != SG_ColCount) [[unlikely]]
        return CountDiffers(row.columns);
    return IsRowGood(row) ? PxStatus{PXSTC_Success} : ColumnAtFault(row);
}

// What came, before it is judged: a row that is refused is to be seen in the log.
[[gnu::cold]] void TraceRow(const TakenRow &row)
{
    const int32_t columns = SG_IndicatorData == 0 ? std::min(row.columns, SG_ColCount) : 0;

    FW_Trace(kRoutine, TraceKind::Plain, "Data from PX_GetRow: SH=%d, ColCount=%d",
             static_cast<int>(reinterpret_cast<intptr_t>(schemaHandle)), row.columns);
    for (int32_t i = 0; i < columns; ++i)
        FW_Trace(kRoutine, TraceKind::Plain, "Schema: col=%d, Ind=%d, Len=%u, off=%u", i + 1,
                 row.indicators[i], row.lengths[i], row.offsets[i]);
    FW_Dump(kRoutine, "", row.bytes,
            std::min(row.length, static_cast<uint32_t>(std::max(MaxBytesToDump, 0))));
}

PxStatus CheckRow(const TakenRow &row)
{
    if (!IsWhole(row)) [[unlikely]]
        return BadRow("a part of the row is missing");
    if (FW_TraceLvl > 3) [[unlikely]]
        TraceRow(row);
    return CheckColumns(row);
}

// ---- Make --------------------------------------------------------------------------------------

PxStatus MakeRecord(const TakenRow &row)
{
    pmBuffer.Data = static_cast<uint8_t *>(row.bytes);
    pmBuffer.DataLength = static_cast<uint32_t>(EndOfRow(row));
    if (FileFormat == kTextFormat && TextDelimiter.length != 0) {
        if (CreateDelimitedText(row.columns, row.offsets, row.indicators, row.lengths) == 0)
            [[likely]]
            return PXSTC_Success;
        RaiseExitCode(12);
        return PXSTC_FatalError;
    }
    if (SG_IndicatorData == 0) {
        pmBuffer.Data += NumIndBytes;
        pmBuffer.DataLength -= NumIndBytes;
    }
    return PXSTC_Success;
}

// ---- Write -------------------------------------------------------------------------------------

[[gnu::cold]] PxStatus WriteFailed(int code)
{
    FW_ERROR("error on record %lld", static_cast<long long>(RecordNumber()));
    FW_ERROR("%s rc=%d", "pmWrite", code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure("pmWrite", code, pmErrorText(code));
    return FW_Fatal<19306>();
}

PxStatus WriteRecord()
{
    if (const int code = pmWrite(pmfp, &pmBuffer); code != pmrcOk) [[unlikely]]
        return WriteFailed(code);
    ++FileRecordCount;
    return PXSTC_SamePhase;
}

}  // namespace

PxStatus FW_ReadRow(PxOperator *)
{
    TakenRow row;
    PxStatus status = Service(schemaHandle, &PxSchema::PX_GetRow, &row.columns, &row.indicators,
                              &row.offsets, &row.lengths, &row.bytes, &row.length);
    if (status != PXSTC_Success) [[unlikely]]
        return NoRow(status);
    if ((status = CheckRow(row)) != PXSTC_Success) [[unlikely]]
        return status;
    if ((status = MakeRecord(row)) != PXSTC_Success) [[unlikely]]
        return status;
    return WriteRecord();
}
