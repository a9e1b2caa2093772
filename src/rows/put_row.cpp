// rows/put_row.cpp - FW_CheckPutRow: one row, checked and handed over.

#include <algorithm>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/rows.h"
#include "schema/schema_state.h"

static PxStatus LengthDiffers(uint32_t length, uint32_t expected)
{
    FW_WARN(1, "Length of record read does not match data schema");
    FW_WARN(1, "%s %u.  %s %u %s %s %u %s.", " Processing record", pmBuffer.RecCount, "Read",
            length, "bytes,", "schema required", expected, "bytes");
    DumpFileInfo(-1);
    FW_Message<19113>(expected, length);
    return PXSTC_Length;
}

static void TraceRow(const uint8_t *row, uint32_t length)
{
    static constexpr char kRoutine[] = "FW_CheckPutRow";
    const auto handle = static_cast<int>(reinterpret_cast<intptr_t>(schemaHandle));

    if (SG_IndicatorData != 0)
        FW_Trace(kRoutine, TraceKind::Plain, "Data to PX_PutRow: SH=%d INDICATOR DATA", handle);
    else
        FW_Trace(kRoutine, TraceKind::Plain, "Data to PX_PutRow: SH=%d ColCount=%d", handle,
                 SG_ColCount);
    for (int32_t i = 0; i < SG_ColCount; ++i)
        FW_Trace(kRoutine, TraceKind::Plain, "Schema: col=%d, Ind=%d, Len=%u, off=%u", i + 1,
                 SG_IndBytes[i], SG_ColLens[i], SG_ColOffs[i]);
    FW_Dump(kRoutine, "", row, std::min<uint32_t>(length, MaxBytesToDump));
}

PxStatus PutRowFailed(PxStatus status)
{
    return ServiceFailed("FW_CheckPutRow", "PX_PutRow", status);
}

PxStatus FW_CheckPutRow(const uint8_t *row, uint32_t length, uint32_t expected_length)
{
    if (length != expected_length) [[unlikely]]
        return LengthDiffers(length, expected_length);
    // Buffer mode packs the row into its buffer instead.
    if (FW_TraceLvl > 3) [[unlikely]]
        TraceRow(row, length);
    if (SG_IndicatorData != 0)  // the data begins with the indicator bytes
        return AnswerOfPutRow(
            Service(schemaHandle, &PxSchema::PX_PutRow, 0, nullptr, nullptr, nullptr, row, length));
    return PutRow({row, length, SG_ColOffs, SG_ColLens, SG_IndBytes});
}
