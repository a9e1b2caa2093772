// schema/date_columns.cpp

#include "schema/date_columns.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "schema/schema_state.h"

namespace {

bool IsText(const char *text) { return text != nullptr && text[0] != '\0'; }

PxStatus NoMemory(size_t bytes)
{
    char size[24];
    snprintf(size, sizeof size, "%zu", bytes);
    FW_ERROR("Unable to allocate %zu bytes for date formats", bytes);
    return FW_Fatal<19140>(static_cast<const char *>(size));
}

// Every instance finds the same fault; one of them tells the user.
PxStatus RefuseFormat(int32_t error, const char *name, bool is_input, const char *text,
                      const DateFormat &format)
{
    char where[640];
    snprintf(where, sizeof where, "%s format '%.200s' of column '%.255s', at character %d",
             is_input ? "input" : "output", text, name, format.stopped_at);
    FW_ERROR("%s, %s", DateErrorText(error), where);
    ThrowDateTimeError(error, ThisInstance == 1, where);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

PxStatus AllocateTables()
{
    const auto count = static_cast<size_t>(SG_ColCount);
    if (DateColumns != nullptr)
        return PXSTC_Success;
    DateColumns = static_cast<int32_t *>(calloc(count, sizeof(int32_t)));
    dtEncodedFormatStrsIn = static_cast<DateFormat **>(calloc(count, sizeof(void *)));
    dtEncodedFormatStrsOut = static_cast<DateFormat **>(calloc(count, sizeof(void *)));
    return DateColumns != nullptr && dtEncodedFormatStrsIn != nullptr &&
                   dtEncodedFormatStrsOut != nullptr
               ? PxStatus{PXSTC_Success}
               : NoMemory(count * sizeof(void *));
}

}  // namespace

PxStatus TakeDateFormats(PxColumn *object, const char *name, int32_t at)
{
    const char *input = nullptr, *output = nullptr;
    const PxStatus status = Service(object, &PxColumn::PX_GetColumnDateFormats, &input, &output, 0);
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_GetColumnDateFormats", status);
    if (!IsText(input) || !IsText(output))
        return PXSTC_Success;
    if (const PxStatus no_memory = AllocateTables())
        return no_memory;
    DateFormat *&in = dtEncodedFormatStrsIn[at] = new (std::nothrow) DateFormat;
    DateFormat *&out = dtEncodedFormatStrsOut[at] = new (std::nothrow) DateFormat;
    if (in == nullptr || out == nullptr)
        return NoMemory(sizeof(DateFormat));
    int32_t error = kDateOk;
    if (PX_EncodeFormatStrings(input, output, in, out, &error) != PXSTC_Success) {
        const bool is_input = in->stopped_at != 0;
        return RefuseFormat(error, name, is_input, is_input ? input : output,
                            is_input ? *in : *out);
    }
    DateColumns[DateColumnCount++] = at;
    FW_TRACE(1, "Column '%s': dates are reformatted from '%s' to '%s'", name, input, output);
    return PXSTC_Success;
}

PxStatus AllocateDateRow()
{
    return DateColumnCount == 0
               ? PxStatus{PXSTC_Success}
               : ReserveDateRow(std::min(TotalFixedLength, static_cast<uint32_t>(BufferSize)));
}

// UTF-16 doubles what a date may need. The slack lets the row be copied in whole vectors.
PxStatus ReserveDateRow(uint32_t row_length)
{
    constexpr size_t kSlack = 64;
    const size_t bytes =
        size_t{row_length} + 2 * kMaxDateOutput * static_cast<size_t>(DateColumnCount) + kSlack;
    free(dtOutputRow);
    dtOutputRow = static_cast<uint8_t *>(calloc(bytes, 1));
    if (dtOutputRow == nullptr)
        return NoMemory(bytes);
    dtInputRowLimit = row_length;
    return PXSTC_Success;
}

void FreeDateColumns()
{
    for (int32_t i = 0; i < SG_ColCount && dtEncodedFormatStrsIn != nullptr; ++i)
        delete dtEncodedFormatStrsIn[i];
    for (int32_t i = 0; i < SG_ColCount && dtEncodedFormatStrsOut != nullptr; ++i)
        delete dtEncodedFormatStrsOut[i];
    free(DateColumns);
    free(dtEncodedFormatStrsIn);
    free(dtEncodedFormatStrsOut);
    free(dtOutputRow);
    DateColumns = nullptr;
    dtEncodedFormatStrsIn = dtEncodedFormatStrsOut = nullptr;
    dtOutputRow = nullptr;
    dtInputRowLimit = 0;
    DateColumnCount = 0;
}
