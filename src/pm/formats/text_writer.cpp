// pm/formats/text_writer.cpp - pmrwfmtWtext: records of TEXT and DELIMITED files, to be written.
//
// Records are collected in the I/O buffer, each with its mark behind it, and leave it in blocks of at
// most BufferSize bytes. No record is split over two blocks.

#include <cstring>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/formats/formats.h"
#include "pm/pm_state.h"
#include "pm/pm_trace.h"

namespace {

constexpr uint8_t kLf = 0x0A;

void PutBytes(pmFile *file, const void *bytes, uint32_t length)
{
    if (length == 0)
        return;  // and no address either
    memcpy(file->Buffer + file->BufferEnd, bytes, length);
    file->BufferEnd += length;
}

int PutUtf16ByteOrderMark(pmFile *file)
{
    if (file->Endian != kBigEndian && file->Endian != kLittleEndian) {
        PM_TRACE(1, "Invalid %s BOM (FileInfo->Endian) setting!", "UTF16");
        return WriteLogicError();
    }
    const bool little = file->Endian == kLittleEndian;
    PM_TRACE(1, "Prepending %s endian Byte Order Mark (BOM)", little ? "LITTLE" : "BIG");
    PutBytes(file, little ? "\xFF\xFE" : "\xFE\xFF", 2);
    return pmrcOk;
}

int PutByteOrderMark(pmFile *file)
{
    switch (CharSetFamily) {
    case kFamilyUtf16:
        return PutUtf16ByteOrderMark(file);
    case kFamilyUtf8:
        PM_TRACE(1, "Prepending UTF8 Byte Order Mark (BOM)");
        PutBytes(file, "\xEF\xBB\xBF", 3);
        return pmrcOk;
    default:
        PM_TRACE(1, "Creating UTF file without byte order mark");
        return pmrcOk;
    }
}

int TooLong(const pmFile *file, uint64_t needed)
{
    PM_TRACE(1, "ReqLength=%llu", static_cast<unsigned long long>(needed));
    PM_TRACE(1, "BufferSize=%u", file->BufferSize);
    PM_TRACE(1, "ReqLength+1>BufferSize");
    FW_Message<19471>(static_cast<int64_t>(needed), file->BufferSize);
    return pmrcOverflow;
}

int PutRecord(pmFile *file, const pmRecord &record)
{
    if (file->EORLength == 0)
        SetWriterMark(file);
    if (file->BeginningOfFile != 0 && bWriteBOM != 0) {
        if (const int code = PutByteOrderMark(file); code != pmrcOk)
            return code;
    }
    const uint64_t needed = uint64_t{record.DataLength} + file->EORLength;
    if (needed > file->BufferSize)
        return TooLong(file, needed);
    if (file->BufferEnd + needed > file->BufferSize) {
        if (const int code = file->Dsk.DskWBuf(file); code != pmrcOk)
            return code;
    }
    PutBytes(file, record.Data, record.DataLength);
    PutBytes(file, file->EOR, file->EORLength);
    return pmrcOk;
}

}  // namespace

// Kept: whichever writer it is, the trace names the text writer.
int WriteLogicError()
{
    constexpr char kWords[] = "Internal logic error in PMRWFMT";
    if (pmTraceLvl > 1)
        pmTraceLine("pmrwfmtWtext", "!ERROR! %s", kWords);
    pmSetErrTxt(kWords, sizeof kWords - 1);
    return pmrcText;
}

void SetWriterMark(pmFile *file)
{
    const bool wide = CharSetFamily == kFamilyUtf16;
    const bool little = file->Endian == kLittleEndian;
    file->EORLength = wide ? 2 : 1;
    memset(file->EOR, 0, sizeof file->EOR);
    file->EOR[wide && !little ? 1 : 0] = kLf;
}

int pmrwfmtWtext(pmFile *file, const pmRecord *record, bool flush)
{
    if (record == nullptr && !flush)
        return WriteLogicError();
    if (record != nullptr && (record->DataLength != 0 || file->bExact != 0)) {
        if (const int code = PutRecord(file, *record); code != pmrcOk)
            return code;
    }
    return flush ? file->Dsk.DskWBuf(file) : pmrcOk;
}
