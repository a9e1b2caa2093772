// rows/char_set_hint.cpp - a bad record may be a good one of another character set.
//
// A file of UTF-16 without a byte order mark, read byte by byte, falls apart at some record with words
// that lead nowhere ("too few columns"), and so do bytes that are read as UTF-16. The record tells.

#include <algorithm>
#include <cstring>

#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/verdicts.h"

static bool IsPrintable(uint8_t byte) { return byte >= ' ' && byte <= '~'; }

// Text of UTF-16 has NUL bytes as soon as it has a mark or a letter of ASCII; text of bytes has none.
static bool LooksLikeAnotherSet()
{
    constexpr size_t kFewBytes = 8;  // too few to tell text of bytes from ideographs
    const uint8_t *data = pmBuffer.Data;
    const size_t length = pmBuffer.DataLength;
    const bool nul = length > 0 && memchr(data, 0, length) != nullptr;
    if (CharSetFamily != kFamilyUtf16)
        return nul;
    const auto printable = std::count_if(data, data + length, IsPrintable);
    return !nul && length >= kFewBytes && static_cast<size_t>(printable) * 4 >= length * 3;
}

void HintAtCharSet()
{
    if (!LooksLikeAnotherSet())
        return;
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    FW_WARN(1, "record %lld does not look like %s", static_cast<long long>(record), SG_CharsetName);
    FW_Message<19995>(CurrentFullPath, record, static_cast<const char *>(SG_CharsetName));
}
