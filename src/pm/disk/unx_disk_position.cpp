// pm/disk/unx_disk_position.cpp - positions in local files.
//
//   read      what the records need to know of the file's start is learned there first; then the
//             checkpoint's block is read as it was before, so that records meet the same block ends
//   write     the file is cut to the position: what was written behind it comes once more
//
// The block comes from a store that others may have damaged, and the file may be another one by now: a
// position that the file does not have is refused before anything is changed.

#include <cerrno>
#include <cstring>

#include "pm/disk/os_calls.h"
#include "pm/disk/unx_disk.h"
#include "pm/pm_trace.h"

namespace {

int CantPosition()
{
    PM_TRACE(1, "!ERROR! Can't position pipe");
    return pmrcPipe;
}

// ---- Checks ------------------------------------------------------------------------------------

// Whether this layer could have made the block of a plain file.
bool IsSound(const pmFile *file, const PositionBlock &block)
{
    static constexpr uint8_t kZeros[sizeof block.zero] = {};
    if (block.atEOF > 1 || memcmp(block.zero, kZeros, sizeof kZeros) != 0 ||
        block.stream_start != 0 || block.hdfs_start != 0 || block.block_start > INT64_MAX)
        return false;
    if (file->OpenMode != kOpenRead)
        return block.atEOF == 0 && block.BlkOffset == 0;
    return block.atEOF == 0 || (block.block_start == 0 && block.BlkOffset == 0);
}

int TooShort(const pmFile *file, uint64_t bytes, uint64_t wanted)
{
    return pmPositionRefused("pmUnxDskSetPos", file,
                             "has %llu bytes, but the checkpoint counts on %llu: it was changed or "
                             "replaced since",
                             static_cast<unsigned long long>(bytes),
                             static_cast<unsigned long long>(wanted));
}

int CheckBlock(const pmFile *file, const DiskFile *disk, const PositionBlock &block, uint64_t *size)
{
    struct stat info = {};
    if (!IsSound(file, block))
        return pmPositionRefused("pmUnxDskSetPos", file,
                                 "has a damaged position block in its checkpoint");
    if (os.fstat(disk->descriptor, &info) != 0)
        return pmDiskError("pmUnxDskSetPos", "'fstat' error");
    *size = static_cast<uint64_t>(info.st_size);
    const uint64_t wanted = block.block_start + block.BlkOffset;
    return wanted > *size ? TooShort(file, *size, wanted) : int{pmrcOk};
}

// ---- Moves -------------------------------------------------------------------------------------

void EmptyBuffer(pmFile *file)
{
    file->BufferPosition = file->BufferEnd = 0;
    file->BufferBlkStrt = -static_cast<int32_t>(file->BlkHeaderLen);
    file->Served = nullptr;
}

int SeekTo(pmFile *file, DiskFile *disk, uint64_t offset)
{
    if (os.lseek(disk->descriptor, static_cast<off_t>(offset), SEEK_SET) < 0)
        return pmDiskError("pmUnxDskSetPos", "'seek' error");
    EmptyBuffer(file);
    file->BufferOffset = disk->block_start = disk->next_block = offset;
    disk->at_end = 0;
    return pmrcOk;
}

// The block that begins here, as far as the record in it and beyond.
int ReadBlock(pmFile *file, uint32_t offset)
{
    int code = pmrcOk;
    do {
        code = pmReadn2Buf(file);
    } while (code == pmrcOk && file->BufferEnd < offset);
    if (code == pmrcEOF && file->BufferEnd < offset)
        return TooShort(file, file->BufferOffset + file->BufferEnd, file->BufferOffset + offset);
    if (code != pmrcOk && code != pmrcEOF)
        return code;
    file->BufferPosition = offset;
    file->atEOF = code == pmrcEOF;
    return pmrcOk;
}

int GoOnReading(pmFile *file, DiskFile *disk, PositionBlock block)
{
    int code = pmrcOk;
    const bool first = block.block_start + block.BlkOffset == 0;

    pmStartOver(file);
    if (!first && ((code = SeekTo(file, disk, 0)) != pmrcOk ||
                   (code = file->Fmt.FmtDiscover(file)) != pmrcOk))
        return code;
    if (block.BlkOffset > file->BufferSize) {  // the blocks were longer then
        block.block_start += block.BlkOffset;
        block.BlkOffset = 0;
    }
    if ((code = SeekTo(file, disk, block.block_start)) != pmrcOk)
        return code;
    file->BeginningOfFile = first;
    return ReadBlock(file, block.BlkOffset);
}

int CutTo(const DiskFile *disk, uint64_t bytes)
{
    int result = 0;
    do {
        errno = 0;
        result = os.ftruncate(disk->descriptor, static_cast<off_t>(bytes));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? int{pmrcOk} : pmDiskError("pmUnxDskSetPos", "'ftruncate' error");
}

int GoOnWriting(pmFile *file, DiskFile *disk, uint64_t offset, uint64_t size)
{
    int code = pmrcOk;
    if ((size != offset && (code = CutTo(disk, offset)) != pmrcOk) ||
        (code = SeekTo(file, disk, offset)) != pmrcOk)
        return code;
    file->BeginningOfFile = offset == 0;
    disk->lost = 0;
    return pmrcOk;
}

}  // namespace

int pmUnxDskGetPos(pmFile *file)
{
    auto *disk = static_cast<DiskFile *>(file->FIData);
    PositionBlock &block = disk->position;
    const int64_t in_block = int64_t{file->BufferPosition} - file->BufferBlkStrt;

    file->Position = {};
    if (disk->regular == 0)
        return CantPosition();
    if (disk->lost != 0)
        return pmPositionRefused("pmUnxDskGetPos", file, "lost bytes in a write that failed");
    block = {};
    block.RecCount = file->RecCount;
    if (file->atEOF != 0 && file->OpenMode == kOpenRead) {
        block.atEOF = 1;
    } else if (in_block >= 0) {
        block.block_start = disk->block_start;
        block.BlkOffset = static_cast<uint32_t>(in_block);
    } else {  // the record begins in front of the block that was read last
        block.block_start = file->BufferOffset + file->BufferPosition;
    }
    file->Position = {.length = sizeof block, .bytes = &block};
    if (pmTraceLvl > 2)
        pmHexDmp(kDumpMessage, kDumpBytes, &block, sizeof block, "Position struct", true);
    return pmrcOk;
}

int pmUnxDskSetPos(pmFile *file, const pmData *position)
{
    auto *disk = static_cast<DiskFile *>(file->FIData);
    PositionBlock block;
    uint64_t size = 0;

    if (disk->regular == 0)
        return CantPosition();
    if (position->length != sizeof block || position->bytes == nullptr) {
        PM_TRACE(1, "Invalid position data length, %u.  Expected %zu", position->length,
                 sizeof block);
        return pmrcPositionLength;
    }
    memcpy(&block, position->bytes, sizeof block);
    if (const int code = CheckBlock(file, disk, block, &size); code != pmrcOk)
        return code;
    EmptyBuffer(file);
    file->RecCount = block.RecCount;
    file->atEOF = block.atEOF;
    if (block.atEOF != 0)
        return pmrcOk;
    return file->OpenMode == kOpenRead ? GoOnReading(file, disk, block)
                                       : GoOnWriting(file, disk, block.block_start, size);
}
