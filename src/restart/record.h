// restart/record.h - a checkpoint record to the byte, and the checks on one that comes back.
//
//   instance 1    CheckpointHead | FileNamesEntry for each file | position
//   the others    position | place in the own list, 4 bytes        written with a file open only
//   position      PositionHead | data file's | record error file's | row count, 4 bytes
//
// Little-endian. The positions of the two files are the access layer's own; it judges what is in them.
// A record written by one build is read by the next, so nothing here may move.

#ifndef FENWIRE_RESTART_RECORD_H
#define FENWIRE_RESTART_RECORD_H

#include <cstddef>
#include <cstdint>

#include "fileset/fileset_state.h"
#include "infrastructure/infrastructure.h"
#include "restart/restart_state.h"

struct CheckpointHead {
    DirInfoImage DirInfo;
    UserUpdates Updates;
    int32_t CountCurrent;
};
static_assert(offsetof(CheckpointHead, Updates) == 12356 &&
              offsetof(CheckpointHead, CountCurrent) == 12372 && sizeof(CheckpointHead) == 12376);

struct PositionHead {  // fwPosSummary_t
    uint32_t ErrRowCount = 0;
    uint32_t FileRecordCount = 0;  // low half
    uint32_t DataLength = 0, ErrorLength = 0;
    uint32_t InstanceTarget = 0;
};
static_assert(sizeof(PositionHead) == 20);

// The low half of RowCount. Instance 1 has it in DirInfo, too; for the others it lies here only.
inline constexpr uint32_t kPositionTail = 4;

// What PX_ReadCheckpointRecord answered. It is the infrastructure's.
struct RecordView {
    const uint8_t *bytes = nullptr;
    uint32_t length = 0;
};

// 0 with the record; 21: there is none; 48, reported.
PxStatus ReadRecord(RecordView *record);
PxStatus WriteRecord(const RecordView &record);  // 0 or 48, reported
void DumpRecord(const char *label, const RecordView &bytes, int32_t from_level = 4);

// 19985, exit code 12, 48.
[[nodiscard]] PxStatus DamagedRecord(const char *what);

// Whether everything in it can be. 0 or 48, reported; 19150 for a job of another number of instances.
PxStatus CheckFileSetRecord(const RecordView &record);   // of instance 1
PxStatus CheckInstanceRecord(const RecordView &record);  // of any other
PxStatus CheckPosition(const RecordView &position, PositionHead *head);

inline size_t FilesEnd(int32_t files)  // where a position lies in instance 1's record
{
    return sizeof(CheckpointHead) + static_cast<size_t>(files) * sizeof(FileNamesEntry);
}

// realloc. Null: 19140 is told, exit code 12, and what block holds stays.
uint8_t *ResizeRecord(uint8_t *block, uint64_t bytes);

#endif
