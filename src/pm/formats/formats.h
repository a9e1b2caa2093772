// pm/formats/formats.h - the record formats: how records lie in the blocks.

#ifndef FENWIRE_PM_FORMATS_FORMATS_H
#define FENWIRE_PM_FORMATS_FORMATS_H

#include "pm/pm_file.h"

// The next record of a text file, in the I/O buffer and with a zero behind it. 0; 9: no more; 35: the
// last record, and there is no end-of-record mark in the file; 17, 45, 46 and the back end's codes.
int pmrwfmtRtext(pmFile *file, pmRecord *record);

#endif
