// schema/var_fields.h - where the columns of a binary row lie.

#ifndef FENWIRE_SCHEMA_VAR_FIELDS_H
#define FENWIRE_SCHEMA_VAR_FIELDS_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// Walks the row in pmBuffer and stores each column's indicator, offset and length in SG_IndBytes,
// SG_ColOffs and SG_ColLens. *row_length is the position that was reached. 0; 29: the row is too short,
// reported (19113); 48: a length that can't be, reported.
PxStatus FW_SetVarFields(uint32_t *row_length);

#endif
