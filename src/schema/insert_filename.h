// schema/insert_filename.h - the column that takes the name of the file a row came from.
//
// It is not read, so it stays out of the column arrays and of SG_ColCount: what cuts records knows the
// file's own columns only. Found while the schema is read, filled at each file's opening, put into
// the rows by rows/insert_filename.cpp.

#ifndef FENWIRE_SCHEMA_INSERT_FILENAME_H
#define FENWIRE_SCHEMA_INSERT_FILENAME_H

#include "infrastructure/infrastructure.h"

// A column of a schema to read from whose metadata type is not 0; number from 1. 0 when it is the file
// name column, taken over; 48: refused, reported.
[[nodiscard]] PxStatus TakeMetadataColumn(int32_t number, uint32_t metadata, uint32_t type,
                                          uint32_t length);

// The buffers, once SG_ColCount is without the column. 0 or 48, reported.
[[nodiscard]] PxStatus AllocateFilenameRow();

// Takes the name of a file that was opened. 0, also without such a column; 48: the name doesn't fit,
// reported.
[[nodiscard]] PxStatus NoteFilename(const char *path);

void FreeFilenameColumn();  // forgets the column; may be called again

#endif
