// pm/index/ready_rows.h - rows out of the window, without a call of the access layer for each.

#ifndef FENWIRE_PM_INDEX_READY_ROWS_H
#define FENWIRE_PM_INDEX_READY_ROWS_H

#include "pm/index/index_state.h"

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

// The records of a window that are not taken yet will not be: the file moves, or is no more.
inline void ForgetWindow(const pmFile *file)
{
    if (pmIndex.file != file)
        return;
    pmIndex.file = nullptr;
    pmIndex.next = pmIndex.settled = pmIndex.served = 0;
}

#endif
