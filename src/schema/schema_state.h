// schema/schema_state.h - the job's columns, as parallel arrays over data columns from 0.
//
// Allocated and filled once by FW_EstablishSchema. Lengths and offsets are those of the current row.

#ifndef FENWIRE_SCHEMA_SCHEMA_STATE_H
#define FENWIRE_SCHEMA_SCHEMA_STATE_H

#include <cstdint>

#include "convert/dates.h"
#include "infrastructure/infrastructure.h"

// ---- Columns ----------------------------------------------------------------------------------
// Writers: schema/establish.cpp schema/var_fields.cpp delimited/extract.cpp rows/insert_filename.cpp rows/date_columns.cpp
// Filled through ScanState: delimited/column_close.h, delimited/column_close.cpp, delimited/assemble.cpp
inline PxSchema *schemaHandle = nullptr;
inline int32_t SG_ColCount = 0;
inline uint8_t *SG_IndBytes = nullptr;      // 1: the column is NULL in this row
inline uint32_t *SG_ColLens = nullptr;      // bytes in this row
inline uint32_t *SG_ColLensBase = nullptr;  // declared bytes
inline uint32_t *SG_ColLensOrig = nullptr;  // bytes before truncation
inline uint32_t *SG_ColOffs = nullptr;      // offset in this row
inline uint32_t *SG_ColTypes = nullptr;     // type codes, 0 to 68
inline uint16_t *SG_ColPrecision = nullptr, *SG_ColScale = nullptr;
inline const char **SG_ColNames = nullptr;  // the infrastructure's texts
inline uint32_t *SG_IsInlineLOB = nullptr, *SG_IsVarType = nullptr;

// ---- The row as a whole -----------------------------------------------------------------------
// Writers: schema/establish.cpp operator/file_info.cpp
inline uint32_t SG_VARtypesFlag = 0, SG_LOBStypesFlag = 0, SG_NUMtypesFlag = 0, bLOBsINschema = 0;
inline uint32_t NumIndBytes = 0;        // indicator bytes at the head of a row
inline uint32_t TotalFixedLength = 0;   // bytes of a row with every column at its declared length
inline uint32_t BufferFixedLength = 0;  // NumIndBytes and the declared lengths, without prefixes
inline uint32_t ConvertDelimitedData = 0;
inline int32_t DelimitedExtraLength = 0;

// A run of fixed columns, and one of columns with a length of the same width behind it; each may be empty.
struct WalkStep {
    int32_t first_with_length = 0;
    int32_t end = 0;         // column behind both
    uint32_t run_bytes = 0;  // of the fixed columns
    uint32_t prefix = 0;     // bytes of each length
};

// ---- The steps that a binary row is walked in -------------------------------------------------
// Writers: schema/var_fields.cpp
struct WalkSteps {
    WalkStep *first = nullptr;
    uint32_t steps = 0;
    uint32_t *place_in_run = nullptr;  // by column: of the fixed ones
};
inline WalkSteps Walk;

// ---- The column that takes the input file's name ----------------------------------------------
// It is no data column: the arrays and SG_ColCount are without it.
// Writers: schema/insert_filename.cpp
inline int32_t InsertFilenameColNum = 0;     // as the schema counts, from 1. 0: there is none
inline uint32_t InsertFilenameColType = 0;   // CHAR or VARCHAR
inline int32_t InsertFilenameMaxLen = 0;     // declared bytes
inline int32_t InsertFilenameColLen = 0;     // in a row: CHAR as declared, VARCHAR as the name has
inline int32_t InsertFilenamePrefixLen = 0;  // bytes of a length prefix in front of them
inline int32_t CurrentFilenameLen = 0;
inline char *CurrentFilename = nullptr;  // what goes into the row, blank padded in a CHAR column

// The row with the name in it: room for BufferSize bytes, and arrays of SG_ColCount + 1 columns.
struct WidenedRow {
    uint8_t *bytes = nullptr;
    uint8_t *indicators = nullptr;
    uint32_t *offsets = nullptr, *lengths = nullptr;
};
inline WidenedRow FilenameRow;

// ---- Columns whose dates are reformatted ------------------------------------------------------
// Writers: schema/date_columns.cpp
inline int32_t DateColumnCount = 0;
inline int32_t *DateColumns = nullptr;  // their indices, in rising order
inline DateFormat **dtEncodedFormatStrsIn = nullptr,
                  **dtEncodedFormatStrsOut = nullptr;  // by column
inline uint8_t *dtOutputRow = nullptr;                 // the row as it was rewritten
inline uint32_t dtInputRowLimit = 0;  // bytes of the longest row that dtOutputRow has room for

#endif
