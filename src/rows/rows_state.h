// rows/rows_state.h - what the row path remembers between two calls.

#ifndef FENWIRE_ROWS_ROWS_STATE_H
#define FENWIRE_ROWS_ROWS_STATE_H

#include <cstdint>

// ---- Row path ---------------------------------------------------------------------------------
// Writers: rows/write_row.cpp
inline uint32_t bRowsGoStraight = 0;  // rows of a window are only to be delivered; settled at each
                                      // record that takes the long way

#endif
