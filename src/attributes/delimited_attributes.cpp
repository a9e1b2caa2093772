// attributes/delimited_attributes.cpp - quotes, delimiter, escapes, trim: what the scanners live by.

#include "attributes/delimited_attributes.h"

#include <cstring>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "attributes/special_chars.h"
#include "operator/messages.h"

namespace {

bool Producer() { return OperatorType == 1; }

constexpr SpecialCharValue OneByte(uint8_t byte)
{
    SpecialCharValue value;
    value.length = 1;
    value.value[0] = byte;
    return value;
}
constexpr SpecialCharValue kBar = OneByte('|'), kDoubleQuote = OneByte('"'), kSpace = OneByte(' ');
constexpr SpecialCharValue kNoDefault;

PxStatus CheckAppendDelimiter()
{
    if (bAppendDelimiter != kYes || !Producer())
        return PXSTC_Success;
    FW_ERROR("Attribute '%s' not valid with producer instance", "AppendDelimiter");
    return FW_AttributeRefused<19246>("AppendDelimiter");
}

// ---- Marks ----

// GetSpecialChars where absence is no failure. given: the mark has a value, perhaps a default.
PxStatus ReadMark(const char *plain, const char *hexadecimal, SpecialCharValue *mark,
                  const SpecialCharValue &absent, bool *given)
{
    const int32_t result = GetSpecialChars(plain, hexadecimal, mark, &absent);
    *given = result == 0;
    return result == PXSTC_NotFound ? PXSTC_Success : result;
}

PxStatus ReadTextDelimiter()
{
    bool given = false;
    if (const PxStatus status =
            ReadMark("TextDelimiter", "TextDelimiterHEX", &TextDelimiter, kBar, &given))
        return status;
    ReplaceTabWords("TextDelimiter", &TextDelimiter);
    if (TextDelimiter.length != 0)
        return PXSTC_Success;
    // Without a delimiter the data would count as TEXT all the way down.
    FW_ERROR("Invalid %s attribute value ('%s') provided", "TextDelimiter", "");
    return FW_AttributeFatal<19205>("TextDelimiter", "", "one byte or more");
}

PxStatus ReadEscape(const char *plain, const char *hexadecimal, SpecialCharValue *escape,
                    uint32_t *in_use)
{
    bool given = false;
    if (const PxStatus status = ReadMark(plain, hexadecimal, escape, kNoDefault, &given))
        return status;
    *in_use = given ? 1 : 0;
    return given ? RefuseAllZero(plain, *escape) : PXSTC_Success;
}

PxStatus ReadTextEscape()
{
    if (const PxStatus status = ReadEscape("EscapeTextDelimiter", "EscapeTextDelimiterHEX",
                                           &EscapeTextCharacter, &bUsingDelimiterEscCharacter))
        return status;
    ReplaceTabWords("EscapeTextDelimiter", &EscapeTextCharacter);
    return PXSTC_Success;
}

PxStatus ReadOpenQuote()
{
    bool given = false;
    return ReadMark("OpenQuoteMark", "OpenQuoteMarkHEX", &OpenQuoteMark,
                    bQuotedData != kNo ? kDoubleQuote : kNoDefault, &given);
}

// The open mark is the default, and its bytes are final already: the negative length says so.
PxStatus ReadCloseQuote()
{
    SpecialCharValue absent = OpenQuoteMark;
    absent.length = bQuotedData != kNo ? -absent.length : 0;
    bool given = false;
    if (const PxStatus status =
            ReadMark("CloseQuoteMark", "CloseQuoteMarkHEX", &CloseQuoteMark, absent, &given))
        return status;
    if (!given || OpenQuoteMark.length != 0)
        return PXSTC_Success;
    FW_ERROR("Can not define attribute '%s' without attribute '%s'", "CloseQuoteMark",
             "OpenQuoteMark");
    return FW_AttributeFatal<19247>("CloseQuoteMark", "OpenQuoteMark");
}

PxStatus ReadQuoteEscape()
{
    if (const PxStatus status = ReadEscape("EscapeQuoteDelimiter", "EscapeQuoteDelimiterHEX",
                                           &EscapeQuoteCharacter, &bUsingQuoteEscCharacter))
        return status;
    if (bUsingQuoteEscCharacter == 0)
        return PXSTC_Success;
    if (OpenQuoteMark.length == 0 && CloseQuoteMark.length == 0) {
        FW_ERROR("%s '%s' %s '%s' nor '%s' defined.", "Attribute", "EscapeQuoteDelimiter",
                 "defined with neither", "OpenQuoteMark", "CloseQuoteMark");
        return FW_AttributeFatal<19247>("EscapeQuoteDelimiter", "OpenQuoteMark");
    }
    if (EscapeQuoteCharacter.length == CloseQuoteMark.length &&
        memcmp(EscapeQuoteCharacter.value, CloseQuoteMark.value,
               static_cast<size_t>(CloseQuoteMark.length)) == 0)
        FW_WARN(1, "Attribute '%s' equals '%s': a close quote mark never ends a column",
                "EscapeQuoteDelimiter", "CloseQuoteMark");
    return PXSTC_Success;
}

// ---- Trim ----

enum TrimMode : int32_t { kTrimNone = 0, kTrimLeading = 1, kTrimTrailing = 2, kTrimBoth = 3 };
int32_t trim_mode;
char trim_word[16];

bool TrimCharGiven() { return IsGiven("TrimChar") || IsGiven("TrimCharHEX"); }

// The test is on presence: a consumer's "NONE" is refused too.
PxStatus CheckTrimSide()
{
    if (Producer() || !IsGiven("TrimColumns"))
        return PXSTC_Success;
    FW_ERROR("Attribute '%s' not valid with consumer instance", "TrimColumns");
    return FW_AttributeRefused<19230>("TrimColumns");
}

PxStatus NoteUnusedTrimChar()
{
    if (TrimCharGiven())
        FW_TRACE(1, "Attribute '%s' %s '%s'", "TrimChar", "defined without a value for attribute",
                 "TrimColumns");
    return PXSTC_Success;
}

PxStatus EchoTrimColumns()
{
    FW_TRACE(1, "Attribute '%s' = '%s'", "TrimColumns", trim_word);
    return PXSTC_Success;
}

bool TrimColumnsGiven() { return trim_word[0] != '\0'; }

void SettleTrim()
{
    const SpecialCharValue character = TrimLeadingChar;
    TrimLeadingChar = trim_mode & kTrimLeading ? character : kNoDefault;
    TrimTrailingChar = trim_mode & kTrimTrailing ? character : kNoDefault;
    bTrimLeadingBlanks = bUsingSingleTrimLeadingChar = trim_mode & kTrimLeading ? 1 : 0;
    bTrimTrailingBlanks = bUsingSingleTrimTrailingChar = trim_mode & kTrimTrailing ? 1 : 0;
    cTrimLeadingChar = TrimLeadingChar.value[0];
    cTrimTrailingChar = TrimTrailingChar.value[0];
}

PxStatus ReadTrimChar()
{
    const bool given = TrimCharGiven();
    if (!given && trim_mode != kTrimNone)
        FW_TRACE(1, "Attribute '%s' %s '%s' %s ('%s')", "TrimColumns",
                 "requires a value for attribute", "TrimChar", "defaulting to the space character",
                 " ");
    bool have = false;
    if (const PxStatus status = ReadMark("TrimChar", "TrimCharHEX", &TrimLeadingChar,
                                         trim_mode != kTrimNone ? kSpace : kNoDefault, &have))
        return status;
    if (trim_mode == kTrimNone) {
        if (given)
            FW_TRACE(1, "Attribute '%s' %s '%s' is '%s'", "TrimChar", "not required when attribute",
                     "TrimColumns", trim_word);
    } else if (TrimLeadingChar.length != 1) {
        FW_ERROR("Attribute '%s' %s", "TrimChar", "value length limited to 1 byte");
        return FW_AttributeFatal<19248>("TrimChar", "1");
    }
    SettleTrim();
    return PXSTC_Success;
}

// clang-format off
constexpr AttrWord kTrimWords[] = {
    {"NONE", kTrimNone}, {"LEADING", kTrimLeading}, {"TRAILING", kTrimTrailing}, {"BOTH", kTrimBoth},
};
constexpr AttributeRow kDelimitedAttributes[] = {
    {.name = "QuotedData",           .kind = AttrKind::YesNo, .target = &bQuotedData, .mode = 1},
    {.name = "AcceptEOFasEOR",       .kind = AttrKind::YesNo, .target = &bAcceptEOFasEOR, .absent = kYes, .mode = -1, .wanted = Producer},
    {.name = "AppendDelimiter",      .kind = AttrKind::YesNo, .target = &bAppendDelimiter, .mode = -1},
    {.name = "AppendDelimiter",      .kind = AttrKind::Rule,  .rule = CheckAppendDelimiter},
    {.name = "TextDelimiter",        .kind = AttrKind::Rule,  .rule = ReadTextDelimiter},
    {.name = "EscapeTextDelimiter",  .kind = AttrKind::Rule,  .rule = ReadTextEscape},
    {.name = "OpenQuoteMark",        .kind = AttrKind::Rule,  .rule = ReadOpenQuote},
    {.name = "CloseQuoteMark",       .kind = AttrKind::Rule,  .rule = ReadCloseQuote},
    {.name = "EscapeQuoteDelimiter", .kind = AttrKind::Rule,  .rule = ReadQuoteEscape},
    {.name = "TrimColumns",          .kind = AttrKind::Rule,  .rule = CheckTrimSide},
    {.name = "TrimColumns",          .kind = AttrKind::Word,  .target = &trim_mode, .limit = 10, .words = kTrimWords,
     .valid = "None, Both, Leading, or Trailing", .keep = &trim_word, .on_given = EchoTrimColumns, .on_absent = NoteUnusedTrimChar},
    {.name = "TrimChar",             .kind = AttrKind::Rule,  .wanted = TrimColumnsGiven, .rule = ReadTrimChar},
};
static_assert(RowsAreSound(kDelimitedAttributes));
// clang-format on

}  // namespace

PxStatus ReadDelimitedAttributes() { return ReadAttributes(kDelimitedAttributes); }
