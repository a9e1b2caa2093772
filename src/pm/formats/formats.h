// pm/formats/formats.h - the record formats: how records lie in the blocks.

#ifndef FENWIRE_PM_FORMATS_FORMATS_H
#define FENWIRE_PM_FORMATS_FORMATS_H

#include "pm/pm_file.h"

// The next record of a text file, in the I/O buffer and with a zero behind it. 0; 9: no more; 35: the
// last record, and there is no end-of-record mark in the file; 17, 45, 46 and the back end's codes.
int pmrwfmtRtext(pmFile *file, pmRecord *record);

// Appends a record and its mark to the I/O buffer, which is written out when it is full, or when flush
// says so. A record without bytes is left out, unless the file is exact. Null: flush alone. 0; 17: the
// record is longer than the buffer; 34 and the back end's codes.
int pmrwfmtWtext(pmFile *file, const pmRecord *record, bool flush);

// Records with a length prefix: formats 2 to 7. Reader: 0; 9 at the end; 16: the bytes are no such record;
// 17: it is longer than the buffer. Writer: likewise 17.
int pmrwfmtRvli(pmFile *file, pmRecord *record);
int pmrwfmtWvli(pmFile *file, const pmRecord *record, bool flush);

// Records without any frame: format 8. The reader takes DataLength bytes, and fewer at the end of the file;
// where the schema says how long a row is, pmSetReader puts another one in its place.
int pmrwfmtRnone(pmFile *file, pmRecord *record);
int pmrwfmtWnone(pmFile *file, const pmRecord *record, bool flush);

// What the start of a text file tells of its records: the end-of-record mark, and whether the file is
// what the job expects. 34: no record ends in it. The others learn nothing.
int pmrwfmtDtext(pmFile *file);
int pmrwfmtDnone(pmFile *file);

inline int NoRecord(pmRecord *record, int code)
{
    record->Data = nullptr;
    record->DataLength = 0;
    return code;
}

// A writer that was called for nothing: traced, with its words as the text of code 34; 34.
int WriteLogicError();

// The end-of-record mark of a written text file. It is a line feed in the width of the data.
void SetWriterMark(pmFile *file);

#endif
