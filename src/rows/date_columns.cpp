// rows/date_columns.cpp
//
// The old row is copied into dtOutputRow in as many pieces as there are dates, each date converted right
// into its place between them. What lies between columns that are not packed goes along. Columns behind
// a date whose length changed move by the difference; where no length changes, no other column is touched.

#include "rows/date_columns.h"

#include <cstdio>
#include <cstring>

#include "attributes/attributes_state.h"
#include "delimited/assemble.h"
#include "delimited/delimited_state.h"
#include "delimited/verdict.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/bad_records.h"
#include "schema/date_columns.h"
#include "schema/schema_state.h"

namespace {

struct Rewrite {
    const uint8_t *row;
    uint32_t row_length;
    uint8_t *to;
    uint32_t taken = 0;   // bytes of the old row that are dealt with
    uint32_t shift = 0;   // of the columns behind, modulo 2^32
    int32_t unmoved = 0;  // first column whose offset is still the old one
};

std::string_view Value(const uint8_t *row, int32_t column)
{
    return {reinterpret_cast<const char *>(row) + SG_ColOffs[column], SG_ColLens[column]};
}

void CopyUpTo(uint32_t end, Rewrite &r)
{
    memcpy(r.to, r.row + r.taken, end - r.taken);
    r.to += end - r.taken;
    r.taken = end;
}

void MoveColumnsUpTo(int32_t end, Rewrite &r)
{
    for (; r.unmoved < end && r.shift != 0; ++r.unmoved)
        SG_ColOffs[r.unmoved] += r.shift;
    r.unmoved = end;
}

int32_t RewriteDate(int32_t column, Rewrite &r)
{
    const DateFormat *input = dtEncodedFormatStrsIn[column];
    const DateFormat *output = dtEncodedFormatStrsOut[column];
    const std::string_view value = Value(r.row, column);
    int32_t error = kDateOk;
    uint32_t length = 0;

    // Columns stand in the row in their order. One of a scan that stopped may not be in it.
    if (SG_ColOffs[column] < r.taken || SG_ColOffs[column] + value.size() > r.row_length)
        return kNothingGiven;
    CopyUpTo(SG_ColOffs[column], r);
    auto *area = reinterpret_cast<char *>(r.to);
    if (CharSetFamily == kFamilyUtf16)
        PX_ConvertDateTime_utf16(input, output, value, DataEndian, area, &length, &error);
    else
        PX_ConvertDateTime(input, output, value, area, &length, &error);
    if (error != kDateOk)
        return error;
    MoveColumnsUpTo(column + 1, r);
    SG_ColLens[column] = length;
    r.taken += static_cast<uint32_t>(value.size());
    r.shift += length - static_cast<uint32_t>(value.size());
    r.to += length;
    return kDateOk;
}

// The value as a log may show it: printable, and not longer than needed to find it.
void Show(std::string_view value, char *shown, size_t room)
{
    const size_t step = CharSetFamily == kFamilyUtf16 ? 2 : 1;
    const size_t low = step == 2 && DataEndian == kBigEndian ? 1 : 0;
    size_t used = 0;
    for (size_t i = low; i < value.size() && used + 1 < room; i += step)
        shown[used++] = value[i] >= ' ' && value[i] <= '~' ? value[i] : '?';
    shown[used] = '\0';
}

// "'31/04/2024' in column 'ordered' (format 'DD/MM/YYYY'), record 2 of '/in/a.csv'"
void DescribeFault(int32_t error, char *text, size_t room)
{
    const int32_t column = VerdictColumn - 1;
    char value[65] = "";

    if (error != kNothingGiven)
        Show(Value(pmBuffer.Data, column), value, sizeof value);
    snprintf(text, room, "'%s' in column '%.255s' (format '%s'), record %lld of '%.4095s'", value,
             SG_ColNames[column], dtEncodedFormatStrsIn[column]->text,
             static_cast<long long>(FileRecordCount) + 1, CurrentFullPath);
}

PxStatus RefuseDate(int32_t error)
{
    const int32_t message = ThrowDateTimeError(error, false, "");
    char where[5120], reason[64];

    DescribeFault(error, where, sizeof where);
    snprintf(reason, sizeof reason, "QLX%05d: pxdatetime reformatting error.", message);
    if (SG_ContinueOnRowError != 0)
        FW_WARN(1, "%s %s, %s", reason, DateErrorText(error), where);
    const PxStatus status = LeaveOutRecord(
        {.reason = reason, .message = static_cast<uint32_t>(message), .column = VerdictColumn});
    if (status != PXSTC_Success)
        return status;
    DumpFileInfo(-1);
    ThrowDateTimeError(error, true, where);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

}  // namespace

int32_t FormatVarDateColsInRow()
{
    Rewrite r{.row = pmBuffer.Data, .row_length = pmBuffer.DataLength, .to = dtOutputRow};

    for (int32_t i = 0; i < DateColumnCount; ++i) {
        const int32_t column = DateColumns[i];
        if (SG_ColLens[column] == 0)
            continue;
        if (const int32_t error = RewriteDate(column, r)) [[unlikely]] {
            VerdictColumn = column + 1;
            return error;
        }
    }
    CopyUpTo(r.row_length, r);
    MoveColumnsUpTo(SG_ColCount, r);
    pmBuffer.Data = dtOutputRow;
    pmBuffer.DataLength = static_cast<uint32_t>(r.to - dtOutputRow);
    if (FW_TraceLvl > 4) [[unlikely]] {
        FW_TRACE(4, "After VARDATE Formatting");
        TraceRow(dtOutputRow, SG_ColCount);
    }
    return kDateOk;
}

PxStatus ReformatDates(int32_t verdict)
{
    if (verdict != RowComplete && !IsTolerated(static_cast<Verdict>(verdict)))
        return PXSTC_Success;
    if (pmBuffer.DataLength > dtInputRowLimit) [[unlikely]] {
        if (const PxStatus status = ReserveDateRow(pmBuffer.DataLength))
            return status;
    }
    const int32_t error = FormatVarDateColsInRow();
    return error == kDateOk ? PxStatus{PXSTC_Success} : RefuseDate(error);
}
