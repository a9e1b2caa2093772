// delimited/delimited_state.h - what the column scan leaves behind for the row path.

#ifndef FENWIRE_DELIMITED_DELIMITED_STATE_H
#define FENWIRE_DELIMITED_DELIMITED_STATE_H

#include <cstdint>

// ---- Outcome of a record ----------------------------------------------------------------------
// Writers: delimited/extract.cpp delimited/assemble.cpp delimited/verdict.cpp delimited/scan_columns.h delimited/validate_case.cpp operator/file_info.cpp
inline uint32_t bUsingUDDI = 0;  // the parsing case was validated; extraction refuses to run before
inline int32_t ActualColumnCount = 0;  // columns found in the record
inline char ExtractErrMsg[4096] = "";  // the verdict in words

#endif
