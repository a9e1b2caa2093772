// delimited/create.h - a row becomes one delimited record.

#ifndef FENWIRE_DELIMITED_CREATE_H
#define FENWIRE_DELIMITED_CREATE_H

#include <cstdint>

// Takes the row in pmBuffer, whose Data and DataLength are those of the whole row, indicator bytes
// included, and whose columns lie where the arrays say: offsets in bytes from the row's start, indicators
// (0: there is a value, else NULL), lengths in bytes. The caller has checked that each value lies in the
// row; a NULL column's offset and length are not looked at. On 0 pmBuffer holds the record, without an
// end-of-record mark, until the next call. 5: a character error, which no writer reports today; 12: no
// memory for the record, reported.
int32_t CreateDelimitedText(int32_t columns, const uint32_t *offsets, const uint8_t *indicators,
                            const uint32_t *lengths);

// Settles how rows are written; the scanners' view of the marks stands.
void ChooseRowWriter();

void FreeCreatedText();  // may be called again

#endif
