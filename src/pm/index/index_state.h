// pm/index/index_state.h - the window of the data file, and how windows are built.

#ifndef FENWIRE_PM_INDEX_INDEX_STATE_H
#define FENWIRE_PM_INDEX_INDEX_STATE_H

#include "pm/index/record_index.h"

// ---- Window -----------------------------------------------------------------------------------
// Writers: pm/index/record_index.cpp pm/formats/text_reader.cpp pm/refill.cpp pm/files.cpp
inline RecordIndex pmIndex = {};

// The row of the next record, if it lies ready and is what the scanner would make of that; else null.
inline const ReadyRow *NextReadyRow()
{
    if (pmIndex.file == nullptr || pmIndex.next >= pmIndex.work.records)
        return nullptr;
    const ReadyRow *row = pmIndex.work.rows + pmIndex.next;
    return row->regular != 0 ? row : nullptr;
}

// The record counts as read; there is one.
inline void PassReadyRow()
{
    pmFile *file = pmIndex.file;
    const uint32_t end = pmIndex.base + pmIndex.work.record_end[pmIndex.next++];
    file->BufferPosition = pmIndex.position = end + file->EORLength;
    ++file->RecCount;
}

// ---- Settings ---------------------------------------------------------------------------------
// Writers: pm/index/record_index.cpp
inline IndexMarks pmIndexMarks = {};
using IndexBuilder = void (*)(IndexWork &work);
inline IndexBuilder pmBuildIndex =
    BuildIndexByVectors;  // FENWIRE_INDEX=bytes chooses the other one

#endif
