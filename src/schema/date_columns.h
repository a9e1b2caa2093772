// schema/date_columns.h - columns whose dates are rewritten from one format into another.

#ifndef FENWIRE_SCHEMA_DATE_COLUMNS_H
#define FENWIRE_SCHEMA_DATE_COLUMNS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// Asks for the formats of column at (from 0, rising) and compiles them. A column without a pair of them
// stays as it is. 0; 48: a format that can't be used, or a failed service, reported.
PxStatus TakeDateFormats(PxColumn *object, const char *name, int32_t at);

// The room for a rewritten row, when there is a column to rewrite. 0; 48: no memory, reported.
PxStatus AllocateDateRow();

// Gives dtOutputRow room for a row that is row_length bytes long before it is rewritten. 0 or 48.
PxStatus ReserveDateRow(uint32_t row_length);

void FreeDateColumns();  // may be called again

#endif
