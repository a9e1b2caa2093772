// delimited/read_back.h - whether a record that was written is read as the row that it was made of.

#ifndef FENWIRE_DELIMITED_READ_BACK_H
#define FENWIRE_DELIMITED_READ_BACK_H

#include "delimited/outgoing_row.h"

// Whether a job with the same settings finds in the record what is in the row; NULL and empty values count
// as the same. leads: it is the first record of its file, from which a reader learns how records end.
bool ReadsBack(const OutgoingRow &row, const uint8_t *record, const uint8_t *end, bool leads);

#endif
