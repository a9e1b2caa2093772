// pm/formats/text_scan.h - finding the end of a text record: what the parts of the reader share.

#ifndef FENWIRE_PM_FORMATS_TEXT_SCAN_H
#define FENWIRE_PM_FORMATS_TEXT_SCAN_H

#include <cstring>

#include "attributes/attributes_state.h"
#include "pm/pm_file.h"

// One search for the end of a record. Offsets are those of the buffer.
struct TextScan {
    pmFile *file;
    uint32_t offset = 0;  // of the next byte to look at; the record starts at BufferPosition
    uint32_t length = 0;  // of the record, once its mark is found
    bool inside_quotes = false;
    bool at_field_start = false;  // nothing of the record was looked at yet
    uint32_t begun_mark = 0;  // bytes of a CR before the offset, while the file's mark is unknown
};

// Each finds the end of the record: 0 with length set, or the code that ended the search.
int DefineEOR(TextScan &scan);  // first record: the file's mark is found out, EORLength and EOR set
int ScanLiteral(TextScan &scan);  // the reference: byte by byte
int ScanFast(TextScan &scan);     // the same for most jobs, by blocks

// The check for a byte order mark at the file's start, which is skipped. 0; 9: nothing follows it;
// 45, 46: not the data that the job expects.
int ProcessBOM(pmFile *file);

// The next block, with the offset on the same byte as before. 17 when the record is too long.
int RefillForScan(TextScan &scan);

// The mark lies at the offset, whole.
inline bool MarkAt(const TextScan &scan, const SpecialCharValue &mark)
{
    const auto length = static_cast<uint32_t>(mark.length);
    return mark.length > 0 && length <= scan.file->BufferEnd - scan.offset &&
           memcmp(scan.file->Buffer + scan.offset, mark.value, length) == 0;
}

// A delimiter of the same record ends where offset begins.
inline bool IsBehindDelimiter(const pmFile *file, uint32_t offset)
{
    const auto length = static_cast<uint32_t>(TextDelimiter.length);
    return TextDelimiter.length > 0 && length <= offset - file->BufferPosition &&
           memcmp(file->Buffer + offset - length, TextDelimiter.value, length) == 0;
}

#endif
