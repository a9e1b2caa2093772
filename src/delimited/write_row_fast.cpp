// delimited/write_row_fast.cpp - a row's record, for settings where bytes tell what characters would.
//
// A record is written first as if no value held a byte that matters: each value with one copy of a fixed
// size, marks between. Then the finished record is searched once, 64 bytes at a time, and the bytes that
// matter are counted. As many as the writer put there itself: the record stands. More: it is written
// again, value by value, with what each of them needs.
//
// Nothing is read behind a value that does not belong to the row, and up to kCopySlack bytes are written
// behind the record, which the next value or nobody overwrites.

#include "attributes/attributes_state.h"
#include "delimited/assemble.h"
#include "delimited/marks.h"
#include "delimited/outgoing_row.h"
#include "pm/pm_state.h"

namespace {

// Where a value's bytes lie, and how far may be read.
struct Source {
    const uint8_t *begin;
    uint32_t length;
    const uint8_t *limit;
};

Source SourceOf(const OutgoingRow &row, int32_t column)
{
    const OutgoingValue value = row.Value(column);
    const uint8_t *limit = row.data + row.length;
    if (row.converted != nullptr && row.converted[column].convert != 0)
        limit = value.begin + sizeof row.converted->text;
    return {value.begin, value.length, limit};
}

// The bytes, and perhaps some more behind them.
template <uint32_t Size>
inline void CopyAtMost(uint8_t *to, const uint8_t *from, uint32_t length, const uint8_t *limit)
{
    if (static_cast<size_t>(limit - from) >= Size) [[likely]]
        memcpy(to, from, Size);
    else
        memcpy(to, from, length);
}

inline uint8_t *CopyValue(uint8_t *to, const Source &value)
{
    constexpr uint32_t kShort = 32;
    if (value.length <= kShort) [[likely]]
        CopyAtMost<kShort>(to, value.begin, value.length, value.limit);
    else if (value.length <= kCopySlack)
        CopyAtMost<kCopySlack>(to, value.begin, value.length, value.limit);
    else
        memcpy(to, value.begin, value.length);
    return to + value.length;
}

// ---- As if no value held anything -------------------------------------------------------------------

enum class Quotes : uint8_t { None, Optional, All };

struct Draft {
    uint8_t *end;
    uint32_t quoted = 0;  // values that stand between quote marks
};

template <Quotes Q, bool Converted>
Draft WriteDraft(const OutgoingRow &row, uint8_t *to)
{
    const uint8_t delimiter = Marks.delimiter.first;
    const uint8_t open = Marks.open_quote.first, close = Marks.close_quote.first;
    const uint8_t *const limit = row.data + row.length;
    Draft draft = {};

    for (int32_t i = 0; i < row.columns; ++i) {
        const bool null = row.IsNull(i);
        Source value =
            Converted ? SourceOf(row, i) : Source{row.data + row.offsets[i], row.lengths[i], limit};
        if (null) {
            value.length = 0;
        } else if (Q == Quotes::All || (Q == Quotes::Optional && value.length == 0)) {
            *to++ = open;
            to = CopyValue(to, value);
            *to++ = close;
            ++draft.quoted;
            value.length = 0;
        }
        if (value.length != 0)
            to = CopyValue(to, value);
        if (Marks.delimiter.length == 1)
            *to++ = delimiter;
        else
            to = Put(to, Marks.delimiter);
    }
    draft.end = row.append || row.columns == 0 ? to : to - Marks.delimiter.length;
    return draft;
}

// Set bits. The instruction for it is none that every machine has, and a call costs more than this.
uint32_t CountBits(uint64_t mask)
{
    mask -= mask >> 1 & 0x5555555555555555;
    mask = (mask & 0x3333333333333333) + (mask >> 2 & 0x3333333333333333);
    return static_cast<uint32_t>(((mask + (mask >> 4)) & 0x0F0F0F0F0F0F0F0F) * 0x0101010101010101 >>
                                 56);
}

// Occurrences of the bytes in what was written; N of them, some perhaps the same.
template <int N>
uint32_t Count(const uint8_t *begin, const uint8_t *end, const uint8_t (&bytes)[N])
{
    uint32_t count = 0;
    for (; end - begin > static_cast<ptrdiff_t>(kWindowBytes); begin += kWindowBytes)
        count += CountBits(WindowMask<N>(begin, bytes));
    uint64_t mask = WindowMask<N>(begin, bytes);
    if (const ptrdiff_t left = end - begin; left < static_cast<ptrdiff_t>(kWindowBytes))
        mask &= (uint64_t{1} << left) - 1;
    return count + CountBits(mask);
}

// ---- Value by value ---------------------------------------------------------------------------------

// What stands at to of a value that goes out a window at a time: the bytes that matter among the next ones.
template <int N>
inline uint64_t NextWindow(uint8_t *to, const uint8_t *at, const Source &value,
                           const uint8_t (&bytes)[N], uint32_t *size)
{
    const auto left = static_cast<uint32_t>(value.begin + value.length - at);
    *size = std::min(left, kWindowBytes);
    CopyAtMost<kWindowBytes>(to, at, *size, value.limit);
    const uint64_t mask = WindowMask<N>(to, bytes);
    return *size == kWindowBytes ? mask : mask & ((uint64_t{1} << *size) - 1);
}

template <int N>
bool HoldsAny(uint8_t *to, const Source &value, const uint8_t (&bytes)[N])
{
    uint32_t size = 0;
    for (const uint8_t *at = value.begin, *end = at + value.length; at < end; at += size) {
        if (NextWindow(to, at, value, bytes, &size) != 0)
            return true;
        to += size;
    }
    return false;
}

uint8_t *PutWithEscapes(uint8_t *to, const Source &value, uint8_t mark, uint8_t escape)
{
    const uint8_t bytes[1] = {mark};
    uint32_t size = 0;
    for (const uint8_t *at = value.begin, *end = at + value.length; at < end; at += size) {
        const uint64_t mask = NextWindow(to, at, value, bytes, &size);
        if (mask == 0) {
            to += size;
            continue;
        }
        size = static_cast<uint32_t>(std::countr_zero(mask));
        to += size++;
        *to++ = escape;
        *to++ = mark;
    }
    return to;
}

uint8_t *PutInQuotes(uint8_t *to, const Source &value)
{
    const uint8_t close = Marks.close_quote.first;
    *to++ = Marks.open_quote.first;
    to = PutWithEscapes(to, value, close,
                        Marks.quote_escape.length != 0 ? Marks.quote_escape.first : close);
    *to++ = close;
    return to;
}

template <Quotes Q>
uint8_t *PutValue(uint8_t *to, const Source &value)
{
    if constexpr (Q == Quotes::None) {
        return PutWithEscapes(to, value, Marks.delimiter.first, Marks.escape.first);
    } else if constexpr (Q == Quotes::Optional) {
        const uint8_t needs_quotes[4] = {Marks.delimiter.first, Marks.close_quote.first, '\n',
                                         '\r'};
        if (value.length != 0 && !HoldsAny(to, value, needs_quotes))
            return to + value.length;
    }
    return PutInQuotes(to, value);
}

template <Quotes Q>
uint8_t *WriteValues(const OutgoingRow &row, uint8_t *to)
{
    for (int32_t i = 0; i < row.columns; ++i) {
        if (!row.IsNull(i))
            to = PutValue<Q>(to, SourceOf(row, i));
        if (row.IsDelimited(i))
            *to++ = Marks.delimiter.first;
    }
    return to;
}

// ---- A row ------------------------------------------------------------------------------------------

template <Quotes Q>
Draft WriteDraft(const OutgoingRow &row, uint8_t *to)
{
    return row.converted != nullptr ? WriteDraft<Q, true>(row, to) : WriteDraft<Q, false>(row, to);
}

uint32_t Delimiters(const OutgoingRow &row)
{
    return static_cast<uint32_t>(row.columns) - (row.append || row.columns == 0 ? 0 : 1);
}

WrittenRecord WritePlain(const OutgoingRow &row, uint8_t *to)
{
    const Draft draft = WriteDraft<Quotes::None>(row, to);
    const uint8_t first = Marks.delimiter.first;
    const auto *mark_end = Marks.delimiter.bytes + Marks.delimiter.length;
    const auto in_mark = static_cast<uint32_t>(std::count(Marks.delimiter.bytes, mark_end, first));
    const uint8_t matter[2] = {first, '\n'};
    return {draft.end, Count(to, draft.end, matter) == Delimiters(row) * in_mark};
}

WrittenRecord WriteEscaped(const OutgoingRow &row, uint8_t *to)
{
    const Draft draft = WriteDraft<Quotes::None>(row, to);
    const uint8_t matter[3] = {Marks.delimiter.first, Marks.escape.first, '\n'};
    if (Count(to, draft.end, matter) == Delimiters(row)) [[likely]]
        return {draft.end, true};
    const uint8_t doubtful[2] = {Marks.escape.first, '\n'};
    const bool reads_back = Count(to, draft.end, doubtful) == 0;
    return {WriteValues<Quotes::None>(row, to), reads_back};
}

WrittenRecord WriteQuoted(const OutgoingRow &row, uint8_t *to)
{
    const Draft draft = WriteDraft<Quotes::All>(row, to);
    const uint8_t open = Marks.open_quote.first, close = Marks.close_quote.first;
    const bool escape = Marks.quote_escape.length != 0;
    const uint8_t matter[2] = {close, escape ? Marks.quote_escape.first : close};
    if (Count(to, draft.end, matter) == draft.quoted * (open == close ? 2 : 1)) [[likely]]
        return {draft.end, true};
    return {WriteValues<Quotes::All>(row, to), !escape};
}

// Any open quote mark and any escape counts as a byte that matters: where neither is in a record, it is
// read back as it was.
WrittenRecord WriteOptional(const OutgoingRow &row, uint8_t *to)
{
    const Draft draft = WriteDraft<Quotes::Optional>(row, to);
    const uint8_t open = Marks.open_quote.first, close = Marks.close_quote.first;
    const uint8_t delimiter = Marks.delimiter.first;
    const uint32_t expected = Delimiters(row) + 2 * draft.quoted;
    const bool simple = open == close && Marks.escape.length == 0 && Marks.quote_escape.length == 0;
    const uint8_t matter[4] = {delimiter, close, '\n', '\r'};
    const uint8_t all[6] = {delimiter, close,
                            '\n',      '\r',
                            open,      Marks.escape.length != 0 ? Marks.escape.first : delimiter};
    if ((simple ? Count(to, draft.end, matter) : Count(to, draft.end, all)) == expected) [[likely]]
        return {draft.end, true};
    return {WriteValues<Quotes::Optional>(row, to), simple};
}

// ---- Choice -----------------------------------------------------------------------------------------

bool IsAsciiByte(const MarkText &mark) { return mark.length == 1 && mark.first < 0x80; }

bool IsLineEnd(const MarkText &mark)
{
    return mark.length == 1 && (mark.first == '\n' || mark.first == '\r');
}

// Marks that are bytes, that bytes tell, and that differ from each other where it matters.
bool BytesTellMarks(bool quotes)
{
    const MarkText &delimiter = Marks.delimiter, &open = Marks.open_quote,
                   &close = Marks.close_quote;
    const auto is_byte = [](const MarkText &mark) {
        return mark.length == 1 && (UsingSingleByteCharSet || IsAsciiByte(mark));
    };
    const auto is_free = [&is_byte, taken = delimiter.first](const MarkText &mark) {
        return mark.length == 0 || (is_byte(mark) && mark.first != taken && !IsLineEnd(mark));
    };
    if (!UsingSingleByteCharSet && CharSetFamily != kFamilyUtf8)
        return false;
    if (!is_byte(delimiter) || IsLineEnd(delimiter) || !is_free(Marks.escape))
        return false;
    if (!quotes)
        return true;
    return is_byte(open) && is_byte(close) && is_free(open) && is_free(close) &&
           is_free(Marks.quote_escape) &&
           (Marks.quote_escape.length == 0 ||
            (Marks.quote_escape.first != open.first && Marks.quote_escape.first != close.first)) &&
           (Marks.escape.length == 0 ||
            (Marks.escape.first != open.first && Marks.escape.first != close.first));
}

}  // namespace

RowWriter FastRowWriter()
{
    const bool quotes = Marks.open_quote.length != 0 && bQuotedData != kNo;
    const bool bytes_tell = BytesTellMarks(quotes);
    if (quotes)
        return !bytes_tell ? nullptr : bQuotedData == kYes ? WriteQuoted : WriteOptional;
    if (Marks.escape.length != 0)
        return bytes_tell ? WriteEscaped : nullptr;
    return Marks.delimiter.length != 0 ? WritePlain : nullptr;
}
