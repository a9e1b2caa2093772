// rows/rows_state.h - what the row path remembers between two calls.

#ifndef FENWIRE_ROWS_ROWS_STATE_H
#define FENWIRE_ROWS_ROWS_STATE_H

#include <cstdint>

// ---- Row path ---------------------------------------------------------------------------------
// Writers: rows/write_row.cpp
inline uint32_t bRowsGoStraight = 0;  // rows of a window are only to be delivered; settled at each
                                      // record that takes the long way

struct ChangedRows {
    uint64_t without_excess = 0, padded = 0,
             cut = 0;                           // rows; of one with several faults one counts
    uint64_t ignored = 0;                       // part of without_excess
    uint64_t first_cut = 0, first_ignored = 0;  // records, from 1
};

// ---- Rows that went on changed ----------------------------------------------------------------
// Writers: rows/changed_rows.cpp
inline ChangedRows FileRowsChanged;  // of the current file

#endif
