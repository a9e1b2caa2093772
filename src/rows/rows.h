// rows/rows.h - one record becomes one row at the infrastructure's boundary.

#ifndef FENWIRE_ROWS_ROWS_H
#define FENWIRE_ROWS_ROWS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// Reads the next record of the current file and hands it over. 43: a row went out; 12: end of this
// file; 68: the read timed out; 29: the record's length is not the schema's; 19, 48: failures, reported.
PxStatus FW_WriteRow(PxOperator *handle);

// Hands over one row. 43, 29 or 48.
PxStatus FW_CheckPutRow(const uint8_t *row, uint32_t length, uint32_t expected_length);

// The same for the row in pmBuffer, with the current file's name in its column. 43, 29 or 48.
PxStatus PutRowWithFilename(uint32_t expected_length);

#endif
