// delimited/write_row_literally.cpp - a row's record, character by character.
//
// Nothing in here is clever: it serves the settings that have no fast road, and the fast road is held
// to it.

#include "attributes/attributes_state.h"
#include "delimited/characters.h"
#include "delimited/outgoing_row.h"
#include "pm/pm_state.h"

namespace {

bool Holds(const uint8_t *at, const uint8_t *end, const MarkText &mark)
{
    return mark.length != 0 && end - at >= static_cast<ptrdiff_t>(mark.length) &&
           memcmp(at, mark.bytes, mark.length) == 0;
}

// LF or CR, which would end a record outside of quotes.
bool HoldsLineEnd(const uint8_t *at, const uint8_t *end)
{
    const auto is_line_end = [](uint8_t byte) { return byte == '\n' || byte == '\r'; };
    if (CharSetFamily != kFamilyUtf16)
        return is_line_end(*at);
    const bool little = DataEndian == kLittleEndian;
    return end - at >= 2 && at[little ? 1 : 0] == 0 && is_line_end(at[little ? 0 : 1]);
}

// Whether the end of a value and the delimiter behind it are a delimiter too early: "a:" before "::".
bool RunsIntoDelimiter(const uint8_t *at, const uint8_t *end)
{
    const MarkText &delimiter = Marks.delimiter;
    const auto left = static_cast<uint32_t>(end - at);
    return left < delimiter.length && memcmp(at, delimiter.bytes, left) == 0 &&
           memcmp(delimiter.bytes, delimiter.bytes + left, delimiter.length - left) == 0;
}

// A malformed character goes out as it came.
uint32_t PutCharacter(uint8_t *to, const uint8_t *at, const uint8_t *end)
{
    const uint32_t width = CharacterWidth(at, static_cast<uint32_t>(end - at));
    memcpy(to, at, width);
    return width;
}

uint8_t *PutPlain(uint8_t *to, OutgoingValue value) { return Put(to, value.begin, value.length); }

uint8_t *PutEscaped(uint8_t *to, OutgoingValue value)
{
    const uint8_t *end = value.begin + value.length;
    for (const uint8_t *at = value.begin; at < end;) {
        if (Holds(at, end, Marks.delimiter)) {
            to = Put(Put(to, Marks.escape), Marks.delimiter);
            at += Marks.delimiter.length;
        } else {
            const uint32_t width = PutCharacter(to, at, end);
            to += width;
            at += width;
        }
    }
    return to;
}

uint8_t *PutQuoted(uint8_t *to, OutgoingValue value)
{
    const uint8_t *end = value.begin + value.length;
    const MarkText &escape =
        Marks.quote_escape.length != 0 ? Marks.quote_escape : Marks.close_quote;

    to = Put(to, Marks.open_quote);
    for (const uint8_t *at = value.begin; at < end;) {
        if (Holds(at, end, Marks.close_quote)) {
            to = Put(Put(to, escape), Marks.close_quote);
            at += Marks.close_quote.length;
        } else {
            const uint32_t width = PutCharacter(to, at, end);
            to += width;
            at += width;
        }
    }
    return Put(to, Marks.close_quote);
}

// Quotes where a reader needs them. An empty value has them too, or it could not be told from NULL.
uint8_t *PutOptional(uint8_t *to, OutgoingValue value)
{
    const uint8_t *end = value.begin + value.length;
    uint8_t *const start = to;

    if (value.length == 0)
        return PutQuoted(to, value);
    for (const uint8_t *at = value.begin; at < end;) {
        if (Holds(at, end, Marks.delimiter) || Holds(at, end, Marks.close_quote) ||
            HoldsLineEnd(at, end) || RunsIntoDelimiter(at, end))
            return PutQuoted(start, value);
        const uint32_t width = PutCharacter(to, at, end);
        to += width;
        at += width;
    }
    return to;
}

using ValueWriter = uint8_t *(*)(uint8_t *to, OutgoingValue value);

ValueWriter WriterForSettings()
{
    if (Marks.open_quote.length != 0 && bQuotedData != kNo)
        return bQuotedData == kYes ? PutQuoted : PutOptional;
    return Marks.escape.length != 0 ? PutEscaped : PutPlain;
}

}  // namespace

WrittenRecord WriteRowLiterally(const OutgoingRow &row, uint8_t *to)
{
    const ValueWriter put_value = WriterForSettings();

    for (int32_t i = 0; i < row.columns; ++i) {
        if (!row.IsNull(i))
            to = put_value(to, row.Value(i));
        if (row.IsDelimited(i))
            to = Put(to, Marks.delimiter);
    }
    return {to, false};
}
