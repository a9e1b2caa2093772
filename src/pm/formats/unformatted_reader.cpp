// pm/formats/unformatted_reader.cpp - pmrwfmtRnone: records without any frame, as long as they are asked for.

#include <algorithm>

#include "pm/formats/formats.h"
#include "pm/pm_trace.h"

namespace {

[[gnu::cold]] int CantBeAsked(const pmFile *file, pmRecord *record, uint32_t wanted)
{
    PM_TRACE(1, "ReqLength=%u", wanted);
    PM_TRACE(1, "BufferSize=%u", file->BufferSize);
    if (wanted == 0)  // and would be answered for ever
        return NoRecord(record, pmrcBadParameter);
    PM_TRACE(1, "ReqLength>BufferSize");
    return NoRecord(record, pmrcOverflow);
}

}  // namespace

int pmrwfmtDnone(pmFile *) { return pmrcOk; }

int pmrwfmtRnone(pmFile *file, pmRecord *record)
{
    const uint32_t wanted = record->DataLength;
    int code = pmrcOk;

    if (wanted == 0 || wanted > file->BufferSize) [[unlikely]]
        return CantBeAsked(file, record, wanted);
    while (file->BufferEnd - file->BufferPosition < wanted && code == pmrcOk)
        code = pmReadn2Buf(file);
    const uint32_t length = std::min(wanted, file->BufferEnd - file->BufferPosition);
    if (code != pmrcOk && (code != pmrcEOF || length == 0)) [[unlikely]]
        return NoRecord(record, code);
    record->Data = file->Buffer + file->BufferPosition;
    record->DataLength = length;
    file->BufferPosition += length;
    return pmrcOk;
}
