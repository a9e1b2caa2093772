// rows/changed_rows.h - rows that went on without all of their record's data, as settings allow.
//
// Nobody is told of such a row by itself: there may be as many as records. They are counted for the
// report, and where no setting asked for the loss in so many words, the file's end warns of it.

#ifndef FENWIRE_ROWS_CHANGED_ROWS_H
#define FENWIRE_ROWS_CHANGED_ROWS_H

#include "delimited/verdict.h"

void ForgetChangedRows();  // a file begins

// The row of the current record goes on with this verdict.
void CountChangedRow(Verdict verdict);

// The row of the current record goes on as complete, but its scan ignored what follows the last column.
void CountIgnoredExcess();

// Messages 19998 and 19999, and of a written file 19987 and 19988, with exit code 4, at the end of a file.
void WarnOfChangedRows();

#endif
