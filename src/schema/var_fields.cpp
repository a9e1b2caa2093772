// schema/var_fields.cpp

#include "schema/var_fields.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"
#include "schema/type_table.h"

namespace {

uint32_t PrefixOfColumn(int32_t column)
{
    if (SG_IsVarType[column] == 0)
        return 0;
    if (SG_ColTypes[column] == kTypeNumber)
        return 1;
    return SG_IsInlineLOB[column] != 0 ? 8 : 2;
}

// The step that the column belongs to; a column with a length ends it.
void AddColumn(int32_t column, WalkStep *step)
{
    const uint32_t prefix = PrefixOfColumn(column);
    if (prefix == 0) {
        Walk.place_in_run[column] = step->run_bytes;
        step->run_bytes += SG_ColLensBase[column];
        ++step->run_columns;
    }
    step->prefix = prefix;
    step->most = SG_ColLensBase[column];
}

PxStatus NoMemoryForSteps(size_t bytes)
{
    char size[24];
    snprintf(size, sizeof size, "%zu", bytes);
    FW_ERROR("Unable to allocate %zu bytes for the steps of a row", bytes);
    return FW_Fatal<19140>(static_cast<const char *>(size));
}

// ---- Faults ------------------------------------------------------------------------------------

// A length that the row has no room for, or of which the row has a part only: the walk stays at the
// step, which is done again from its first column once there are more bytes.
[[gnu::cold]] WalkEnd RunsShort(RowWalk *walk, uint32_t step, int32_t column, uint64_t needed)
{
    walk->step = step;
    walk->column = column;
    walk->needed = needed;
    return WalkEnd::Short;
}

[[gnu::cold]] WalkEnd LengthCantBe(RowWalk *walk, int32_t column, WalkEnd end, uint32_t length)
{
    walk->column = column;
    walk->length = length;
    return end;
}

// ---- Indicators --------------------------------------------------------------------------------

// A byte for each bit, the highest first.
uint64_t Spread(uint8_t bits)
{
    constexpr uint64_t kEach = 0x0101010101010101, kOneOfEight = 0x0102040810204080;
    return (((bits * kEach & kOneOfEight) + 0x7F * kEach) >> 7) & kEach;
}

void SetIndicators(const uint8_t *row)
{
    const auto columns = static_cast<uint32_t>(SG_ColCount);
    for (uint32_t at = 0; at < columns && at / 8 < NumIndBytes; at += 8) {
        const uint64_t eight = Spread(row[at / 8]);
        memcpy(SG_IndBytes + at, &eight, std::min(columns - at, 8U));
    }
}

// ---- Columns -----------------------------------------------------------------------------------

uint64_t LengthAt(const uint8_t *at, uint32_t prefix)
{
    uint16_t two = 0;
    uint64_t eight = 0;
    switch (prefix) {
    case 1:
        return *at;
    case 2:
        memcpy(&two, at, sizeof two);
        return two;
    default:
        memcpy(&eight, at, sizeof eight);
        return eight;
    }
}

}  // namespace

PxStatus PrepareWalk()
{
    const auto columns = static_cast<size_t>(SG_ColCount);

    FreeWalk();
    Walk.first = static_cast<WalkStep *>(calloc(columns, sizeof(WalkStep)));
    Walk.place_in_run = static_cast<uint32_t *>(calloc(columns, sizeof(uint32_t)));
    if (Walk.first == nullptr || Walk.place_in_run == nullptr)
        return NoMemoryForSteps(columns * sizeof(WalkStep));
    WalkStep *step = Walk.first;
    for (int32_t column = 0; column < SG_ColCount; ++column) {
        AddColumn(column, step);
        if (step->prefix != 0 && column + 1 < SG_ColCount)
            (++step)->first_column = column + 1;
    }
    Walk.steps = static_cast<uint32_t>(step - Walk.first) + 1;
    return PXSTC_Success;
}

void FreeWalk()
{
    free(Walk.first);
    free(Walk.place_in_run);
    Walk = {};
}

WalkEnd WalkRow(const uint8_t *row, uint32_t bytes, RowWalk *walk)
{
    uint32_t position = walk->step == 0 ? NumIndBytes : walk->position;
    if (position > bytes) [[unlikely]]
        return RunsShort(walk, 0, -1, NumIndBytes);
    for (uint32_t at = walk->step; at < Walk.steps; ++at) {
        const WalkStep &step = Walk.first[at];
        int32_t column = step.first_column;
        walk->position = position;
        if (bytes - position < uint64_t{step.run_bytes} + step.prefix) [[unlikely]]
            return RunsShort(walk, at, column, uint64_t{position} + step.run_bytes + step.prefix);
        for (const int32_t end = column + step.run_columns; column < end; ++column)
            SG_ColOffs[column] = position + Walk.place_in_run[column];
        position += step.run_bytes;
        if (step.prefix == 0)
            break;
        const uint64_t length = LengthAt(row + position, step.prefix);
        position += step.prefix;
        if (length > 0xFFFF) [[unlikely]]
            return LengthCantBe(walk, column, WalkEnd::LobLength, 0);
        if (length > step.most) [[unlikely]]
            return LengthCantBe(walk, column, WalkEnd::TooLong, static_cast<uint32_t>(length));
        if (length > bytes - position) [[unlikely]]
            return RunsShort(walk, at, column, position + length);
        SG_ColOffs[column] = position;
        SG_ColLens[column] = static_cast<uint32_t>(length);
        position += static_cast<uint32_t>(length);
    }
    walk->position = position;
    if (NumIndBytes != 0)
        SetIndicators(row);
    return WalkEnd::Row;
}

// ---- The row of a record -----------------------------------------------------------------------

PxStatus ReportRowFault(const RowFault &fault)
{
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    const RowWalk &walk = fault.walk;

    if (fault.end == WalkEnd::LobLength) {
        FW_ERROR("LOB column data length error");
        FW_Message<19151>();
    } else {
        FW_ERROR("CONFIRM_COL_LEN_OK: VAR field length error in record %lld, field %d, '%s'. "
                 "Expected max length %u, received %u.",
                 static_cast<long long>(record), walk.column + 1, SG_ColNames[walk.column],
                 SG_ColLensBase[walk.column], walk.length);
        FW_Message<19112>(record, walk.column + 1, SG_ColNames[walk.column],
                          SG_ColLensBase[walk.column], walk.length);
    }
    DumpFileInfo(-1);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

[[gnu::cold]] static PxStatus NotARow(const RowFault &found, uint32_t *row_length, RowFault *fault)
{
    if (found.end == WalkEnd::Short) {
        FW_TRACE(1, "Not enough data to populate all columns in row %lld",
                 static_cast<long long>(FileRecordCount) + 1);
        *row_length = static_cast<uint32_t>(std::min<uint64_t>(found.walk.needed, UINT32_MAX));
        return PXSTC_Length;
    }
    if (fault == nullptr)
        return ReportRowFault(found);
    *fault = found;
    return PXSTC_RowError;
}

PxStatus FW_SetVarFields(uint32_t *row_length, RowFault *fault)
{
    RowWalk walk;
    const WalkEnd end = WalkRow(pmBuffer.Data, pmBuffer.DataLength, &walk);
    *row_length = walk.position;
    return end == WalkEnd::Row ? PxStatus{PXSTC_Success} : NotARow({end, walk}, row_length, fault);
}
