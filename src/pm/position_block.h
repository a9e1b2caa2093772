// pm/position_block.h - where a file stands, as a checkpoint keeps it.
//
// The block is stored by one build and read by the next: its layout is fixed. It names the block of the
// file that holds the next record, and where in this block the record begins, so that a restart reads the
// same blocks again. At the end of a file that is read all offsets are 0.

#ifndef FENWIRE_PM_POSITION_BLOCK_H
#define FENWIRE_PM_POSITION_BLOCK_H

#include <cstddef>

#include "pm/pm_file.h"

struct PositionBlock {
    uint8_t atEOF;
    uint8_t zero[7];
    uint64_t block_start;  // file offset
    uint32_t
        BlkOffset;  // of the next record, from the block's first byte; 0 in a file that is written
    uint32_t RecCount;      // records in front of it
    uint64_t stream_start;  // the block's offset in the compressed stream; 0 in a plain file
    uint64_t hdfs_start;    // the block's offset, in HDFS; 0 elsewhere
};
static_assert(sizeof(PositionBlock) == 40 && offsetof(PositionBlock, BlkOffset) == 16 &&
              offsetof(PositionBlock, hdfs_start) == 32);

// For the back ends: a file that is read is as it was opened, with nothing learned from its start.
void pmStartOver(pmFile *file);

// For the back ends: stores why there is no way to a position, after the name of the file; 34.
[[gnu::format(printf, 3, 4)]] int pmPositionRefused(const char *function, const pmFile *file,
                                                    const char *format, ...);

#endif
