// pm/formats/length_prefixed_reader.cpp - pmrwfmtRvli: records that begin with their length.
//
// A record is served where it lies, once all of it is in the buffer. Until then BufferPosition stays at
// its prefix, so that a pipe that falls silent within a record may be asked again. A prefix is believed
// only as far as the buffer reaches: a longer record is refused before anything is read for it.

#include <cstdio>
#include <cstring>

#include "operator/messages.h"
#include "pm/formats/formats.h"
#include "pm/formats/length_prefix.h"
#include "pm/pm_trace.h"

namespace {

// Kept: of a prefix of four bytes only the first two change places, as the writers of such files
// expect it.
uint32_t ValueOfPrefix(const uint8_t *at, const Frame &frame, bool flip)
{
    uint16_t low = 0, high = 0;
    memcpy(&low, at, sizeof low);
    if (frame.prefix == 4)
        memcpy(&high, at + 2, sizeof high);
    if (flip) [[unlikely]]
        low = __builtin_bswap16(low);
    return static_cast<uint32_t>(high) << 16 | low;
}

[[gnu::cold]] int LengthCantBe(const pmFile *file, pmRecord *record, int64_t needed)
{
    PM_TRACE(1, "NeededLength=%lld", static_cast<long long>(needed));
    PM_TRACE(1, "BufferSize=%u", file->BufferSize);
    PM_TRACE(1, "NeededLength>BufferSize");
    FW_Message<19473>(static_cast<int64_t>(FileRecordCount + 1), needed, file->BufferSize);
    return NoRecord(record, pmrcOverflow);
}

int NotARecord(const pmFile *file, pmRecord *record, const char *what)
{
    FW_Message<19989>(static_cast<const char *>(file->FName), int64_t{file->RecCount} + 1,
                      static_cast<int64_t>(file->BufferOffset + file->BufferPosition), what);
    return NoRecord(record, pmrcDataFormat);
}

[[gnu::cold]] int NoTrailer(const pmFile *file, pmRecord *record, uint32_t length)
{
    char what[80];
    const uint8_t byte = record->Data[length];

    PM_TRACE(1, "FileInfo->BufferPosition=%u", file->BufferPosition);
    PM_TRACE(1, "format error on record=%u", file->RecCount + 1);
    if (pmTraceLvl > 1)
        pmHexDmp(kDumpMessage, kDumpBytes, record->Data, length, "format error on record=", true);
    PM_TRACE(1, "reclen=%u", length);
    PM_TRACE(1, "UNX term char=%02X", byte);
    snprintf(what, sizeof what, "has %02X behind its %u bytes, where 0A or 0D should be", byte,
             length);
    return NotARecord(file, record, what);
}

// What is left in front of the end is less than a record.
[[gnu::cold]] int EndOfFile(const pmFile *file, pmRecord *record, const Frame &frame)
{
    const uint32_t rest = file->BufferEnd - file->BufferPosition;
    if (rest == 0)
        return NoRecord(record, pmrcEOF);
    if (frame.trailer == 0) {
        // Kept: files without trailers end with their last whole record, so that one that is still being
        // written can be read. What is left over is told of: it may be a file that lost its end.
        PM_TRACE(1, "!WARNING! %u bytes behind the last record are no record", rest);
        FW_Message<19986>(static_cast<const char *>(file->FName), rest, int64_t{file->RecCount});
        RaiseExitCode(4);
        return NoRecord(record, pmrcEOF);
    }
    PM_TRACE(1, "!ERROR! %s", "EOF encountered before expected EOR");
    return NotARecord(file, record, "is cut off by the end of the file");
}

}  // namespace

int pmrwfmtRvli(pmFile *file, pmRecord *record)
{
    const Frame frame = kFrames[file->Format];
    for (;;) {
        const uint32_t unread = file->BufferEnd - file->BufferPosition;
        if (unread >= frame.prefix) [[likely]] {
            uint8_t *prefix = file->Buffer + file->BufferPosition;
            const int64_t length =
                int64_t{ValueOfPrefix(prefix, frame, file->FlipBytes != 0)} - frame.counted;
            const int64_t needed = length + frame.trailer;
            if (needed <= 0 || needed > file->BufferSize) [[unlikely]]
                return LengthCantBe(file, record, needed);
            if (unread - frame.prefix >= needed) [[likely]] {
                record->Data = prefix + frame.prefix;
                record->DataLength = static_cast<uint32_t>(length);
                if (frame.trailer != 0 && record->Data[length] != kTrailer &&
                    record->Data[length] != kOtherTrailer) [[unlikely]]
                    return NoTrailer(file, record, record->DataLength);
                file->BufferPosition += frame.prefix + static_cast<uint32_t>(needed);
                return pmrcOk;
            }
        }
        if (const int code = pmReadn2Buf(file); code != pmrcOk) [[unlikely]]
            return code == pmrcEOF ? EndOfFile(file, record, frame) : NoRecord(record, code);
    }
}
