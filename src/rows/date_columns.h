// rows/date_columns.h - the dates of a row, from their input into their output formats.

#ifndef FENWIRE_ROWS_DATE_COLUMNS_H
#define FENWIRE_ROWS_DATE_COLUMNS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// Rewrites the date columns of the row in pmBuffer and the column arrays. 0, and pmBuffer is the new
// row, in dtOutputRow; or a DateError, with the column at fault in VerdictColumn and the row unusable.
int32_t FormatVarDateColsInRow();

// The same for the row path, ahead of what the record's verdict costs, so that a row that would go on
// changed and then fail for its date is kept and reported once. A row that won't go on stays as it is. 0;
// 45: the record is left out, the next one is to be read; 48: the job fails, reported.
PxStatus ReformatDates(int32_t verdict);

#endif
