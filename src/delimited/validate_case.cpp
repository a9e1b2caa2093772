// delimited/validate_case.cpp - what is settled once, before the first record.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "attributes/attributes.h"
#include "delimited/assemble.h"
#include "delimited/binary_to_text.h"
#include "delimited/characters.h"
#include "delimited/create.h"
#include "delimited/delimited.h"
#include "delimited/delimited_state.h"
#include "delimited/raw_record.h"
#include "delimited/scan_columns.h"
#include "operator/messages.h"
#include "pm/index/record_index.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

enum : int32_t { kValid = 0, kNoMemory = 4, kRefused = 7 };

static MarkText View(const SpecialCharValue &setting)
{
    return {setting.value, static_cast<uint32_t>(std::max(setting.length, 0)), setting.value[0]};
}

// The settings that the case's second to sixth digit stand for, in their order.
struct DigitRow {
    const char *name, *title;  // in the one-line description, of the hexadecimal line
    const SpecialCharValue *setting;
};

static constexpr DigitRow kDigits[] = {
    {"Delimiter", "Delimiter", &TextDelimiter},
    {"DelimiterEsc", "Escape Delimiter", &EscapeTextCharacter},
    {"OpenQuoteMark", "Open Quote", &OpenQuoteMark},
    {"CloseQuoteMark", "Close Quote", &CloseQuoteMark},
    {"EscapeQuoteCharacter", "Escape Quote", &EscapeQuoteCharacter},
};
static constexpr int kDigitCount = 7;

// False: no number that the settings can lead to. The last digit is free.
static bool SplitDigits(int32_t parsing_case, int (&digits)[kDigitCount])
{
    if (parsing_case < 1)
        return false;
    for (int i = kDigitCount - 1; i >= 0; --i, parsing_case /= 10)
        digits[i] = parsing_case % 10;
    const auto in = [](int digit, int low) { return digit >= low && digit <= 2; };
    return parsing_case == 0 && in(digits[0], 1) && in(digits[1], 1) && in(digits[2], 0) &&
           in(digits[3], 0) && in(digits[4], 0) && in(digits[5], 0);
}

static void TraceSettings(const int (&digits)[kDigitCount])
{
    char line[1024];
    size_t used = 0;
    const auto room = [&] { return sizeof line - used; };
    const auto advance = [&](int printed) {
        used = std::min(used + static_cast<size_t>(printed), sizeof line - 1);
    };

    advance(snprintf(line, room(), "%s (QUOTED DATA: %s)", digits[0] == 2 ? "MBCS" : "SBCS",
                     bQuotedData == kYes        ? "Yes"
                     : bQuotedData == kOptional ? "Optional"
                                                : "No"));
    for (int i = 0; i < static_cast<int>(std::size(kDigits)); ++i) {
        const auto &[name, title, setting] = kDigits[i];
        if (digits[i + 1] != 0)
            advance(snprintf(line + used, room(), ", %s[%d]: '%.*s'", name, setting->length,
                             setting->length, reinterpret_cast<const char *>(setting->value)));
    }
    FW_Trace("ValidateUDDIcase", TraceKind::Plain, "%s", line);
    for (int i = 0; i < static_cast<int>(std::size(kDigits)); ++i) {
        const auto &[name, title, setting] = kDigits[i];
        if (digits[i + 1] != 0)
            FW_Trace("ValidateUDDIcase", TraceKind::Plain, "%s: %s", title,
                     pHEXvalue(setting->value, static_cast<uint32_t>(setting->length)));
    }
}

// ---- The scanners' view of the settings --------------------------------------------------------

// The settings as they are, whatever the digits say: the general scanner honours a quote mark that the
// unquoted scanners never look at.
static void TakeScannerView()
{
    Marks = {.delimiter = View(TextDelimiter),
             .escape = View(EscapeTextCharacter),
             .open_quote = View(OpenQuoteMark),
             .close_quote = View(CloseQuoteMark),
             .quote_escape = View(EscapeQuoteCharacter),
             .trim_leading = View(TrimLeadingChar),
             .trim_trailing = View(TrimTrailingChar)};
    bLongOpenQuote = OpenQuoteMark.length > 1;
    bSameQuoteMarks =
        OpenQuoteMark.length > 0 && OpenQuoteMark.length == CloseQuoteMark.length &&
        memcmp(OpenQuoteMark.value, CloseQuoteMark.value, Marks.open_quote.length) == 0;
}

template <class Test>
static bool EveryMark(Test test)
{
    const MarkText *marks[] = {&Marks.delimiter,    &Marks.escape,       &Marks.open_quote,
                               &Marks.close_quote,  &Marks.quote_escape, &Marks.trim_leading,
                               &Marks.trim_trailing};
    return std::all_of(std::begin(marks), std::end(marks), [&](auto mark) { return test(*mark); });
}

static bool IsAsciiMark(const MarkText &mark)
{
    return IsAscii(mark.bytes, mark.bytes + mark.length);
}

static bool IsAtMostOneByte(const MarkText &mark) { return mark.length <= 1; }

// Where single bytes tell the same marks as characters do. The general case asks for the scanner
// that walks characters, so that a job can be run without any fast road.
static FastRoad ChooseFastRoad()
{
    if (FastScanner == nullptr || UDDI_ParsingCase == kGeneralCase)
        return FastRoad::Never;
    if (UsingSingleByteCharSet)
        return FastRoad::Always;
    if (CharSetFamily == kFamilyUtf16 || !EveryMark(IsAsciiMark))
        return FastRoad::Never;
    return CharSetFamily == kFamilyUtf8 ? FastRoad::Always : FastRoad::AsciiRecords;
}

static void ChooseScanner()
{
    const int number = ScannerFor(UDDI_ParsingCase);
    ExactScanner = ScannerNumber(number);
    FastScanner = FastTwin(number, EveryMark(IsAtMostOneByte));
    FastScannerFor = ChooseFastRoad();
}

// ---- The index over a block --------------------------------------------------------------------

// What the index needs to know, when records can be cut by it: every mark a byte of its own, quotes that
// open and close alike, nothing to trim.
static IndexMarks MarksForIndex()
{
    const bool bytes_tell_marks = UsingSingleByteCharSet || FastScannerFor != FastRoad::Never;
    const bool quotes = bQuotedData != kNo;
    const auto is_byte = [](const MarkText &mark) { return mark.length == 1; };
    const bool trims = Marks.trim_leading.length != 0 || Marks.trim_trailing.length != 0 ||
                       (TrimLeadingNchars | TrimTrailingNchars) != 0;
    if (!bytes_tell_marks || UDDI_ParsingCase == kGeneralCase || trims ||
        !is_byte(Marks.delimiter) || !EveryMark(IsAtMostOneByte))
        return {};
    if (quotes && (!is_byte(Marks.open_quote) || bSameQuoteMarks == 0))
        return {};
    if (!quotes && (Marks.open_quote.length != 0 || Marks.close_quote.length != 0))
        return {};  // the general scanner honours them although the reader does not
    const uint8_t delimiter = Marks.delimiter.first, quote = Marks.open_quote.first;
    const bool escape = Marks.escape.length != 0;
    const bool quote_escape = quotes && Marks.quote_escape.length != 0;
    IndexMarks marks = {.delimiter = delimiter,
                        .quote = quote,
                        .escapes = {escape ? Marks.escape.first : delimiter,
                                    quote_escape ? Marks.quote_escape.first : delimiter},
                        .quotes = quotes,
                        .only_quoted = bQuotedData == kYes,
                        .escape = escape,
                        .quote_escape = quote_escape,
                        .high_is_odd = FastScannerFor == FastRoad::AsciiRecords,
                        .empty_is_null = bNullColumns != 0,
                        .columns = SG_ColCount,
                        .maximums = SG_ColLensBase};
    if ((quotes && quote == delimiter) || (escape && marks.escapes[0] == delimiter) ||
        (quotes && escape && marks.escapes[0] == quote) ||
        (quote_escape && (marks.escapes[1] == delimiter || marks.escapes[1] == quote)))
        return {};
    return marks;
}

// ---- Buffers -----------------------------------------------------------------------------------

// The longest row: no column goes on longer than its maximum, or than the fixed limit.
static size_t LongestRow()
{
    constexpr size_t kReserve = 1000, kBytesPerColumn = 8;
    size_t bytes = NumIndBytes + kReserve;
    for (int32_t i = 0; i < SG_ColCount; ++i) {
        const uint32_t maximum = SG_ColLensBase[i] != 0 ? SG_ColLensBase[i] : kMaxColumnBytes;
        bytes += kBytesPerColumn + std::min(maximum, kMaxColumnBytes);
    }
    return bytes;
}

static bool AllocateTarget()
{
    free(TargetBuffer);
    TargetBufferSize = LongestRow();
    TargetBuffer = static_cast<uint8_t *>(malloc(TargetBufferSize + kCopySlack));
    if (TargetBuffer != nullptr)
        return true;
    FW_ERROR("%s %s %zu bytes.", "Unable to allocate memory for delimited data",
             "target buffer.  Memory requested", TargetBufferSize);
    return false;
}

int32_t ValidateUDDIcase()
{
    int digits[kDigitCount];

    FW_TRACE(1, "Validating parsing case: %d.", UDDI_ParsingCase);
    if (!SplitDigits(UDDI_ParsingCase, digits)) {
        FW_ERROR(" Unsupported parsing case.");
        return kRefused;
    }
    if (FW_TraceLvl > 1)
        TraceSettings(digits);
    TakeScannerView();
    ChooseScanner();
    ChooseRowWriter();
    if (PrepareConversion() != 0)
        return kNoMemory;
    return AllocateTarget() && GrowRawCopy(TargetBufferSize) && SetIndexMarks(MarksForIndex())
               ? kValid
               : kNoMemory;
}

void FreeDelimitedBuffers()
{
    free(TargetBuffer);
    TargetBuffer = nullptr;
    TargetBufferSize = 0;
    FreeCharacterLength();
    FreeIndex();
    FreeRawCopy();
    FreeCreatedText();
    FreeConversion();
}
