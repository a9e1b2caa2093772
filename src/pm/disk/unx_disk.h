// pm/disk/unx_disk.h - local files and named pipes.
//
// Moves whole blocks between the file and the I/O buffer and knows nothing of records. A refill is one
// read: what a pipe has at hand, or a block of a file. A pipe is waited for as long as the job's time-
// out says, on a descriptor that never blocks; without a time-out open and read block. What is written
// leaves the buffer through write(2) alone, so that nothing waits in a second buffer.

#ifndef FENWIRE_PM_DISK_UNX_DISK_H
#define FENWIRE_PM_DISK_UNX_DISK_H

#include "pm/position_block.h"

// What FIData points to.
struct DiskFile {
    pmToken MMToken;
    int32_t descriptor;
    uint64_t block_start;  // file offset of the block in the buffer
    uint64_t next_block;   // file offset of the next one
    uint32_t isFIFO;
    uint32_t waits;    // a read may find nothing yet: the file is a pipe or a device
    uint32_t at_end;   // a read found the end: a pipe's next writer does not prolong the file
    uint32_t regular;  // has offsets, and a device below that can be waited for
    uint32_t lost;     // something was written that is not on the device, and won't be
    uint32_t unnamed;  // the file may be new, and its name is not on the device yet
    PositionBlock position;
};

int pmUnxDskOpen(pmFile *file);
int pmUnxDskClose(pmFile *file);
int pmunxRBuf(pmFile *file, uint32_t *bytes_read);
int pmunxWBuf(pmFile *file);
int pmunxSync(pmFile *file);
int pmUnxDskGetPos(pmFile *file);
int pmUnxDskSetPos(pmFile *file, const pmData *position);

// Whether a file of this name is compressed. Only the name's first suffix counts, and only at its end:
// "a.gz.gz" is a plain file.
bool IsCompressedName(const char *name);

// The open of a file to be written: its descriptor, or -1 with errno set.
int OpenForWriting(const pmFile *file);

// Behind the last byte of a file that is appended to. 0 or 34.
int SeekToEnd(pmFile *file, DiskFile *disk);

#endif
