// delimited/raw_record.cpp

#include "delimited/raw_record.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "delimited/delimited_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"

bool GrowRawCopy(size_t bytes)
{
    if (RawCopy != nullptr && bytes <= RawCopySize)
        return true;
    const size_t size = std::max(bytes, 2 * RawCopySize);  // few steps, when records grow slowly
    auto *grown = static_cast<uint8_t *>(malloc(size));
    if (grown == nullptr) {
        snprintf(ExtractErrMsg, sizeof ExtractErrMsg, "%s %s %zu bytes.",
                 "Unable to reallocate memory for delimited data",
                 "original buffer. Memory requested", size);
        FW_ERROR("%s", ExtractErrMsg);
        return false;
    }
    free(RawCopy);
    RawCopy = grown;
    RawCopySize = size;
    return true;
}

void KeepRawRecord()
{
    memcpy(RawCopy, pmBufferOrig.Data, pmBufferOrig.DataLength);
    pmBufferOrig.Data = RawCopy;
}

void FreeRawCopy()
{
    free(RawCopy);
    RawCopy = nullptr;
    RawCopySize = 0;
    pmBufferOrig = {};
}
