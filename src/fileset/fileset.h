// fileset/fileset.h - which files there are, and whose they are.

#ifndef FENWIRE_FILESET_FILESET_H
#define FENWIRE_FILESET_FILESET_H

#include <cstddef>
#include <cstdint>

#include "fileset/fileset_state.h"
#include "infrastructure/infrastructure.h"

// ---- The file set, instance 1 -----------------------------------------------------------------

// Finds the files, deals them to the instances and publishes DirInfo and FileNames. 0 or a failure.
PxStatus BuildGlobalInfo();

// The same for a job that writes: a file for each instance, with its number in the name.
PxStatus BuildOutputFiles();

// In a restart: whether the element may be one of the job's own. It was kept where others may have put in
// a file that the job never named, to be read or written over.
bool IsFileOfJob(const FileNamesEntry &entry, int32_t index);
bool IsOutputFileOfJob(const FileNamesEntry &entry, int32_t index);  // of a job that writes

// Creates and fills the variables for DirInfo.FileCount files; keeps them when they are large enough.
PxStatus AllocateGlobalVariables();

// Counts the files of a finished pass. 48 when a file was not processed to its end: each is named in
// the private log, and *count is 0.
PxStatus GetScanFileCount(int32_t *count);

// ---- The file set, every instance -------------------------------------------------------------

// Reads DirInfo. required 0: a missing variable is traced and its status returned; else all is fatal.
PxStatus GetDirectoryName(int32_t required);
PxStatus PublishDirInfo();

// One element of FileNames, index from 1. What comes from there was written by another process: an
// element that can't be is fatal.
PxStatus ReadFileEntry(int32_t index, FileNamesEntry *entry);
// The same where it lies, which is the infrastructure's, until the next call of a service.
PxStatus ViewFileEntry(int32_t index, const uint8_t **entry);
PxStatus UpdateFileEntry(int32_t index, const FileNamesEntry *entry);

// ---- This instance's share --------------------------------------------------------------------

PxStatus GetAllFileNames();                       // its nodes
PxStatus GetNextFileName(int32_t wanted_status);  // 0 advance, 1 stay; 12: no more files
void FreeFileNodes();                             // may be called again
PxStatus TakeOutputFile();  // a writer's one file becomes the current one; 12: it is finished

// ---- Paths and files --------------------------------------------------------------------------

// Directory and name as one path, into to. A name with a "/" of its own stands alone.
void ComposeFullPath(char *to, size_t room, const char *name);

// Puts the separator at the end of a path that has none.
void EndWithSeparator(char *path, size_t room);

enum : int32_t { kRegularFile = 0, kNamedPipe = 1, kLink = 2 };  // the kinds that are input
enum : int32_t { kFileFound = 0, kFileUnexaminable = 2, kFileMissing = 3 };

// lstat of a path. Answers kFileFound; kFileUnexaminable; kFileMissing, also for a kind that is no
// input. path2 is the name for reports. /dev/null is always a file to read, of no bytes.
int32_t GetFileInfo(const char *path, const char *path2, int32_t *mode, int64_t *size,
                    int32_t *time, bool must_exist, bool report);
int32_t FileKind(uint32_t st_mode);
inline bool IsInputKind(int32_t kind) { return kind >= kRegularFile && kind <= kLink; }
const char *FileKindName(int32_t mode);  // "regular", "fifo special" ...

#endif
