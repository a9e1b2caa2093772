// operator/first_calls.cpp - what PX_Execute checks before the first row.

#include <cstring>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "operator/methods.h"

namespace {

struct FormatName {
    uint32_t format;
    const char *word;
};
// Formats whose records outgrow a job that allows rows of 64 KB only, to be read; and those that a
// longer row does not fit into, to be written.
constexpr FormatName kLongRowFormats[] = {{6, "BINARY4"}, {7, "FORMATTED4"}};
constexpr FormatName kShortRowFormats[] = {{2, "BINARY"}, {3, "FORMATTED"}};
constexpr uint32_t kShortRowsOnly = 64, kLongRowsToo = 1024;  // KB

void ReadJobMaxRowSize()
{
    const void *value = nullptr;
    int32_t length = 0;

    if (Service(SG_opHandle, &PxOperator::PX_GetAttribute, "SYSTEM_JobMaxRowSize_Allow", &value,
                &length) != PXSTC_Success)
        return;
    if (value != nullptr && length >= 0 && length <= static_cast<int32_t>(sizeof JobMaxRowSize))
        memcpy(&JobMaxRowSize, value, static_cast<size_t>(length));
    bJobMaxRowSizeRead = 1;
}

PxStatus CheckDeleteTask()
{
    int32_t operators = 0;

    if (const PxStatus status = ReadRequiredAttribute("SYSTEM_MaxOperators", &operators, 4))
        return status;
    if (TotalInstances >= 2 || operators >= 2) {
        FW_ERROR("Multiple producer instances are not allowed with Delete Task.");
        return FW_Fatal<19168>();
    }
    if (bFileList == kYes || bEnableScan == kYes) {
        FW_ERROR("FileList or Directory Scan features are not allowed with Delete Task.");
        return FW_Fatal<19169>();
    }
    return PXSTC_Success;
}

PxStatus CheckWrittenFormat()
{
    for (const FormatName &row : kShortRowFormats) {
        if (JobMaxRowSize == kLongRowsToo && FileFormat == row.format)
            return FW_Fatal<19165>(row.word);
    }
    return PXSTC_Success;
}

}  // namespace

PxStatus CheckJobRowSize()
{
    if (bJobMaxRowSizeRead == 0)
        ReadJobMaxRowSize();
    if (bWriting != 0)
        return CheckWrittenFormat();
    for (const FormatName &row : kLongRowFormats) {
        if (JobMaxRowSize == kShortRowsOnly && FileFormat == row.format)
            return FW_Fatal<19166>(row.word, static_cast<int64_t>(kShortRowsOnly));
    }
    return PXSTC_Success;
}

PxStatus CheckForDeleteTask()
{
    const void *value = nullptr;
    uint32_t length = 0;

    if (FirstTimeReadSingleRowForZarnDelete == 0)
        return PXSTC_Success;
    FirstTimeReadSingleRowForZarnDelete = 0;
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_ReadUniversalVar,
                                    "SingleRowForZarnDelete", 1U, &value, &length);
    if (status == PXSTC_NotFound)
        return PXSTC_Success;
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_ReadUniversalVar", status);
    if (value == nullptr || length == 0)
        return PXSTC_Success;
    SingleRowForZarnDelete = static_cast<const uint8_t *>(value);
    return *SingleRowForZarnDelete == 1 ? CheckDeleteTask() : PxStatus{PXSTC_Success};
}
