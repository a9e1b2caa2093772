// delimited/column_close.cpp

#include "delimited/column_close.h"

#include "operator/messages.h"

static constexpr char kRoutine[] = "ScanColumns";

// The column as received, whole.
static bool StopAtColumn(ScanState &s, int32_t column, uint32_t start, uint32_t length)
{
    s.columns.offsets[column - 1] = start;
    s.columns.lengths[column - 1] = length;
    s.columns.indicators[column - 1] = 0;
    return Stop(s, FieldOverflow);
}

bool OverLimit(ScanState &s, int32_t column, uint32_t start, uint32_t length)
{
    if (length > kMaxColumnBytes) {
        s.overflow_column = column;
        if (FW_TraceLvl > 1)
            FW_Trace(kRoutine, TraceKind::Plain, "%s %d (%d) %s (%d)",
                     "Number of characters in column", column, static_cast<int>(length),
                     "exceeds maximum allowed", static_cast<int>(kMaxColumnBytes));
        return StopAtColumn(s, column, start, length);
    }
    if (s.overflow_column == 0)
        s.overflow_column = column;
    if (FW_TraceLvl > 1)
        FW_Trace(kRoutine, TraceKind::Warning, "%s %lld, %s %d. Received %d (max %d).",
                 "VARCHAR field length error on record",
                 static_cast<long long>(FileRecordCount) + 1, "column", column,
                 static_cast<int>(length), static_cast<int>(s.columns.lengths_base[column - 1]));
    if (TruncateColumnsOpt == 0 && bTruncateUTF8 == 0)
        return StopAtColumn(s, column, start, length);
    return true;
}
