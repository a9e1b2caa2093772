// rows/read_row.cpp - FW_ReadRow: the next row of the stream becomes a record of the current file.

#include "rows/rows.h"

PxStatus FW_ReadRow(PxOperator *) { return NotAvailable("OpenMode", "writing files"); }
