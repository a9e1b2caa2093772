// delimited/verdict.h - what became of a record, and the words for it.

#ifndef FENWIRE_DELIMITED_VERDICT_H
#define FENWIRE_DELIMITED_VERDICT_H

#include <cstdint>

enum Verdict : int32_t {
    RowComplete = 0,
    TooManyColumns = 1,
    TooFewColumns = 2,
    FieldOverflow = 3,
    OutOfMemory = 4,
    BadCharacter = 5,
    NotInitialized = 6,
    NotAnOpenQuote = 8,
    NoDelimiterAfterQuote = 9,
    BadQuoteEscape = 10,
    EscapeAtEnd = 11,
};

// Whether the job's settings let the row of such a record go on all the same.
bool IsTolerated(Verdict verdict);

// Whether such a record is kept as it was read: not where a setting tolerates it without a log.
bool IsKept(Verdict verdict);

// The end of a record that is no complete row: puts the verdict into words (ExtractErrMsg), traces it
// and, where it costs the row, the file. A tolerated row that nobody is told of gets no words.
// columns: found so far; column: the one at fault, from 1. Answers the verdict.
Verdict RefuseRecord(Verdict verdict, int32_t columns, int32_t column);

// A column's name, "(null)" for a number that the schema doesn't have.
const char *ColumnName(int32_t column);

#endif
