// schema/var_fields.h - where the columns of a binary row lie.
//
//     indicator bytes   NumIndBytes of them: one bit a column, the highest bit first; 1: NULL
//     column 1, 2 ..    fixed: its declared bytes; else a length of 1, 2 or 8 bytes, and so many bytes
//
// A row is walked in steps: a run of fixed columns, whose places in the run are known, and a run of
// columns with a length of the same width. Nothing of a row is believed before it is known to lie within
// it. A walk that ran out of bytes goes on where it stopped when there are more.

#ifndef FENWIRE_SCHEMA_VAR_FIELDS_H
#define FENWIRE_SCHEMA_VAR_FIELDS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

struct pmFile;
struct pmRecord;

enum class WalkEnd : uint8_t {
    Row,        // all columns are found
    Short,      // the row has fewer than `needed` bytes
    LobLength,  // the length of a large object has bytes that must be zero
    TooLong     // the column is longer than declared
};

struct RowWalk {
    uint32_t position =
        0;  // where it stopped, in front of `column`; at the end, behind the last one
    uint32_t step = 0;
    int32_t column = 0;   // from 0; of a run of fixed ones the first
    uint32_t length = 0;  // TooLong: of that column
    uint64_t needed = 0;  // Short: bytes that the row must have for the walk to get on
};

// Stores each column's indicator, offset and length in SG_IndBytes, SG_ColOffs and SG_ColLens. The walk
// is a fresh one, or one that ended Short on fewer bytes of the same row.
WalkEnd WalkRow(const uint8_t *row, uint32_t bytes, RowWalk *walk);

// Walks the row in pmBuffer. *row_length is the position that was reached. 0; 29: the row is too short,
// *row_length is what it must have at least, and nothing is reported yet; 48: a length that can't be,
// reported (19112, 19151). With a fault the latter is described there instead, and not reported: 45.
struct RowFault {
    WalkEnd end = WalkEnd::Row;
    RowWalk walk;
};
PxStatus FW_SetVarFields(uint32_t *row_length, RowFault *fault = nullptr);
PxStatus ReportRowFault(const RowFault &fault);  // 48

// Reader of unframed rows with variable fields, for pmSetReader: walks the columns to find where a row
// ends, and so leaves them as FW_SetVarFields would. 0; 9; 16: it is no such row, reported; 48: likewise.
int pmfmtRVarNone(pmFile *file, pmRecord *record);

// What the walk needs to know of the schema, once that is established. 0; 48: no memory, reported.
[[nodiscard]] PxStatus PrepareWalk();
void FreeWalk();

#endif
