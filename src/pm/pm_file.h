// pm/pm_file.h - modules and open files, and the tables that serve a file.
//
// A Paramod is an attached module, the default module included; a pmFile is an open file, in its
// module's list. Both lie in memory by token and carry their own token, which tells a handle whose
// object was freed, and their kind, which tells one object's handle from the other's.
//
// The I/O buffer holds twice BufferSize, so that the unread tail of a block can move to the front and
// a whole new block be read behind it:
//
//     Buffer        BufferPosition          BufferEnd         2 * BufferSize
//     | served      | unread                | 8 zero bytes    | kMarkRoom | kVectorSlack
//
// Behind BufferEnd stand eight zero bytes, so that a character's length can be asked at the last byte
// and a record be ended by a zero. A refill may begin up to kMarkRoom bytes beyond BufferSize, when it
// completes a mark that lies behind a longest record.

#ifndef FENWIRE_PM_PM_FILE_H
#define FENWIRE_PM_PM_FILE_H

#include <cstdint>

#include "pm/pm.h"

enum : uint32_t { kKindModule = 0x444F4D50, kKindFile = 0x4C494650 };  // "PMOD", "PFIL" in a dump

inline constexpr uint32_t kMaxFileName = 4096;
inline constexpr uint32_t kMaxModuleText = 512;  // of a module's name and of its init string
inline constexpr uint32_t kMarkRoom = 128;       // the longest mark has 100 bytes
inline constexpr uint32_t kZeroedSlack = 8;
inline constexpr uint32_t kVectorSlack = 64;
inline constexpr uint32_t kMaxEOR = 8;

struct pmFile;

// An entry that no table can leave out: it is made of a function, and of nothing else.
template <class Function>
class Required {
public:
    constexpr Required(Function &function) : function_(&function) {}
    operator Function *() const { return function_; }

private:
    Function *function_;
};

// A storage back end. All entries answer a pm return code. An entry may read and move the file's
// buffer fields; it knows nothing of records.
struct pmDiskEntries {
    // Next block behind BufferEnd, at most BufferSize bytes. 9 at the end of the file, 55 when a pipe
    // stays silent.
    Required<int(pmFile *file, uint32_t *bytes_read)> DskRBuf;

    // Writes Buffer to BufferEnd, and empties it even when that fails.
    Required<int(pmFile *file)> DskWBuf;

    // Waits until what was written is on the device.
    Required<int(pmFile *file)> DskSync;

    // Sets Position: a block of the back end's own, valid until the next call. 56: the file has no
    // positions.
    Required<int(pmFile *file)> DskGetPos;

    // Back to such a block, which comes from outside: 0; 23, 56 and what is wrong with it in words.
    Required<int(pmFile *file, const pmData *position)> DskSetPos;

    // Sets FIData. 29 is a success: the file is open, and empty.
    Required<int(pmFile *file)> DskOpen;

    // Releases FIData. Always 0.
    Required<int(pmFile *file)> DskClose;
};

// A record format: how records lie in the blocks.
struct pmFormatter {
    Required<int(pmFile *file, pmRecord *record)> FmtRead;
    Required<int(pmFile *file, const pmRecord *record, bool flush)> FmtWrite;  // null: flush alone
    // What the records further on need to know of the file's start, where the file stands.
    Required<int(pmFile *file)> FmtDiscover;
    const char *trace;
};

struct Paramod {
    uint32_t MMToken;
    uint32_t Kind;
    uint32_t TraceLvl;
    // A loaded module's name, init string, entry point and library come in here.
    pmFile *FirstFile, *PrevFile;  // its open files, first and last
    Paramod *Next;
};

struct pmFile {
    uint32_t MMToken;
    uint32_t Kind;
    uint32_t TraceLvl;
    uint32_t Format;
    uint16_t OpenMode;
    uint16_t BlkHeaderLen;  // bytes at the head of each block that are no data; 0 without a module
    uint32_t LRecl;         // declared record length, where a module has one
    void *FIData;           // the back end's own
    pmToken BufferToken;
    uint32_t BufferSize;      // bytes of a block, and of the longest record
    uint32_t BufferPosition;  // offset of the next unread record
    uint32_t BufferEnd;       // offset behind the last byte
    uint8_t *Buffer;
    int32_t BufferBlkStrt;  // where the block begins that was read last, less BlkHeaderLen
    uint64_t BufferOffset;  // file offset of the buffer's first byte
    pmData Position;        // see DskGetPos
    PmIdentity Identity;    // of what was opened
    const uint8_t *Served;  // the record that pmRead answered last; null when it answered none
    uint8_t FlipBytes;
    uint8_t BypassAMCheckpoint;
    uint8_t atEOF;            // end of file was answered
    uint8_t BeginningOfFile;  // no record was served yet
    uint8_t bBOMFound;
    uint8_t bQuotes;       // a line end inside quotes is data
    uint8_t bPrivate;      // opened with kOpenPrivate
    uint8_t bOwnerOnly;    // created with mode 0600
    uint8_t bExact;        // see pmSetExact
    uint8_t bOffsetKnown;  // the back end reads a file by its offsets: BufferOffset counts
    uint16_t EORLength;    // bytes of the end-of-record mark, 0 until it was found
    uint8_t EOR[kMaxEOR];  // as it stands in the file
    uint32_t Endian;       // 1 big, 2 little
    uint32_t RecCount;
    uint32_t FNameLen;
    char FName[kMaxFileName + 1];
    pmFormatter Fmt;
    pmDiskEntries Dsk;
    Paramod *PPtr;
    pmFile *Next;
};

extern const pmFormatter *const kFormatters[9];  // by format code; null: not there
extern const pmDiskEntries kUnxDskEntries;

// Moves the unread bytes to the front and reads the next block behind them. The code is that of the
// back end; BufferPosition is 0 in any case.
int pmReadn2Buf(pmFile *file);

// Stores the text of code 34 from the error number at hand. 4 when the file does not exist, else 34.
int pmDiskError(const char *function, const char *text);

void ForgetErrorText();  // code 34 has its first words again

#endif
