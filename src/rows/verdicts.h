// rows/verdicts.h - what a record that is no complete row costs.

#ifndef FENWIRE_ROWS_VERDICTS_H
#define FENWIRE_ROWS_VERDICTS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"
#include "schema/var_fields.h"

// Settles a verdict of ExtractDelimitedText other than RowComplete. 0: the row goes on as it lies in
// pmBuffer and the column arrays; 45: the record is left out, the next one is to be read; 48: the job
// fails, reported.
PxStatus SettleVerdict(int32_t verdict);

// The record in pmBuffer does not have the length of a row. 45, 48; 0: without a record error file that
// is the hand-over's to report.
PxStatus SettleLength(uint32_t expected);

// The record in pmBuffer has a column whose length can't be. 45; 48, reported.
PxStatus SettleFault(const RowFault &fault);

// Message 19995, where the record in pmBuffer, which ends the job, looks like another character set's.
void HintAtCharSet();

// Message 19991 and exit code 4: the record that was just cut ends inside quotes.
void WarnOfUnclosedQuote();

#endif
