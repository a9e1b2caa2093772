// delimited/record_error_file.h - the file that keeps bad records as they were read.
//
//   initiate   SetUpRecordErrorFile: global variables, file             record_error_setup.cpp
//   rows       WrRecErrFile: remarks, raw record, limit                 record_error_write.cpp
//   file end   FlushRecordErrorFile: before anybody commits the rows
//   terminate  CloseRecordErrorFile in every instance; behind the       record_error_merge.cpp
//              barrier instance 1 appends the others' files to its own
//
// Instance 1 writes the file that the job names, any other one a temporary file in the log directory,
// under a name made of user, process and instance. The files are in the access layer's text format,
// whatever the data's is, and are merged byte by byte: what a line end is in the data does not matter.
//
// Global variables (record_error_counts.cpp), all created by instance 1:
//   RecordErrorCount       an instance's count, written at a checkpoint and at the end
//   GlblRecordErrorCount   running count of all; two instances at once may lose one
//   FWRecordErrorCountPid  from instance 2: the process that the temporary file is named after
//   RecordErrorFileId      which file the instance opened, whatever lies under the name later

#ifndef FENWIRE_DELIMITED_RECORD_ERROR_FILE_H
#define FENWIRE_DELIMITED_RECORD_ERROR_FILE_H

#include <cstdint>

#include "attributes/attributes_state.h"
#include "infrastructure/infrastructure.h"
#include "pm/pm.h"

// ---- For initiate, the row path and terminate

// Opens the file when the job names one. 0 or 48, reported.
PxStatus SetUpRecordErrorFile();

// Bad records are kept somewhere: in the file, or on standard error.
bool KeepsBadRecords();

// The open file is the one that the job writes its bad records to.
bool IsRecordErrorFile(pmToken file);

// Writes the record in pmBufferOrig, with the remarks that the job asks for, and counts it. At the
// limit SG_ContinueOnRowError becomes 2. 0 or 48, reported.
PxStatus WrRecErrFile(const char *verdict_text);

// What was written so far is on the disk. 0 or 48, reported.
PxStatus FlushRecordErrorFile();

// Publishes this instance's count; instances above 1 close their files. 0 or 48, reported.
PxStatus CloseRecordErrorFile();

// Instance 1, when all others have closed theirs: appends their files, closes its own, and deletes the
// variables that nobody needs any more. What can't be appended stays where it is, and is told of.
void AppendRowErrorFile();

// At a checkpoint and in a restart of a job with a limit: publishes this instance's count, and has
// instance 1 add up all of them before its next row. 0 or 48, reported.
PxStatus ShareErrorCount();

// Adds up what the instances published, and compares it with the limit. 0 or 48.
PxStatus AccumulateErrorCounts();

// ---- Among the files of this subject

struct RecordErrorCountElement {
    uint32_t reserved = 0, count = 0, unused = 0;
};
static_assert(sizeof(RecordErrorCountElement) == 12);

inline constexpr uint32_t kMaxErrorPath = kMaxPath + 320;  // too long for pmOpen, which says so

// The path of an instance's file. process: the one that its temporary file is named after.
void MakeRowErrorFileName(char (&path)[kMaxErrorPath], int32_t instance, int32_t process);

// Opens an instance's file, by the name that MakeRowErrorFileName made. 0 or a code of the access layer.
int OpenRowErrorFile(const char *path, int32_t instance, uint16_t mode, pmToken *file);

PxStatus CreateErrorVariables();  // instance 1
void DeleteErrorVariables();
PxStatus PublishProcessId(int32_t process);  // waits for instance 1 to have created the variable
PxStatus ReadProcessId(int32_t instance, int32_t *process);  // 0: the instance has no file
PxStatus PublishFileId(const PmIdentity &id);
PxStatus ReadFileId(int32_t instance, PmIdentity *id);
PxStatus PublishErrorCount();
PxStatus CountOverAllInstances(uint32_t *all);  // one more

// A call of the access layer on the file failed: 19400 + code, then 19306; exit code 12, 48.
PxStatus ErrorFileFailed(const char *routine, int code);

#endif
