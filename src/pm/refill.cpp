// pm/refill.cpp - the one way in which data enters a file's buffer.

#include <cstring>

#include "pm/index/index_state.h"
#include "pm/pm_trace.h"

namespace {

void MoveUnreadToFront(pmFile *file)
{
    if (file->BufferPosition == 0)
        return;
    PM_TRACE(4, "Overlap BufferEnd=%u", file->BufferEnd);
    PM_TRACE(4, "Overlap BufferPos=%u", file->BufferPosition);
    // Several readers of one file go on in the next shared buffer instead.
    file->BufferOffset += file->BufferPosition;
    const uint32_t unread = file->BufferEnd - file->BufferPosition;
    memmove(file->Buffer, file->Buffer + file->BufferPosition, unread);
    file->BufferPosition = 0;
    file->BufferEnd = unread;
    PM_TRACE(4, "Overlapped BufferEnd Before Read=%u", file->BufferEnd);
    PM_TRACE(4, "Overlapped BufferPos Before Read=%u", file->BufferPosition);
}

void BlockArrived(pmFile *file, uint32_t bytes)
{
    file->BufferEnd += bytes;
    memset(file->Buffer + file->BufferEnd, 0, kZeroedSlack);
    if (pmTraceLvl > 3) [[unlikely]]
        pmHexDmp(kDumpMessage, kDumpBytes, file->Buffer, file->BufferEnd,
                 "New API layer Buffer:", true);
}

}  // namespace

int pmReadn2Buf(pmFile *file)
{
    uint32_t bytes = 0;

    pmIndex.file = nullptr;  // what it says of the buffer holds no longer
    MoveUnreadToFront(file);
    if (file->BufferEnd > file->BufferSize + kMarkRoom - kZeroedSlack) {
        PM_TRACE(1, "BufferSize exceeded by block reader");
        return pmrcBlockTooLong;
    }
    file->BufferBlkStrt = static_cast<int32_t>(file->BufferEnd) - file->BlkHeaderLen;
    // With a module, the bytes under its block header are saved, the block is asked for, and they are
    // put back over the header.
    const int code = file->Dsk.DskRBuf(file, &bytes);
    if (bytes > file->BufferSize) {
        PM_TRACE(1, "BufferSize exceeded by block reader");
        return pmrcBlockTooLong;
    }
    BlockArrived(file, bytes);
    return code;
}
