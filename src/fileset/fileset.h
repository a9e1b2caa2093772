// fileset/fileset.h - which files there are, and whose they are.

#ifndef FENWIRE_FILESET_FILESET_H
#define FENWIRE_FILESET_FILESET_H

#include <cstddef>
#include <cstdint>

#include "fileset/fileset_state.h"
#include "infrastructure/infrastructure.h"

// Instance 1: finds the files, deals them to the instances and publishes DirInfo and FileNames.
PxStatus BuildGlobalInfo();
PxStatus AllocateGlobalVariables();

// Reads DirInfo. required 0: a missing variable is traced and its status returned; else all is fatal.
PxStatus GetDirectoryName(int32_t required);

PxStatus GetAllFileNames();                       // this instance's nodes
PxStatus GetNextFileName(int32_t wanted_status);  // 0 advance, 1 stay; 12: no more files
PxStatus GetScanFileCount(int32_t *count);        // instance 1 at the end of a pass
PxStatus UpdateFileEntry(int32_t index, const FileNamesEntry *entry);
void FreeFileNodes();

// Directory and name as one path, into to. A name with a "/" of its own stands alone.
void ComposeFullPath(char *to, size_t room, const char *name);

// lstat of a path. 0; 2: can't be examined; 3: missing, or of a kind that is no input. path2 is the
// name for reports.
int32_t GetFileInfo(const char *path, const char *path2, int32_t *mode, int64_t *size,
                    int32_t *time, bool must_exist, bool report);
const char *FileKindName(int32_t mode);  // "regular", "fifo special" ...

#endif
