// pm/formats/binary_writer.cpp - pmrwfmtWvli, pmrwfmtWnone: records with a length prefix, and bare ones.
//
// As in text files, records are collected in the I/O buffer and leave it in blocks of at most
// BufferSize bytes, none of them split over two. Who writes is told of a record that is too long by the
// answer alone.

#include <cstring>

#include "pm/formats/formats.h"
#include "pm/formats/length_prefix.h"
#include "pm/pm_trace.h"

namespace {

// No prefix but of four bytes counts further.
constexpr uint32_t kMostInTwoBytes = 0xFFFF;

uint8_t *PutBytes(uint8_t *to, const void *bytes, size_t length)
{
    memcpy(to, bytes, length);
    return to + length;
}

int MakeRoom(pmFile *file, uint64_t bytes)
{
    return file->BufferEnd + bytes > file->BufferSize ? int{file->Dsk.DskWBuf(file)} : pmrcOk;
}

[[gnu::cold]] int TooLong(const pmFile *file, uint64_t length, const char *name)
{
    PM_TRACE(1, "%s=%llu", name, static_cast<unsigned long long>(length));
    PM_TRACE(1, "BufferSize=%u", file->BufferSize);
    PM_TRACE(1, "%s>BufferSize", name);
    return pmrcOverflow;
}

int PutFramed(pmFile *file, const pmRecord &record)
{
    const Frame frame = kFrames[file->Format];
    const uint64_t added = uint64_t{record.DataLength} + frame.prefix + frame.trailer;
    const uint64_t value = uint64_t{record.DataLength} + frame.counted;

    if (added > file->BufferSize || (frame.prefix == 2 && value > kMostInTwoBytes)) [[unlikely]]
        return TooLong(file, added, "AddedLength");
    if (const int code = MakeRoom(file, added); code != pmrcOk)
        return code;
    uint8_t *to = PutBytes(file->Buffer + file->BufferEnd, &value, frame.prefix);
    to = PutBytes(to, record.Data, record.DataLength);
    PutBytes(to, &kTrailer, frame.trailer);
    file->BufferEnd += static_cast<uint32_t>(added);
    return pmrcOk;
}

int PutBare(pmFile *file, const pmRecord &record)
{
    if (record.DataLength > file->BufferSize) [[unlikely]]
        return TooLong(file, record.DataLength, "ReqLength");
    if (const int code = MakeRoom(file, record.DataLength); code != pmrcOk)
        return code;
    PutBytes(file->Buffer + file->BufferEnd, record.Data, record.DataLength);
    file->BufferEnd += record.DataLength;
    return pmrcOk;
}

int Write(pmFile *file, const pmRecord *record, bool flush, int (*put)(pmFile *, const pmRecord &))
{
    if (record == nullptr && !flush)
        return WriteLogicError();
    if (record != nullptr && record->DataLength != 0) {
        if (const int code = put(file, *record); code != pmrcOk)
            return code;
    }
    return flush ? int{file->Dsk.DskWBuf(file)} : pmrcOk;
}

}  // namespace

int pmrwfmtWvli(pmFile *file, const pmRecord *record, bool flush)
{
    return Write(file, record, flush, PutFramed);
}

int pmrwfmtWnone(pmFile *file, const pmRecord *record, bool flush)
{
    return Write(file, record, flush, PutBare);
}
