// delimited/characters.cpp

#include "delimited/characters.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"

static constexpr char kRoutine[] = "ScanColumns";

bool GrowCharacterLength(uint32_t record_length)
{
    constexpr uint32_t kFirstSize = 65536;

    if (CharacterLength != nullptr && record_length <= CharacterLengthSize)
        return true;
    FW_TRACE(4, "Old CharacterLengthSize %u", CharacterLengthSize);
    const uint32_t size =
        std::max(CharacterLengthSize == 0 ? kFirstSize : CharacterLengthSize, record_length);
    const size_t bytes = size_t{size} * sizeof(uint32_t);
    auto *grown = static_cast<uint32_t *>(realloc(CharacterLength, bytes));
    if (grown == nullptr) {
        char shown[24];
        snprintf(shown, sizeof shown, "%zu", bytes);
        FW_ERROR("Unable to re-allocate %s bytes of memory for: %s", shown,
                 "CharacterLength increase");
        FW_Message<19140>(shown);
        return false;
    }
    CharacterLength = grown;
    CharacterLengthSize = size;
    FW_TRACE(4, "New CharacterLengthSize %u", CharacterLengthSize);
    return true;
}

void FreeCharacterLength()
{
    free(CharacterLength);
    CharacterLength = nullptr;
    CharacterLengthSize = 0;
}

// A character that ends the scan: malformed, or of no length.
static bool BadCharacterHere(ScanState &s)
{
    if (badmbcs != 0 && Private_loghandle != nullptr) {
        FW_Trace(kRoutine, TraceKind::Error, "Invalid MBC encountered in row %lld",
                 static_cast<long long>(RowCount));
        FW_Dump(kRoutine, "", s.cursor, 8);
        FW_Trace(kRoutine, TraceKind::Error, "invalid %s character at input buffer offset x'%08X'",
                 SG_CharsetName, static_cast<uint32_t>(s.cursor - s.begin) - s.gap);
        FW_Trace(kRoutine, TraceKind::Plain, "This is a fatal error");
    }
    DumpFileInfo(-1);
    ++s.column;
    return Stop(s, BadCharacter);
}

// With a record error file the scan goes on, and the record is judged at its end.
static bool WideCharacterHere(ScanState &s)
{
    if (SG_pmFpErrors == 0) {
        s.wide_column = ++s.column;
        return Stop(s, BadCharacter);
    }
    if (s.wide_column == 0)
        s.wide_column = s.column + 1;
    return true;
}

bool CharacterStep(ScanState &s, uint32_t *width)
{
    uint32_t bytes = 1;

    // A replacement of bad characters, once there is one, is decided here and edits the record.
    badmbcs = fourByteUTF = 0;
    if (OptMBCerr != 0 && CharLengthFn(s.cursor, &bytes) == 0)
        bytes = 1;
    if (bytes == 0 && Private_loghandle != nullptr)
        FW_Trace(kRoutine, TraceKind::Error, "zero length character encountered in row %lld",
                 static_cast<long long>(RowCount));
    if (bytes == 0 || badmbcs != 0) [[unlikely]]
        return BadCharacterHere(s);
    if (fourByteUTF != 0 && !WideCharacterHere(s)) [[unlikely]]
        return false;
    *width = static_cast<uint32_t>(std::min<ptrdiff_t>(bytes, s.end - s.cursor));
    return true;
}

void EnterCharacter(ScanState &s, uint32_t bytes) { CharacterLength[s.characters++] = bytes; }

// The length functions look up to three bytes ahead, where nothing belongs to the character any more.
static int32_t LengthWithin(const uint8_t *at, uint32_t left, uint32_t *bytes)
{
    uint8_t last[4] = {};

    *bytes = 1;
    if (left < sizeof last) {
        memcpy(last, at, left);
        at = last;
    }
    return OptMBCerr == 0 ? 0 : CharLengthFn(at, bytes);
}

uint32_t CharacterWidth(const uint8_t *at, uint32_t left)
{
    uint32_t bytes = 0;
    if (LengthWithin(at, left, &bytes) == 0 || bytes == 0)
        return 1;
    return std::min(bytes, left);
}

bool IsReadableCharacter(const uint8_t *at, uint32_t left, uint32_t *width)
{
    badmbcs = fourByteUTF = 0;
    if (LengthWithin(at, left, width) == 0)
        *width = 1;
    const bool readable = *width != 0 && badmbcs == 0 && fourByteUTF == 0;
    *width = std::min(*width, left);
    return readable;
}

static void EnterUpto(ScanState &s, uint32_t column_bytes)
{
    const uint8_t *data = s.begin + s.offset + s.opening;
    while (s.entered < column_bytes) {
        const uint32_t width = CharacterWidth(data + s.entered, column_bytes - s.entered);
        EnterCharacter(s, width);
        s.entered += width;
    }
}

void EnterSpecial(ScanState &s, uint32_t bytes, bool has_entry)
{
    Settle(s, s.cursor);
    EnterUpto(s, FieldLength(s));
    if (has_entry)
        EnterCharacter(s, bytes);
    s.entered += bytes;
    s.special = true;
}

void EnterRest(ScanState &s, uint32_t column_length)
{
    Settle(s, s.cursor);
    EnterUpto(s, column_length);
}

uint32_t FittingBytes(const uint8_t *data, uint32_t length, uint32_t maximum)
{
    uint32_t taken = 0;
    while (taken < length) {
        const uint32_t width = CharacterWidth(data + taken, length - taken);
        if (taken + width > maximum)
            break;
        taken += width;
    }
    return taken;
}
