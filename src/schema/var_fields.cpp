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

constexpr uint32_t kMostInARow = 0xFFFF;  // of a large object: the other six bytes must be zero

uint32_t PrefixOfColumn(int32_t column)
{
    if (SG_IsVarType[column] == 0)
        return 0;
    if (SG_ColTypes[column] == kTypeNumber)
        return 1;
    return SG_IsInlineLOB[column] != 0 ? 8 : 2;
}

// A step takes fixed columns up to the first with a length, and then such of one width.
bool Takes(const WalkStep &step, uint32_t prefix)
{
    return step.first_with_length == step.end || prefix == step.prefix;
}

void AddColumn(int32_t column, uint32_t prefix, WalkStep *step)
{
    step->end = column + 1;
    if (prefix != 0) {
        step->prefix = prefix;
        return;
    }
    Walk.place_in_run[column] = step->run_bytes;
    step->run_bytes += SG_ColLensBase[column];
    step->first_with_length = column + 1;
}

PxStatus NoMemoryForSteps(size_t bytes)
{
    char size[24];
    snprintf(size, sizeof size, "%zu", bytes);
    FW_ERROR("Unable to allocate %zu bytes for the steps of a row", bytes);
    return FW_Fatal<19140>(static_cast<const char *>(size));
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

// Where a walk is while it goes on: apart from what it leaves behind, so that it stays in registers.
struct Place {
    const uint8_t *row;
    uint32_t bytes, position;
    int32_t column;
};

// The walk stays in front of the column, and is done again from there once there are more bytes.
[[gnu::cold]] WalkEnd RunsShort(const Place &at, uint64_t needed, RowWalk *walk)
{
    walk->position = at.position;
    walk->column = at.column;
    walk->needed = needed;
    return WalkEnd::Short;
}

[[gnu::cold]] WalkEnd LengthCantBe(const Place &at, uint64_t length, RowWalk *walk)
{
    walk->position = at.position;
    walk->column = at.column;
    walk->length = static_cast<uint32_t>(length);
    return length > kMostInARow ? WalkEnd::LobLength : WalkEnd::TooLong;
}

void FindFixed(const WalkStep &step, Place &at)
{
    for (; at.column < step.first_with_length; ++at.column)
        SG_ColOffs[at.column] = at.position + Walk.place_in_run[at.column];
    at.position += step.run_bytes;
}

template <class Length>
[[gnu::always_inline]] inline WalkEnd FindByLength(int32_t end, Place &at, RowWalk *walk)
{
    uint32_t *const offsets = SG_ColOffs, *const lengths = SG_ColLens;
    const uint32_t *const most = SG_ColLensBase;

    for (; at.column < end; ++at.column) {
        Length length = 0;
        if (at.bytes - at.position < sizeof length) [[unlikely]]
            return RunsShort(at, uint64_t{at.position} + sizeof length, walk);
        memcpy(&length, at.row + at.position, sizeof length);
        if (length > most[at.column] || length > kMostInARow) [[unlikely]]
            return LengthCantBe(at, length, walk);
        const auto data = static_cast<uint32_t>(at.position + sizeof length);
        if (length > at.bytes - data) [[unlikely]]
            return RunsShort(at, uint64_t{data} + length, walk);
        offsets[at.column] = data;
        lengths[at.column] = static_cast<uint32_t>(length);
        at.position = data + static_cast<uint32_t>(length);
    }
    return WalkEnd::Row;
}

[[gnu::always_inline]] inline WalkEnd FindByLengths(const WalkStep &step, Place &at, RowWalk *walk)
{
    switch (step.prefix) {
    case 1:
        return FindByLength<uint8_t>(step.end, at, walk);
    case 2:
        return FindByLength<uint16_t>(step.end, at, walk);
    default:
        return FindByLength<uint64_t>(step.end, at, walk);
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
        const uint32_t prefix = PrefixOfColumn(column);
        if (!Takes(*step, prefix))
            *++step = {.first_with_length = column, .end = column};
        AddColumn(column, prefix, step);
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
    Place at = {row, bytes, walk->column == 0 ? NumIndBytes : walk->position, walk->column};
    if (at.position > bytes) [[unlikely]]
        return RunsShort(at, at.position, walk);
    for (uint32_t i = walk->step; i < Walk.steps; ++i) {
        const WalkStep &step = Walk.first[i];
        walk->step = i;
        if (at.column < step.first_with_length) {
            if (bytes - at.position < step.run_bytes) [[unlikely]]
                return RunsShort(at, uint64_t{at.position} + step.run_bytes, walk);
            FindFixed(step, at);
        }
        const WalkEnd end = FindByLengths(step, at, walk);
        if (end != WalkEnd::Row) [[unlikely]]
            return end;
    }
    walk->position = at.position;
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
        DumpFileInfo(-1);
    } else {
        FW_ERROR("CONFIRM_COL_LEN_OK: VAR field length error in record %lld, field %d, '%s'. "
                 "Expected max length %u, received %u.",
                 static_cast<long long>(record), walk.column + 1, SG_ColNames[walk.column],
                 SG_ColLensBase[walk.column], walk.length);
        DumpFileInfo(-1);
        FW_Message<19112>(record, walk.column + 1, SG_ColNames[walk.column],
                          SG_ColLensBase[walk.column], walk.length);
    }
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
