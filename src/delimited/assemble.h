// delimited/assemble.h - packing the scanned columns into a row.

#ifndef FENWIRE_DELIMITED_ASSEMBLE_H
#define FENWIRE_DELIMITED_ASSEMBLE_H

#include <cstdint>

// Bytes behind the target buffer, and behind every record, that may be read and overwritten: short
// columns are copied with a fixed size.
inline constexpr uint32_t kCopySlack = 64;

// Copies the schema's columns one behind the other into the target buffer, where SG_ColOffs points
// then. Answers the row's length.
uint32_t PackColumns(const uint8_t *record);

// The table of what was found, to the private log at level 5.
void TraceRow(const uint8_t *row, int32_t columns_found);

#endif
