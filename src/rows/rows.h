// rows/rows.h - one record becomes one row at the infrastructure's boundary.

#ifndef FENWIRE_ROWS_ROWS_H
#define FENWIRE_ROWS_ROWS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"
#include "operator/messages.h"
#include "schema/schema_state.h"

// Reads the next record of the current file and hands it over. 43: a row went out; 12: end of this
// file; 68: the read timed out; 29: the record's length is not the schema's; 19, 48: failures, reported.
PxStatus FW_WriteRow(PxOperator *handle);

// Takes the next row from the infrastructure and writes it to the current file. 43: it is written; 42: end
// of data; 29: a column is longer than the schema allows; 48: failures, reported.
PxStatus FW_ReadRow(PxOperator *handle);

// A row's bytes and its columns in them.
struct RowView {
    const uint8_t *data;
    uint32_t length;
    const uint32_t *offsets, *lengths;
    const uint8_t *indicators;
};

inline constexpr uint32_t kEmptyRow = 0xFFFFFFFF;

[[gnu::cold]] PxStatus PutRowFailed(PxStatus status);  // reported; 48

inline PxStatus AnswerOfPutRow(PxStatus status)
{
    return status == PXSTC_Success ? PxStatus{PXSTC_SamePhase} : PutRowFailed(status);
}

// Hands a row over as it is. 43 or 48.
inline PxStatus PutRow(const RowView &row)
{
    return AnswerOfPutRow(Service(schemaHandle, &PxSchema::PX_PutRow, SG_ColCount, row.indicators,
                                  row.offsets, row.lengths, row.data,
                                  row.length == 0 ? kEmptyRow : row.length));
}

// Hands over one row, of the columns in SG_ColOffs, SG_ColLens, SG_IndBytes. 43, 29 or 48.
PxStatus FW_CheckPutRow(const uint8_t *row, uint32_t length, uint32_t expected_length);

// The same with the current file's name in its column: for a row that is whole, 43 or 48, and for the one
// in pmBuffer, 43, 29 or 48.
PxStatus PutRowWithFilename(const RowView &record);
PxStatus CheckPutRowWithFilename(uint32_t expected_length);

#endif
