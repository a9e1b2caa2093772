// delimited/scan_columns.h - the column scan, written once.
//
// ScanRecord<P> is the general algorithm; a policy P takes out the tests that a job can't need. A
// test that P excludes is not merely false but absent.
//
//   a field starts   with an open quote: quoted. Without, under QuotedData Yes: only an empty field
//   unquoted         up to the next delimiter; an escape before a delimiter makes that data
//   quoted           up to the close quote, behind which only a delimiter or the record's end may
//                    stand; a doubled close quote, or an escaped mark, is data
//   the record ends  the open field is the last column; an empty one only if it completes the schema
//
// ScanByColumns<P> is the shorter way for records that hold delimiters and data only. It differs on
// purpose in what it makes of records with too many or too few columns.
//
// Every scanner leaves the column arrays, counts and a verdict in its ScanState; RowComplete there
// means that the record was scanned to its end.

#ifndef FENWIRE_DELIMITED_SCAN_COLUMNS_H
#define FENWIRE_DELIMITED_SCAN_COLUMNS_H

#include "delimited/column_close.h"
#include "delimited/marks.h"

// ---- Where the next mark may stand -------------------------------------------------------------

struct NoFinder {};

template <ScanPolicy P>
inline auto MakeFinder(const ScanState &s)
{
    // A mark that is not set brings no byte of its own.
    const auto first = [](const MarkText &m) {
        return m.length != 0 ? m.first : Marks.delimiter.first;
    };
    if constexpr (P.walk == Walk::Characters) {
        return NoFinder{};
    } else if constexpr (P.quotes != Mark::None && P.escape != Mark::None) {
        return MarkFinder<4>(s.begin, s.end,
                             {Marks.delimiter.first, first(Marks.escape), first(Marks.close_quote),
                              first(Marks.quote_escape)});
    } else if constexpr (P.quotes != Mark::None) {
        return MarkFinder<3>(
            s.begin, s.end,
            {Marks.delimiter.first, first(Marks.close_quote), first(Marks.quote_escape)});
    } else if constexpr (P.escape != Mark::None) {
        return MarkFinder<2>(s.begin, s.end, {Marks.delimiter.first, first(Marks.escape)});
    } else {
        return MarkFinder<1>(s.begin, s.end, {Marks.delimiter.first});
    }
}

// Goes on to the next place where a mark may stand, or to the record's end. width: of the character
// there. False: the scan stops at a bad character.
template <ScanPolicy P, class Finder>
inline bool Advance(ScanState &s, Finder &finder, uint32_t *width)
{
    *width = 1;
    if constexpr (P.walk == Walk::Characters)
        return s.cursor >= s.end || CharacterStep(s, width);
    else
        s.cursor = s.begin + (finder.Next(s.cursor) - s.begin);
    return true;
}

// ---- What the cursor passes over ---------------------------------------------------------------

template <ScanPolicy P>
inline void TakeData(ScanState &s, uint32_t width)
{
    if (P.walk == Walk::Characters && s.counting)
        EnterCharacter(s, width);
    s.cursor += width;
}

// An escaped mark, as data.
template <ScanPolicy P>
inline void TakeMark(ScanState &s, const MarkText &mark)
{
    if (P.walk == Walk::Characters && s.counting)
        EnterCharacter(s, mark.length);
    if (P.walk == Walk::Lazily && s.counting && mark.length > 1)
        EnterSpecial(s, mark.length, true);
    s.cursor += mark.length;
}

// ---- Fields ------------------------------------------------------------------------------------

// The escape at the cursor stands before a delimiter, at least with its beginning.
template <ScanPolicy P>
[[gnu::noinline]] bool EscapedDelimiter(ScanState &s)
{
    if (s.end - s.cursor < ptrdiff_t{Marks.escape.length} + Marks.delimiter.length)
        return Stop(s, EscapeAtEnd);
    TakeOut(s, Marks.escape.length);
    TakeMark<P>(s, Marks.delimiter);
    return true;
}

// Up to the delimiter that ends the field, and behind it; or to the record's end.
template <ScanPolicy P, class Finder>
inline bool UnquotedField(ScanState &s, Finder &finder)
{
    for (;;) {
        uint32_t width;
        if (!Advance<P>(s, finder, &width))
            return false;
        if (s.cursor >= s.end)
            return true;
        if (At<P.escape>(s.cursor, s.end, Marks.escape) &&
            AtOrCutOff<P.delimiter>(s.cursor + Marks.escape.length, s.end, Marks.delimiter)) {
            if (!EscapedDelimiter<P>(s))
                return false;
        } else if (At<P.delimiter>(s.cursor, s.end, Marks.delimiter)) {
            if (!CloseColumn<P>(s, s.offset, FieldLength(s)))
                return false;
            s.cursor += Marks.delimiter.length;
            OpenField(s);
            return true;
        } else {
            TakeData<P>(s, width);
        }
    }
}

inline bool SameText(const MarkText &a, const MarkText &b)
{
    return a.length == b.length && memcmp(a.bytes, b.bytes, a.length) == 0;
}

// The quote escape at the cursor, with the mark that it escapes.
template <ScanPolicy P>
[[gnu::noinline]] bool EscapeInQuotes(ScanState &s)
{
    const MarkText &escape = Marks.quote_escape;
    for (const MarkText *mark : {&Marks.close_quote, &Marks.open_quote, &Marks.quote_escape}) {
        if (!AtOrCutOff<P.quotes>(s.cursor + escape.length, s.end, *mark))
            continue;
        if (s.end - s.cursor < ptrdiff_t{escape.length} + mark->length)
            return Stop(s, BadQuoteEscape);
        TakeOut(s, escape.length);
        TakeMark<P>(s, *mark);
        return true;
    }
    if (!SameText(escape, Marks.escape))
        return Stop(s, BadQuoteEscape);
    // Kept: the escape stays as data, without an entry of its own in CharacterLength.
    if (P.walk == Walk::Lazily && s.counting)
        EnterSpecial(s, escape.length, false);
    s.cursor += escape.length;
    return true;
}

// From the open quote at the cursor to the close quote that ends the field, and behind the delimiter;
// or to the record's end. The cursor may pass that.
template <ScanPolicy P, class Finder>
inline bool QuotedField(ScanState &s, Finder &finder)
{
    s.quoted = true;
    s.opening = Marks.open_quote.length;
    s.cursor += s.opening;
    for (;;) {
        uint32_t width;
        if (!Advance<P>(s, finder, &width))
            return false;
        if (s.cursor >= s.end)
            return true;
        if (At<P.quotes>(s.cursor, s.end, Marks.quote_escape)) {
            if (!EscapeInQuotes<P>(s))
                return false;
        } else if (At<P.quotes>(s.cursor, s.end, Marks.close_quote)) {
            const uint8_t *next = s.cursor + Marks.close_quote.length;
            if (At<P.quotes>(next, s.end, Marks.close_quote)) {
                TakeOut(s, Marks.close_quote.length);
                TakeMark<P>(s, Marks.close_quote);
                continue;
            }
            if (next < s.end && !At<P.delimiter>(next, s.end, Marks.delimiter))
                return Stop(s, NoDelimiterAfterQuote);
            if (!CloseColumn<P>(s, s.offset + s.opening, FieldLength(s)))
                return false;
            s.cursor += Marks.close_quote.length + Marks.delimiter.length;
            OpenField(s);
            return true;
        } else {
            TakeData<P>(s, width);
        }
    }
}

// ---- Records -----------------------------------------------------------------------------------

// A quote that was never closed runs from its open quote mark, with the length of its data.
template <ScanPolicy P>
bool EndOfRecord(ScanState &s)
{
    if (s.cursor > s.end) {
        s.cursor = s.end;  // a quoted field stepped over a delimiter that isn't there
        OpenField(s);
    }
    s.unclosed = s.opening != 0;
    const uint32_t length = FieldLength(s);
    if (length == 0 && s.column + 1 != s.columns.count)
        return true;
    if (P.walk == Walk::Lazily && s.counting && s.opening != 0) {
        EnterRest(s, length);  // the characters are those of the data, not of the column
        s.special = true;
    }
    return CloseColumn<P>(s, s.offset, length);
}

template <ScanPolicy P>
void ScanRecord(ScanState &s)
{
    auto finder = MakeFinder<P>(s);
    while (s.cursor < s.end) {
        if constexpr (P.quotes != Mark::None) {
            uint32_t width;
            if (P.walk == Walk::Characters && !CharacterStep(s, &width))
                return;
            if (At<P.quotes>(s.cursor, s.end, Marks.open_quote)) {
                if (!QuotedField<P>(s, finder))
                    return;
                continue;
            }
            if (bQuotedData == kYes && !At<P.delimiter>(s.cursor, s.end, Marks.delimiter)) {
                Stop(s, NotAnOpenQuote);
                return;
            }
        }
        if (!UnquotedField<P>(s, finder))
            return;
    }
    EndOfRecord<P>(s);
}

// What is left of a record when the schema has all of its columns. Kept: with truncation on the rest
// is ignored and the record counts as exact; else each delimiter in it, and the record's end, is
// counted as a column, so the count can be one above that of the other scanners.
template <ScanPolicy P, class Finder>
[[gnu::noinline]] void CountExcess(ScanState &s, Finder &finder)
{
    if (TruncateColumnsOpt != 0 || bTruncateUTF8 != 0) {
        s.excess_ignored = true;
        return;
    }
    const uint8_t *at = s.cursor;
    while ((at = finder.Next(at)) < s.end) {
        const bool delimiter = At<P.delimiter>(at, s.end, Marks.delimiter);
        s.column += delimiter;
        at += delimiter ? Marks.delimiter.length : 1;
    }
    ++s.column;
}

// Kept: a field that the record's end leaves empty is always stored here, not only as the last one.
template <ScanPolicy P>
void ScanByColumns(ScanState &s)
{
    auto finder = MakeFinder<P>(s);
    const uint32_t step = P.delimiter == Mark::Byte ? 1 : Marks.delimiter.length;
    const uint8_t *field = s.begin;

    while (s.column < s.columns.count) {
        const uint8_t *at = finder.Next(field);
        if constexpr (P.delimiter != Mark::Byte) {
            while (at < s.end && !At<P.delimiter>(at, s.end, Marks.delimiter))
                at = finder.Next(at + 1);
        }
        if (!CloseColumn<P>(s, static_cast<uint32_t>(field - s.begin),
                            static_cast<uint32_t>(at - field)))
            return;
        if (at >= s.end)
            return;
        field = at + step;
    }
    s.cursor = s.begin + (field - s.begin);
    if (s.cursor < s.end)
        CountExcess<P>(s, finder);
}

// The scanner of a number, or its fast twin: the same verdicts and columns as long as no byte of a
// multi-byte character can be taken for a mark. single_bytes: no mark is longer than a byte. Null where
// there is nothing to gain.
ScanRoutine ScannerNumber(int number);
ScanRoutine FastTwin(int number, bool single_bytes);

#endif
