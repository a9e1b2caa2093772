// schema/unformatted_rows.cpp - pmfmtRVarNone: unframed rows, whose columns tell where they end.
//
// The walk asks for more bytes where it runs out of them, and goes on at the column that it stopped at: a
// refill moves the row's start to the front of the buffer, so what is walked of it stays as it is.

#include <algorithm>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/formats/formats.h"
#include "pm/pm_trace.h"
#include "schema/schema_state.h"
#include "schema/var_fields.h"

namespace {

// What a row should have and the file has no more: an item of it, and how much of that there is.
struct Missing {
    const char *label;
    uint32_t expected;
    uint64_t at;  // where in the row it begins
};

const char *LengthLabel(uint32_t prefix)
{
    switch (prefix) {
    case 1:
        return "Number Field length";
    case 2:
        return "VARCHAR Field length";
    default:
        return "LOB Field length";
    }
}

// The first item behind the walk that the row's bytes do not reach.
Missing MissingOf(const RowWalk &walk, uint32_t bytes)
{
    if (bytes < NumIndBytes)
        return {"Indicator", NumIndBytes, 0};
    const WalkStep &step = Walk.first[walk.step];
    for (int32_t column = walk.column; column < step.first_with_length; ++column) {
        const uint64_t at = uint64_t{walk.position} + Walk.place_in_run[column];
        if (at + SG_ColLensBase[column] > bytes)
            return {"Data", SG_ColLensBase[column], at};
    }
    const uint64_t data_at = uint64_t{walk.position} + step.prefix;
    if (data_at > bytes)
        return {LengthLabel(step.prefix), step.prefix, walk.position};
    return {"Data", static_cast<uint32_t>(walk.needed - data_at), data_at};
}

int64_t RecordNumber(const pmFile *file) { return int64_t{file->RecCount} + 1; }

[[gnu::cold]] int EndsInARow(const pmFile *file, pmRecord *record, const RowWalk &walk)
{
    const uint32_t bytes = file->BufferEnd - file->BufferPosition;
    const Missing missing = MissingOf(walk, bytes);
    const auto received = static_cast<uint32_t>(bytes - std::min<uint64_t>(missing.at, bytes));

    PM_TRACE(1, "%s: Byte count error; Expected %u, received %u!", missing.label, missing.expected,
             received);
    DumpFileInfo(-1);
    FW_Message<19102>(RecordNumber(file), missing.label, missing.expected, received);
    return NoRecord(record, pmrcDataFormat);
}

[[gnu::cold]] int LobLengthIsDamaged(pmRecord *record)
{
    PM_TRACE(1, "LOB column data length error");
    FW_Message<19151>();
    DumpFileInfo(-1);
    RaiseExitCode(12);
    return NoRecord(record, pmrcSkipped);
}

[[gnu::cold]] int ColumnIsTooLong(const pmFile *file, pmRecord *record, const RowWalk &walk)
{
    const uint32_t most = SG_ColLensBase[walk.column];
    const char *name = SG_ColNames[walk.column];

    if (SG_IsInlineLOB[walk.column] != 0) {
        FW_ERROR("CLOB field length error. Expected max %u, received %u!", most, walk.length);
        DumpFileInfo(-1);
        FW_Message<19102>(RecordNumber(file), LengthLabel(8), most, walk.length);
        return NoRecord(record, pmrcDataFormat);
    }
    // Kept: logs are searched for this line under that name.
    if (Private_loghandle != nullptr)
        FW_Trace("FW_ReadRow", TraceKind::Error,
                 "pmfmtRVarNone: VAR field length error in record %lld, field %d, '%s'. Expected "
                 "max length %u, received %u.",
                 static_cast<long long>(RecordNumber(file)), walk.column + 1, name, most,
                 walk.length);
    DumpFileInfo(-1);
    FW_Message<19112>(RecordNumber(file), walk.column + 1, name, most, walk.length);
    return NoRecord(record, pmrcDataFormat);
}

int RefillUpTo(pmFile *file, uint64_t bytes)
{
    while (file->BufferEnd - file->BufferPosition < bytes) {
        if (const int code = pmReadn2Buf(file); code != pmrcOk)
            return code;
    }
    return pmrcOk;
}

}  // namespace

int pmfmtRVarNone(pmFile *file, pmRecord *record)
{
    RowWalk walk;
    for (;;) {
        uint8_t *row = file->Buffer + file->BufferPosition;
        switch (WalkRow(row, file->BufferEnd - file->BufferPosition, &walk)) {
            [[likely]] case WalkEnd::Row : record->Data = row;
            record->DataLength = walk.position;
            file->BufferPosition += walk.position;
            return pmrcOk;
        case WalkEnd::LobLength:
            return LobLengthIsDamaged(record);
        case WalkEnd::TooLong:
            return ColumnIsTooLong(file, record, walk);
        case WalkEnd::Short:
            break;
        }
        const int code = RefillUpTo(file, walk.needed);
        if (code == pmrcEOF && file->BufferEnd != file->BufferPosition)
            return EndsInARow(file, record, walk);
        if (code != pmrcOk)
            return NoRecord(record, code);
    }
}
