// rows/insert_filename.cpp - a row with its file's name in a column of its own.
//
//     record  | columns in front | columns behind |
//     row     | columns in front | name | columns behind |
//
// The record is never touched: it is copied once, around the name, into FilenameRow, whose arrays
// have one column more. While the row is handed over they stand in for the column arrays. Indicator
// bytes at a record's head tell of the file's own columns; in the row they get the name's bit.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/rows.h"
#include "schema/schema_state.h"

namespace {

struct ColumnArrays {
    int32_t count;
    uint8_t *indicators;
    uint32_t *offsets, *lengths;
};

ColumnArrays ExchangeColumns(const ColumnArrays &with)
{
    const ColumnArrays before = {SG_ColCount, SG_IndBytes, SG_ColOffs, SG_ColLens};
    SG_ColCount = with.count;
    SG_IndBytes = with.indicators;
    SG_ColOffs = with.offsets;
    SG_ColLens = with.lengths;
    return before;
}

uint32_t NameBytes()
{
    return static_cast<uint32_t>(InsertFilenamePrefixLen + InsertFilenameColLen);
}

uint32_t ColumnsInFront() { return static_cast<uint32_t>(InsertFilenameColNum) - 1; }

uint32_t IndicatorBytes()  // of the widened row
{
    return NumIndBytes == 0 ? 0 : static_cast<uint32_t>(SG_ColCount) / 8 + 1;
}

// Where the record's columns in front of the name end. Without variable fields the offsets are the
// schema's, which knows of no indicator bytes.
uint32_t EndOfFront(const RowView &record)
{
    const uint32_t in_front = ColumnsInFront();
    uint64_t end = NumIndBytes;
    if (in_front > 0)
        end = uint64_t{record.offsets[in_front - 1]} + record.lengths[in_front - 1] +
              (SG_VARtypesFlag == 0 ? NumIndBytes : 0);
    return static_cast<uint32_t>(std::min<uint64_t>(end, record.length));
}

void WidenIndicators(const uint8_t *record, uint8_t *row, uint32_t row_bytes)
{
    const auto columns = static_cast<uint32_t>(SG_ColCount);
    memset(row, 0, row_bytes);
    for (uint32_t i = 0; i < columns; ++i) {
        const uint32_t to = i < ColumnsInFront() ? i : i + 1;
        if ((record[i / 8] & (128U >> (i % 8))) != 0)
            row[to / 8] |= static_cast<uint8_t>(128U >> (to % 8));
    }
}

uint8_t *Append(uint8_t *to, const void *from, size_t length)
{
    memcpy(to, from, length);
    return to + length;
}

void CopyRow(const RowView &record, uint32_t front_end)
{
    uint8_t *to = FilenameRow.bytes;
    const auto prefix = static_cast<uint16_t>(InsertFilenameColLen);

    if (const uint32_t bytes = IndicatorBytes(); bytes != 0) {
        WidenIndicators(record.data, to, bytes);
        to += bytes;
    }
    to = Append(to, record.data + NumIndBytes, front_end - NumIndBytes);
    if (InsertFilenamePrefixLen != 0)
        to = Append(to, &prefix, sizeof prefix);
    to = Append(to, CurrentFilename, static_cast<size_t>(InsertFilenameColLen));
    Append(to, record.data + front_end, record.length - front_end);
}

void WidenArrays(const RowView &record, uint32_t front_end)
{
    const WidenedRow &row = FilenameRow;
    const uint32_t at = ColumnsInFront(), behind = static_cast<uint32_t>(SG_ColCount) - at;
    const uint32_t shift = IndicatorBytes() - NumIndBytes, shift_behind = shift + NameBytes();

    memcpy(row.indicators, record.indicators, at);
    memcpy(row.indicators + at + 1, record.indicators + at, behind);
    memcpy(row.lengths, record.lengths, at * sizeof *row.lengths);
    memcpy(row.lengths + at + 1, record.lengths + at, behind * sizeof *row.lengths);
    for (uint32_t i = 0; i < at; ++i)
        row.offsets[i] = record.offsets[i] + shift;
    for (uint32_t i = at; i < at + behind; ++i)
        row.offsets[i + 1] = record.offsets[i] + shift_behind;
    row.indicators[at] = 0;
    row.lengths[at] = static_cast<uint32_t>(InsertFilenameColLen);
    row.offsets[at] = front_end + shift + static_cast<uint32_t>(InsertFilenamePrefixLen);
}

PxStatus RowTooLong(uint64_t length)
{
    char shown[24], limit[24];
    snprintf(shown, sizeof shown, "%llu", static_cast<unsigned long long>(length));
    snprintf(limit, sizeof limit, "%d", BufferSize);
    FW_ERROR("%s (%s), %s (%d), %s %s (%s)", "Current record length", shown,
             "including inserted filename", CurrentFilenameLen, "exceeds allowed", "IOBufferSize",
             limit);
    DumpFileInfo(-1);
    return FW_Fatal<19156>(static_cast<const char *>(shown), static_cast<const char *>(limit));
}

}  // namespace

PxStatus PutRowWithFilename(const RowView &record)
{
    const uint64_t widened = uint64_t{record.length} + NameBytes() + IndicatorBytes() - NumIndBytes;
    if (widened > static_cast<uint64_t>(BufferSize)) [[unlikely]]
        return RowTooLong(widened);

    const uint32_t front_end = EndOfFront(record);
    CopyRow(record, front_end);
    WidenArrays(record, front_end);
    // Buffer mode, which packs by the columns' types, will need these widened too.
    const ColumnArrays own = ExchangeColumns(
        {SG_ColCount + 1, FilenameRow.indicators, FilenameRow.offsets, FilenameRow.lengths});
    const auto row_length = static_cast<uint32_t>(widened);
    const PxStatus status = FW_CheckPutRow(FilenameRow.bytes, row_length, row_length);
    ExchangeColumns(own);
    return status;
}

PxStatus CheckPutRowWithFilename(uint32_t expected_length)
{
    const uint32_t length = pmBuffer.DataLength;
    if (length != expected_length) [[unlikely]]
        return FW_CheckPutRow(pmBuffer.Data, length, expected_length);  // refused by its own length
    return PutRowWithFilename({pmBuffer.Data, length, SG_ColOffs, SG_ColLens, SG_IndBytes});
}
