// delimited/assemble.cpp

#include "delimited/assemble.h"

#include <algorithm>
#include <cstring>

#include "attributes/attributes.h"
#include "delimited/delimited_state.h"
#include "operator/messages.h"
#include "schema/schema_state.h"

uint32_t PackColumns(const uint8_t *record)
{
    const uint32_t *lengths = SG_ColLens;
    uint32_t *offsets = SG_ColOffs;
    uint8_t *to = TargetBuffer;

    for (int32_t i = 0, count = SG_ColCount; i < count; ++i) {
        const uint8_t *from = record + offsets[i];
        const uint32_t length = lengths[i];
        offsets[i] = static_cast<uint32_t>(to - TargetBuffer);
        if (length <= kCopySlack) [[likely]]
            memcpy(to, from, kCopySlack);
        else
            memcpy(to, from, length);
        to += length;
    }
    return static_cast<uint32_t>(to - TargetBuffer);
}

void TraceRow(const uint8_t *row, int32_t columns_found)
{
    constexpr uint32_t kShown = 20;
    static constexpr char kRoutine[] = "ExtractDelimitedText";

    FW_Trace(kRoutine, TraceKind::Plain, "Row: %lld, ColCount=%d",
             static_cast<long long>(FileRecordCount) + 1, columns_found);
    FW_Trace(kRoutine, TraceKind::Plain, "Col  Offset  Length  Ind Contents");
    for (int32_t i = 0; i < columns_found; ++i) {
        if (i >= SG_ColCount) {
            FW_Trace(kRoutine, TraceKind::Plain, "%3d OVERFLOW", i + 1);
            continue;
        }
        const uint8_t *value = row + SG_ColOffs[i];
        const uint32_t shown = std::min(SG_ColLens[i], kShown);
        FW_Trace(kRoutine, TraceKind::Plain, "%3d %7u %7u %3d  '%.*s'%s", i + 1, SG_ColOffs[i],
                 SG_ColLens[i], SG_IndBytes[i], static_cast<int>(shown),
                 reinterpret_cast<const char *>(value), SG_ColLens[i] > kShown ? "<truncated" : "");
        FW_Trace(kRoutine, TraceKind::Plain, "                        %s", pHEXvalue(value, shown));
    }
}
