// pm/disk/unx_disk.h - local files and named pipes.
//
// Moves whole blocks between the file and the I/O buffer and knows nothing of records. A refill is one
// read: what a pipe has at hand, or a block of a file. A pipe is waited for as long as the job's time-
// out says, on a descriptor that never blocks; without a time-out open and read block.

#ifndef FENWIRE_PM_DISK_UNX_DISK_H
#define FENWIRE_PM_DISK_UNX_DISK_H

#include "pm/pm_file.h"

int pmUnxDskOpen(pmFile *file);
int pmUnxDskClose(pmFile *file);
int pmunxRBuf(pmFile *file, uint32_t *bytes_read);

#endif
