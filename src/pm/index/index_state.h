// pm/index/index_state.h - the window of the data file, and how windows are built.

#ifndef FENWIRE_PM_INDEX_INDEX_STATE_H
#define FENWIRE_PM_INDEX_INDEX_STATE_H

#include "pm/index/record_index.h"

// ---- Window -----------------------------------------------------------------------------------
// Writers: pm/index/record_index.cpp pm/index/ready_rows.h pm/formats/text_reader.cpp pm/refill.cpp
inline RecordIndex pmIndex = {};

// ---- Settings ---------------------------------------------------------------------------------
// Writers: pm/index/record_index.cpp
inline IndexMarks pmIndexMarks = {};
using IndexBuilder = void (*)(IndexWork &work);
inline IndexBuilder pmBuildIndex =
    BuildIndexByVectors;  // FENWIRE_INDEX=bytes chooses the other one

#endif
