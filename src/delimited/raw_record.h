// delimited/raw_record.h - the record as it was read, for those who keep or report bad records.
//
// pmBufferOrig points at the record itself for as long as nothing has changed it. The first change in
// place copies it, so that a record without escapes and doubled quotes costs nothing.

#ifndef FENWIRE_DELIMITED_RAW_RECORD_H
#define FENWIRE_DELIMITED_RAW_RECORD_H

#include <cstddef>
#include <cstdint>

// Makes room for a copy of a record of that many bytes. False: no memory, reported.
bool GrowRawCopy(size_t bytes);

// Copies the record that pmBufferOrig points at, which is about to be changed, and points at the copy.
void KeepRawRecord();

void FreeRawCopy();  // may be called again

#endif
