// pm/formats/text_scan.cpp - the end of a record, byte by byte, once the file's mark is known.
//
// This is the reference for every faster way. It minds quotes: a mark inside a quoted field is data.
// An open quote mark counts only where a field begins, that is at the record's start or behind a
// delimiter. UTF-16 is walked by single bytes too; the mark must match as a whole, wherever it lies.

#include "pm/formats/text_scan.h"

#include <algorithm>

#include "pm/pm_state.h"
#include "pm/pm_trace.h"

namespace {

// An open quote mark of several bytes may have been cut by the end of the buffer, and its first bytes
// taken for data. Now that more is there, the scan goes back to the record's start. Inside quotes nothing
// was mistaken: the marks that matter there are waited for whole.
void RepairQuotes(TextScan &scan)
{
    if (scan.inside_quotes || bLongOpenQuote == 0)
        return;
    scan.offset = 0;
    PM_TRACE(4, "moved offset back to: %u %s", scan.offset,
             "because we might be in middle of reading open quote mark between buffers");
    // Kept: at the record's first byte an open quote mark of several bytes is data from now on, unlike
    // in a record that lies whole in the buffer.
    scan.at_field_start = false;
}

// The width that the test for the record's mark needs; inside quotes, that of the marks which count there.
uint32_t WantedWidth(const TextScan &scan, uint32_t needed)
{
    if (!scan.inside_quotes)
        return needed;
    return std::max(needed, static_cast<uint32_t>(
                                std::max(EscapeQuoteCharacter.length, CloseQuoteMark.length)));
}

int MakeRoom(TextScan &scan, uint32_t needed)
{
    const pmFile *file = scan.file;
    while (scan.offset + WantedWidth(scan, needed) > file->BufferEnd) {
        const int code = RefillForScan(scan);
        if (code == pmrcEOF && scan.offset + needed <= file->BufferEnd)
            return pmrcOk;
        if (code != pmrcOk)
            return code;
        RepairQuotes(scan);
    }
    return pmrcOk;
}

bool StepIntoQuotes(TextScan &scan)
{
    const pmFile *file = scan.file;
    if (scan.inside_quotes || !MarkAt(scan, OpenQuoteMark))
        return false;
    if (!scan.at_field_start && !IsBehindDelimiter(file, scan.offset))
        return false;
    scan.inside_quotes = true;
    scan.at_field_start = false;
    scan.offset += static_cast<uint32_t>(OpenQuoteMark.length);
    return true;
}

// What an escape mark escapes is passed over with it.
int StepOverEscape(TextScan &scan, uint32_t needed)
{
    scan.offset += static_cast<uint32_t>(EscapeQuoteCharacter.length);
    if (const int code = MakeRoom(scan, needed); code != pmrcOk)
        return code;
    for (const SpecialCharValue *mark : {&EscapeQuoteCharacter, &CloseQuoteMark}) {
        if (MarkAt(scan, *mark)) {
            scan.offset += static_cast<uint32_t>(mark->length);
            break;
        }
    }
    return pmrcOk;
}

// The data ends within what may be a close quote mark. Anything else is not waited for: behind a quoted
// field a pipe's last record may be complete.
bool MayBeginClose(const TextScan &scan)
{
    const auto length = static_cast<uint32_t>(CloseQuoteMark.length);
    const uint32_t left = scan.file->BufferEnd - scan.offset;
    return left < length &&
           memcmp(scan.file->Buffer + scan.offset, CloseQuoteMark.value, left) == 0;
}

// A doubled close quote mark stays inside.
int StepOverClose(TextScan &scan)
{
    int code = pmrcOk;
    scan.offset += static_cast<uint32_t>(CloseQuoteMark.length);
    while (code == pmrcOk && MayBeginClose(scan))
        code = RefillForScan(scan);
    if (code != pmrcOk && code != pmrcEOF)
        return code;
    scan.inside_quotes = MarkAt(scan, CloseQuoteMark);
    if (scan.inside_quotes)
        scan.offset += static_cast<uint32_t>(CloseQuoteMark.length);
    return pmrcOk;
}

int StepInsideQuotes(TextScan &scan, uint32_t needed)
{
    if (MarkAt(scan, EscapeQuoteCharacter))
        return StepOverEscape(scan, needed);
    if (MarkAt(scan, CloseQuoteMark))
        return StepOverClose(scan);
    ++scan.offset;
    return pmrcOk;
}

// The file's mark begins back bytes before the offset, where its last byte to be tested first lies.
bool IsEndOfRecord(TextScan &scan, uint32_t back)
{
    const pmFile *file = scan.file;
    const uint8_t *at = file->Buffer + scan.offset;
    if (*at != file->EOR[back] || scan.offset < file->BufferPosition + back ||
        memcmp(at - back, file->EOR, file->EORLength) != 0)
        return false;
    scan.length = scan.offset - back - file->BufferPosition;
    return true;
}

}  // namespace

int ScanLiteral(TextScan &scan)
{
    const pmFile *file = scan.file;
    // Big-endian UTF-16 is found by its second byte, which is rare; all else by its first.
    const uint32_t back = CharSetFamily == kFamilyUtf16 && file->Endian == kBigEndian ? 1 : 0;
    const uint32_t needed = file->EORLength - back;

    scan.offset = file->BufferPosition;
    scan.at_field_start = true;
    for (;;) {
        if (const int code = MakeRoom(scan, needed); code != pmrcOk)
            return code;
        if (file->bQuotes != 0) {
            if (StepIntoQuotes(scan))
                continue;
            scan.at_field_start = false;
            if (scan.inside_quotes) {
                if (const int code = StepInsideQuotes(scan, needed); code != pmrcOk)
                    return code;
                continue;
            }
        }
        if (IsEndOfRecord(scan, back))
            return pmrcOk;
        ++scan.offset;
    }
}
