// schema/var_fields.cpp - FW_SetVarFields.

#include "schema/var_fields.h"

#include "operator/messages.h"

PxStatus FW_SetVarFields(uint32_t *) { return NotAvailable("Format", "rows of variable length"); }
