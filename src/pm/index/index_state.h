// pm/index/index_state.h - the window of the data file, and how windows are built.

#ifndef FENWIRE_PM_INDEX_INDEX_STATE_H
#define FENWIRE_PM_INDEX_INDEX_STATE_H

#include "pm/index/record_index.h"

// ---- Window -----------------------------------------------------------------------------------
// Writers: pm/index/record_index.cpp pm/index/index_state.h pm/formats/text_reader.cpp pm/refill.cpp pm/files.cpp
inline RecordIndex pmIndex = {};

// Whether the row of the next record lies ready and is what the scanner would make of that.
inline bool IsRowReady()
{
    return pmIndex.file != nullptr && pmIndex.next < pmIndex.work.records &&
           pmIndex.work.regular[pmIndex.next] != 0;
}

// The row that lies ready; its record counts as read. The file learns of it with the next call that
// has to do with the file.
inline ReadyRow TakeReadyRow() { return RowOf(pmIndex.work, pmIndex.next++); }

// Tells the file of the records that were taken since.
inline void SettleReadyRows()
{
    if (pmIndex.next == pmIndex.settled) [[likely]]
        return;
    pmFile *file = pmIndex.file;
    file->BufferPosition = pmIndex.position =
        pmIndex.base + pmIndex.work.record_end[pmIndex.next - 1] + file->EORLength;
    file->RecCount += pmIndex.next - pmIndex.settled;
    pmIndex.settled = pmIndex.next;
}

// ---- Settings ---------------------------------------------------------------------------------
// Writers: pm/index/record_index.cpp
inline IndexMarks pmIndexMarks = {};
using IndexBuilder = void (*)(IndexWork &work);
inline IndexBuilder pmBuildIndex =
    BuildIndexByVectors;  // FENWIRE_INDEX=bytes chooses the other one

#endif
