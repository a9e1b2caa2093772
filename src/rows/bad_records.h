// rows/bad_records.h - what is done with a record that was found bad, whoever found it.
//
// A bad record goes to the record error file as it was read (pmBufferOrig), and to the infrastructure
// as statistic PX_STAT_BadRecord. Whether the job goes on is decided here too: it does, without the
// record, as long as a record error file is open and its limit is not reached.

#ifndef FENWIRE_ROWS_BAD_RECORDS_H
#define FENWIRE_ROWS_BAD_RECORDS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

struct BadRecord {
    const char *reason;     // in words, one line
    uint32_t message = 0;   // number of the message that tells of the same fault, 0: none
    int32_t column = 0;     // at fault, from 1; 0: none
    bool left_out = true;   // no row comes of it
    bool keep_out = false;  // of the record error file
};

// Keeps and reports the record in pmBufferOrig. 0; 48: it could not be kept, which is reported.
PxStatus ReportBadRecord(const BadRecord &bad);

// The same for a record of which no row comes, and what follows from that:
//   45  the record is left out; the next one is to be read
//   48  the job ends, reported: the record could not be kept, or reached the limit
//   0   there is no record error file: the caller reports what is wrong and ends the job
PxStatus LeaveOutRecord(const BadRecord &bad);

#endif
