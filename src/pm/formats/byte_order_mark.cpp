// pm/formats/byte_order_mark.cpp - the mark at the start of a UTF-8 or UTF-16 file.

#include <cstring>

#include "pm/formats/text_scan.h"
#include "pm/pm_state.h"
#include "pm/pm_trace.h"

namespace {

enum MarkKind { kNoMark, kUtf8, kUtf16Little, kUtf16Big, kUtf32Little, kUtf32Big };

struct FileMark {
    MarkKind kind;
    uint32_t length;
    uint8_t bytes[4];
    const char *charset, *words;
};

// The first match wins. Kept: the second row hides the last one, so that UTF-32 little-endian data is
// taken for UTF-16; jobs rely on the order.
// clang-format off
constexpr FileMark kFileMarks[] = {
    {kUtf16Big,    2, {0xFE, 0xFF},             "UTF16", "big-endian BOM"   },
    {kUtf16Little, 2, {0xFF, 0xFE},             "UTF16", "little-endian BOM"},
    {kUtf8,        3, {0xEF, 0xBB, 0xBF},       "UTF8",  "indicator bytes"  },
    {kUtf32Big,    4, {0x00, 0x00, 0xFE, 0xFF}, "UTF32", "big-endian BOM"   },
    {kUtf32Little, 4, {0xFF, 0xFE, 0x00, 0x00}, "UTF32", "little-endian BOM"},
};
// clang-format on
constexpr FileMark kNoFileMark = {kNoMark, 0, {}, "", ""};
constexpr uint32_t kLongestMark = 4;

constexpr char kIndicates[] = "Input data indicates input is";

const FileMark &GetFileFlags(const pmFile *file)
{
    const uint32_t available = file->BufferEnd - file->BufferPosition;

    PM_TRACE(1, "BOF: Checking file UTF control bytes");
    if (available < 2) {
        PM_TRACE(1, "Buffer is too small to allow for any UTF control bytes");
        return kNoFileMark;
    }
    for (const FileMark &mark : kFileMarks) {
        if (available < mark.length ||
            memcmp(file->Buffer + file->BufferPosition, mark.bytes, mark.length) != 0)
            continue;
        PM_TRACE(1, "%u byte %s %s found", mark.length, mark.charset, mark.words);
        return mark;
    }
    PM_TRACE(1, "No UTF control bytes found");
    return kNoFileMark;
}

int ConflictingCharset(const FileMark &mark, const char *requested)
{
    if (mark.kind == kUtf32Little || mark.kind == kUtf32Big)
        PM_TRACE(1, "%s %s. %s.", kIndicates, mark.charset, "This convention is not supported");
    else
        PM_TRACE(1, "%s %s. %s %s.", kIndicates, mark.charset,
                 "This conflicts with requested attribute", requested);
    return pmrcCharsetConflict;
}

int ConflictingOrder(const FileMark &mark)
{
    PM_TRACE(1, "%s %s. %s.", kIndicates,
             mark.kind == kUtf16Little ? "LITTLE_ENDIAN" : "BIG_ENDIAN",
             "This conflicts with platform characteristics");
    return pmrcEndianConflict;
}

int CheckUtf16(const pmFile *file, const FileMark &mark)
{
    if (mark.kind != kUtf16Little && mark.kind != kUtf16Big)
        return ConflictingCharset(mark, "UTF16");
    const uint32_t order = mark.kind == kUtf16Little ? kLittleEndian : kBigEndian;
    return file->Endian == order ? int{pmrcOk} : ConflictingOrder(mark);
}

// Enough bytes to tell every mark, and whether anything follows it. A pipe may hand them out singly.
int CollectStart(pmFile *file)
{
    int code = pmrcOk;
    while (code == pmrcOk && file->BufferEnd - file->BufferPosition < kLongestMark)
        code = pmReadn2Buf(file);
    return code == pmrcEOF ? int{pmrcOk} : code;
}

}  // namespace

int ProcessBOM(pmFile *file)
{
    int code = pmrcOk;

    if (CharSetFamily != kFamilyUtf8 && CharSetFamily != kFamilyUtf16) {
        PM_TRACE(3, "Neither %s nor %s character set requested, %s", "UTF8", "UTF16",
                 "bypassing BOM check");
        return pmrcOk;
    }
    if ((code = CollectStart(file)) != pmrcOk)
        return code;
    const FileMark &mark = GetFileFlags(file);
    file->bBOMFound = mark.kind != kNoMark;
    if (mark.kind == kNoMark)
        return pmrcOk;
    if (CharSetFamily == kFamilyUtf16)
        code = CheckUtf16(file, mark);
    else if (mark.kind != kUtf8)
        code = ConflictingCharset(mark, "UTF8");
    if (code != pmrcOk)
        return code;
    file->BufferPosition += mark.length;
    return file->BufferPosition == file->BufferEnd ? int{pmrcEOF} : int{pmrcOk};
}
