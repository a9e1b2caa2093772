// schema/establish.h - taking the job's schema over from the infrastructure.

#ifndef FENWIRE_SCHEMA_ESTABLISH_H
#define FENWIRE_SCHEMA_ESTABLISH_H

#include "infrastructure/infrastructure.h"

// Fills the column arrays, classifies the columns and refuses what the format can't carry. 0 or 48,
// reported. The parsing case is validated by the caller, who stands above the delimited engine.
PxStatus FW_EstablishSchema();

void FreeSchema();  // releases the arrays; may be called again

const char *TypeName(uint32_t type);  // "VARCHAR"; "UNTYPED" beyond the table

#endif
