// pm/pm.h - the access layer: handles on modules and files, records in and out.
//
// Calling order: pmInit, pmSetCharSet, pmAttach, then for each file pmOpen, any number of pmRead or
// pmWrite, pmClose; at the end pmDetach and pmShutDown, both with mode 2. Every call answers a return
// code, 0 to 56, whose words pmGetErrText knows. Nothing in here ends the job or issues a message but
// where it says so: what a failure costs is the caller's decision.

#ifndef FENWIRE_PM_PM_H
#define FENWIRE_PM_PM_H

#include <cstdint>

using pmToken = uint32_t;  // of the memory manager; 0: none

// The codes that callers act on. The others are failures with words.
enum PmCode : int {
    pmrcOk = 0,
    pmrcBadHandle = 1,
    pmrcBadParameter = 2,
    pmrcNotFound = 4,
    pmrcWriteOnly = 5,
    pmrcReadOnly = 6,
    pmrcBadFile = 7,
    pmrcFilesOpen = 8,
    pmrcEOF = 9,
    pmrcUtility = 11,
    pmrcMemory = 12,
    pmrcBadFormat = 14,
    pmrcDataFormat = 16,
    pmrcOverflow = 17,
    pmrcVersion = 18,
    pmrcNameTooLong = 19,
    pmrcPositionLength = 23,
    pmrcUnsupported = 24,
    pmrcNotInitialised = 26,
    pmrcTraceLevel = 27,
    pmrcModulesActive = 28,
    pmrcEmptyFile = 29,  // from pmOpen: a success, the file is open
    pmrcCheckpointMethod = 32,
    pmrcText = 34,   // the text that pmSetErrTxt stored last
    pmrcNoEOR = 35,  // the last record has no end-of-record mark
    pmrcBlockTooLong = 36,
    pmrcEndianConflict = 45,
    pmrcCharsetConflict = 46,
    pmrcSkipped = 48,
    pmrcTimeOut = 55,
    pmrcPipe = 56,
};

struct [[gnu::packed]] pmData {
    uint32_t length;
    const void *bytes;  // not zero-terminated
};

// Read calls take files of mode 1 and 3, write calls those of mode 2 and 3.
enum PmOpenMode : uint16_t {
    kOpenRead = 1,
    kOpenWrite = 2,        // creates the file, or empties it
    kOpenWriteAppend = 3,  // the file must exist

    // Added to a mode, for a file of the job's own in a folder where others may write. With
    // kOpenWrite the name must be free, links included, and the file is readable by its owner only;
    // with kOpenRead it must be a plain file of this user under one name.
    kOpenPrivate = 0x100,
    // For a file that the user names: with kOpenWrite it is created for its owner only. One that exists
    // keeps its rights.
    kOpenOwnerOnly = 0x200,
};

struct pmInitParms {
    uint32_t TraceLvl;  // 1 to 5
    const char *UtilityId;
    uint16_t InterfaceVerNo;  // 3
};

struct [[gnu::packed]] pmAttachParms {
    uint32_t NameLen;  // 0: the default module
    const char *Name;
    uint32_t InitStrLen;
    const char *InitStr;
};

// A record: where it lies in the file's I/O buffer, until the next call on the file.
struct pmRecord {
    uint32_t DataLength;
    uint8_t *Data;
    uint16_t Reserved;
    uint32_t RecCount;  // records read so far, this one included
};

struct HadoopParms;
struct pmVersion {
    char tag[32], version[32];
    pmVersion *next;
};

int pmInit(const pmInitParms *parms);
int pmAttach(const pmAttachParms *parms, uint32_t checkpoint_method, pmToken *handle);
int pmOpen(uint16_t open_mode, bool parallel_master, uint32_t format, const HadoopParms *hadoop,
           uint32_t buffer_size, uint32_t record_length, const char *name, pmToken handle,
           const uint32_t *extra, pmToken *file);
int pmRead(pmToken file, pmRecord *record);
int pmWrite(pmToken file, const pmRecord *record);
int pmFlush(pmToken file);  // what was written so far is on the device

// From here on the file's bytes go through unchanged: what is read from one file and written to
// another, both set, is the same at the end. Read: records end where the writer of this layer would
// end them, and neither quotes nor a byte order mark are looked for. Write: a record without bytes is
// written as one, where it would be left out. To be called before the first record.
int pmSetExact(pmToken file);

// From here on this function finds the file's records, in place of its format's.
struct pmFile;
int pmSetReader(pmToken file, int (*reader)(pmFile *file, pmRecord *record));

// Where in its file the record begins that pmRead answered last, its length prefix included. -1 when there is none, or when the
// file has no offsets, as a pipe.
int64_t pmRecordOffset(pmToken file);

// Which file a handle has open, so that it is known again under whatever name. Zeros from a back end
// that has no such numbers.
struct PmIdentity {
    uint64_t device, inode;
};
int pmIdentity(pmToken file, PmIdentity *identity);

// Where the file stands: a block that is stored and handed back, valid until the next pmGetPos of this
// file. What was written is on the device then. user_done 1: the file counts as read to its end. No block
// from a pipe: 56, or 0 in a job without checkpoints.
int pmGetPos(pmToken file, uint32_t user_done, pmData *position);

// Back to such a block, in the same file or where it was opened anew; an output file is cut there. 23:
// no such block; 34: it is damaged, or the file does not reach it; the codes of a first pmRead; 56.
int pmRepos(pmToken file, const pmData *position);
int pmClose(pmToken file);
int pmDetach(pmToken handle, uint32_t mode);
int pmShutDown(uint32_t mode);
int pmGetErrText(int code, pmData *text);
const char *pmErrorText(int code);  // the same as a zero-terminated text, valid until the next call
void pmSetErrTxt(const char *text, uint32_t length);
int pmGetID(pmToken handle, const pmVersion **first);
int pmDiag(uint32_t request, const pmToken *handle);
int pmTrace(uint32_t scope, const pmToken *handle, uint32_t level);
void pmTraceMsg(uint32_t level, const char *text);

// 0; 100: taken as single byte; 101: UCS-2; 102: a number above 255; 48: the name is too long, which
// is reported. An empty name is ASCII.
int pmSetCharSet(const char *name);

// Closes and reports: a failure is a warning (19400 + code, then 19309, class 2), never an end.
void Close_pmFile(pmToken file, const char *label);

// Frees the text and character work buffers of this layer. May be called again.
void fwfini();

uint32_t
pmRecordCount(pmToken file);  // low half of the records read or written so far; 0: no such file
const char *pmFileName(pmToken file);  // as it was opened; empty when there is no such file

// The current file's name, record and position to the private log. which: -1.
void DumpFileInfo(int32_t which);

#endif
