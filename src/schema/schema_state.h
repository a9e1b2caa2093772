// schema/schema_state.h - the job's columns, as parallel arrays over data columns from 0.
//
// Allocated and filled once by FW_EstablishSchema. Lengths and offsets are those of the current row.

#ifndef FENWIRE_SCHEMA_SCHEMA_STATE_H
#define FENWIRE_SCHEMA_SCHEMA_STATE_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// ---- Columns ----------------------------------------------------------------------------------
// Writers: schema/establish.cpp delimited/extract.cpp
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
inline int32_t InsertFilenameColNum = 0;  // from 1; 0: no column holds the file's name

#endif
