// operator/file_info.cpp - FW_FenwireFileInfo: file attributes, schema, parsing case, buffer size.

#include <cstdio>

#include "attributes/attributes.h"
#include "delimited/delimited.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "rows/changed_rows.h"
#include "schema/establish.h"
#include "schema/schema_state.h"

namespace {

constexpr int32_t kExpandedBuffer = 1048586, kSharedBuffer = 1048575;

// Before the schema, whose rules look at it.
void SetBufferSize()
{
    BufferSize =
        OperatorType == 1 && bAllowMultiInstanceRead != 0 ? kSharedBuffer : kExpandedBuffer;
    if (OperatorType == 1)
        FW_TRACE(1, "%s: %d (default)", "BufferSize", BufferSize);
}

void RaiseConsumerBufferSize()
{
    if (OperatorType == 1)
        return;
    if (TotalFixedLength > static_cast<uint32_t>(BufferSize) && TotalFixedLength <= INT32_MAX) {
        FW_TRACE(1, "TotalFixedLength greater than EXPANDED_BUFSIZE: %u > %d", TotalFixedLength,
                 kExpandedBuffer);
        BufferSize = static_cast<int32_t>(TotalFixedLength);
    }
    FW_TRACE(1, "%s: %d", "BufferSize", BufferSize);
}

PxStatus ValidateParsingCase()
{
    if (bValidateParsingCase == 0)
        return PXSTC_Success;
    if (ValidateUDDIcase() != 0) {
        FW_ERROR("Invalid UDDI parsing case-");
        return FW_Fatal<19160>();
    }
    bUsingUDDI = 1;
    return PXSTC_Success;
}

void ClearCounters()
{
    RowCount = RowsSkipped = 0;
    FileRecordCount = FileRowCount = FileRowsSkipped = 0;
    ForgetChangedRows();
}

}  // namespace

PxStatus FW_FenwireFileInfo()
{
    if (const PxStatus status = ReadFileAttributes())
        return status;
    if (const PxStatus status = SetUpRecordErrorFile())
        return status;
    if (const PxStatus status = ReadErrorFileAttributes())
        return status;
    SetBufferSize();
    if (const PxStatus status = FW_EstablishSchema())
        return MapStatus(status);
    if (const PxStatus status = ValidateParsingCase())
        return status;
    RaiseConsumerBufferSize();
    ClearCounters();
    return PXSTC_Success;
}
