// delimited/record_error_file.h - the file that keeps bad records as they were read.
//
//   initiate   SetUpRecordErrorFile: global variables, file (record_error_setup.cpp)
//   rows       WrRecErrFile: remarks, the raw record, the limit (record_error_write.cpp)
//   terminate  CloseRecordErrorFile in every instance; behind the barrier instance 1 appends the
//              other instances' files to its own (record_error_merge.cpp)
//
// Instance 1 writes the file that the job names, any other one a temporary file in the log directory,
// under a name made of user, process and instance. The file is in the access layer's text format,
// whatever the data's is, and holds raw bytes, so it is merged without looking at them. An error limit
// counts over all instances through a global variable.

#ifndef FENWIRE_DELIMITED_RECORD_ERROR_FILE_H
#define FENWIRE_DELIMITED_RECORD_ERROR_FILE_H

#include <cstddef>
#include <cstdint>

#include "infrastructure/infrastructure.h"
#include "pm/pm.h"

// Elements of RecordErrorCount, one for each instance.
struct RecordErrorCountElement {
    uint32_t reserved, count, unused;
};
static_assert(sizeof(RecordErrorCountElement) == 12);

inline constexpr char kRecordErrorCount[] = "RecordErrorCount";
inline constexpr char kGlobalErrorCount[] = "GlblRecordErrorCount";
inline constexpr char kErrorProcessIds[] = "FWRecordErrorCountPid";

// Opens the file when the job names one; a producer's step of initiate. 0 or 48, reported.
PxStatus SetUpRecordErrorFile();

// The file's path as instance writes it. process: of its temporary file.
void MakeRowErrorFileName(char *path, size_t room, int32_t instance, int32_t process);

// Opens the file of an instance: to write one's own, or to read another's (mode kOpenRead). 0 or 48,
// reported; 5: the other instance never had one. path, if not null, takes the file's name.
PxStatus OpenRowErrorFile(int32_t instance, uint16_t mode, pmToken *file, char *path, size_t room);

// Bad records go somewhere: to the file or to standard error.
bool KeepsBadRecords();

// Writes the record in pmBufferOrig, with the remarks that the job asks for, and counts it. At the
// limit SG_ContinueOnRowError becomes 2. 0 or 48, reported.
PxStatus WrRecErrFile(const char *verdict_text);

// What was written so far is on the disk. 0 or 48, reported.
PxStatus FlushRecordErrorFile();

// Publishes this instance's count; instances above 1 close their file.
void CloseRecordErrorFile();

// Instance 1, when all others have closed theirs: appends their files, closes its own, deletes the
// variables that nobody needs any more.
void AppendRowErrorFile();

// The instances' counts, added up after a checkpoint, against the limit. 0 or 48.
PxStatus AccumulateErrorCounts();

#endif
