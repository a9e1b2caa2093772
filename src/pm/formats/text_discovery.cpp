// pm/formats/text_discovery.cpp - the first record of a file, which settles how its records end.
//
// The first line end outside quotes is the file's end-of-record mark: LF, or CR and LF when they stand
// together, in the width of the data. Characters are walked here by the character set, so that no
// trail byte is taken for a line end; what is malformed is traced and walked over.

#include <algorithm>

#include "operator/messages.h"
#include "pm/formats/text_scan.h"
#include "pm/pm_state.h"
#include "pm/pm_trace.h"

namespace {

constexpr uint8_t kCr = 0x0D, kLf = 0x0A;
constexpr uint32_t kLongestCharacter = 4;

bool IsUtf16() { return CharSetFamily == kFamilyUtf16; }

uint32_t LongestQuoteMark()
{
    return static_cast<uint32_t>(
        std::max({OpenQuoteMark.length, CloseQuoteMark.length, EscapeQuoteCharacter.length}));
}

// At least one unit at the offset, and the whole of a longer character or quote mark as far as the
// file has it.
int MakeRoom(TextScan &scan)
{
    const pmFile *file = scan.file;
    const uint32_t needed = IsUtf16() ? 2 : 1;
    int code = pmrcOk;

    while (code == pmrcOk && scan.offset + needed > file->BufferEnd)
        code = RefillForScan(scan);
    if (code != pmrcOk)
        return code;
    uint32_t wanted = file->bQuotes != 0 ? LongestQuoteMark() : 0;
    if (IsUtf16() || file->Buffer[scan.offset] >= 0x80)
        wanted = std::max(wanted, kLongestCharacter);
    while (code == pmrcOk && scan.offset + wanted > file->BufferEnd)
        code = RefillForScan(scan);
    return code == pmrcEOF ? int{pmrcOk} : code;
}

[[gnu::noinline]] void TraceBadCharacter(const TextScan &scan, uint32_t width)
{
    const auto row = static_cast<unsigned long long>(FileRecordCount) + 1;
    if (width == 0)
        PM_TRACE(1, "!ERROR! zero length character encountered in row %llu", row);
    if (badmbcs == 0)
        return;
    PM_TRACE(1, "!ERROR! Invalid MBC encountered in row %llu", row);
    if (FW_TraceLvl > 1)
        pmHexDmp(kDumpMessage, static_cast<uint32_t>(MaxBytesToDump),
                 scan.file->Buffer + scan.offset, 8, "Invalid MBC", true);
    PM_TRACE(1, "!ERROR! invalid %s character at output buffer offset x'%08X'", SG_CharsetName,
             scan.offset);
    PM_TRACE(1, "This is a fatal error");
}

// Never 0, and never beyond the data.
uint32_t CharacterWidth(const TextScan &scan)
{
    const pmFile *file = scan.file;
    uint32_t width = 1;

    badmbcs = 0;
    if (OptMBCerr == 0 || CharLengthFn(file->Buffer + scan.offset, &width) == 0)
        width = 1;
    if (width == 0 || badmbcs != 0)
        TraceBadCharacter(scan, width);
    return std::clamp(width, 1U, file->BufferEnd - scan.offset);
}

// A line end's low byte, or 0.
uint8_t LowByte(const TextScan &scan, uint32_t width)
{
    const uint8_t *at = scan.file->Buffer + scan.offset;
    if (!IsUtf16() || width == 1)
        return at[0];
    const bool little = scan.file->Endian == kLittleEndian;
    const uint8_t low = little ? at[0] : at[1], high = little ? at[1] : at[0];
    return high == 0 ? low : uint8_t{0};
}

void TakeMark(TextScan &scan, uint32_t width)
{
    pmFile *file = scan.file;
    const uint32_t end = scan.offset + width;
    const uint32_t length = width + scan.begun_mark;
    file->EORLength = static_cast<uint16_t>(length);
    memcpy(file->EOR, file->Buffer + end - length, length);
    scan.length = end - length - file->BufferPosition;
    if (pmTraceLvl > 2)
        pmHexDmp(kDumpMessage, kDumpBytes, file->EOR, length, "valid EOR found:", false);
}

int SkipMark(TextScan &scan, const SpecialCharValue &mark)
{
    scan.offset += static_cast<uint32_t>(mark.length);
    return MakeRoom(scan);
}

// What an escape mark escapes is passed over with it.
int StepOverEscape(TextScan &scan)
{
    if (const int code = SkipMark(scan, EscapeQuoteCharacter); code != pmrcOk)
        return code;
    for (const SpecialCharValue *mark : {&EscapeQuoteCharacter, &CloseQuoteMark}) {
        if (MarkAt(scan, *mark)) {
            scan.offset += static_cast<uint32_t>(mark->length);
            break;
        }
    }
    return pmrcOk;
}

// A doubled close quote mark stays inside.
int StepOverClose(TextScan &scan)
{
    scan.inside_quotes = false;
    if (const int code = SkipMark(scan, CloseQuoteMark); code != pmrcOk)
        return code;
    if (MarkAt(scan, CloseQuoteMark)) {
        scan.inside_quotes = true;
        scan.offset += static_cast<uint32_t>(CloseQuoteMark.length);
    }
    return pmrcOk;
}

int StepInsideQuotes(TextScan &scan)
{
    if (MarkAt(scan, EscapeQuoteCharacter))
        return StepOverEscape(scan);
    if (MarkAt(scan, CloseQuoteMark))
        return StepOverClose(scan);
    scan.offset += CharacterWidth(scan);
    return pmrcOk;
}

// Here, unlike in later records, an open quote mark opens wherever it stands.
void StepIntoQuotes(TextScan &scan)
{
    scan.inside_quotes = true;
    scan.begun_mark = 0;
    scan.offset += static_cast<uint32_t>(OpenQuoteMark.length);
}

int FindMark(TextScan &scan)
{
    for (;;) {
        if (const int code = MakeRoom(scan); code != pmrcOk)
            return code;
        if (scan.inside_quotes) {
            if (const int code = StepInsideQuotes(scan); code != pmrcOk)
                return code;
            continue;
        }
        if (scan.file->bQuotes != 0 && MarkAt(scan, OpenQuoteMark)) {
            StepIntoQuotes(scan);
            continue;
        }
        const uint32_t width = CharacterWidth(scan);
        const uint8_t low = LowByte(scan, width);
        if (low == kLf) {
            TakeMark(scan, width);
            return pmrcOk;
        }
        scan.begun_mark = low == kCr ? width : 0;
        scan.offset += width;
    }
}

}  // namespace

int DefineEOR(TextScan &scan)
{
    pmFile *file = scan.file;
    int code = pmrcOk;

    if (file->BufferEnd == 0)
        code = pmReadn2Buf(file);
    if (code == pmrcOk && file->BeginningOfFile != 0 && file->bBOMFound == 0)
        code = ProcessBOM(file);
    if (code != pmrcOk)
        return code;
    PM_TRACE(4, "Searching for x'%02x' or x'%02x%02x'", kLf, kCr, kLf);
    scan.offset = file->BufferPosition;
    return FindMark(scan);
}
