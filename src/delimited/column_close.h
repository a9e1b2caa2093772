// delimited/column_close.h - the end of a column: count, trim, hold to its maximum, store.
//
// The order is fixed: a column beyond the schema is counted and dropped; leading trim, trailing trim;
// then the limits; then, on what is left, the decision whether the column is NULL.

#ifndef FENWIRE_DELIMITED_COLUMN_CLOSE_H
#define FENWIRE_DELIMITED_COLUMN_CLOSE_H

#include <algorithm>

#include "attributes/attributes_state.h"
#include "delimited/characters.h"
#include "delimited/delimited_state.h"
#include "delimited/parsing_cases.h"
#include "delimited/scan_state.h"

// A column's data in the compacted record, and the entries of CharacterLength that belong to it.
struct ColumnSpan {
    uint32_t start, length;
    uint32_t first_character, last_character;  // one past the last
};

// Whether a trim setting stands at a column's byte. Compares the setting's own length, so it may look
// beyond the column: behind it, the record goes on at the cursor.
template <Mark M>
inline bool TrimmedAt(const ScanState &s, const uint8_t *p, const MarkText &mark)
{
    if (*p != mark.first)
        return false;
    if (M == Mark::Byte || mark.length == 1)
        return true;
    const auto inside = static_cast<size_t>(std::min<ptrdiff_t>(mark.length, s.cursor - s.gap - p));
    const size_t behind = mark.length - inside;
    return memcmp(p, mark.bytes, inside) == 0 &&
           s.end - s.cursor >= static_cast<ptrdiff_t>(behind) &&
           (behind == 0 || memcmp(s.cursor, mark.bytes + inside, behind) == 0);
}

// Every byte a character.
template <Mark M>
void TrimBytes(const ScanState &s, ColumnSpan &column)
{
    const auto data = [&](uint32_t at) { return s.begin + column.start + at; };

    if (Marks.trim_leading.length != 0) {
        while (column.length > 0 && TrimmedAt<M>(s, data(0), Marks.trim_leading))
            ++column.start, --column.length;
    } else if (TrimLeadingNchars > 0) {
        const uint32_t taken = std::min<uint32_t>(TrimLeadingNchars, column.length);
        column.start += taken;
        column.length -= taken;
    }
    if (Marks.trim_trailing.length != 0) {
        while (column.length > 0 && TrimmedAt<M>(s, data(column.length - 1), Marks.trim_trailing))
            --column.length;
    } else if (TrimTrailingNchars > 0) {
        column.length -= std::min<uint32_t>(TrimTrailingNchars, column.length);
    }
}

// By the entries of CharacterLength. They may stand for fewer bytes than the column has, never for more.
template <Mark M>
void TrimCharacters(const ScanState &s, ColumnSpan &column)
{
    const auto left = [&] {
        return column.length > 0 && column.first_character < column.last_character;
    };
    const auto drop_first = [&] {
        const uint32_t bytes = CharacterLength[column.first_character++];
        column.start += bytes;
        column.length -= bytes;
    };
    const auto last_bytes = [&] { return CharacterLength[column.last_character - 1]; };
    const auto drop_last = [&] { column.length -= CharacterLength[--column.last_character]; };
    const int64_t count = column.last_character;

    if (Marks.trim_leading.length != 0) {
        while (left() && TrimmedAt<M>(s, s.begin + column.start, Marks.trim_leading))
            drop_first();
    } else if (TrimLeadingNchars != 0 && TrimLeadingNchars >= count) {
        column.length = 0;
    } else {
        for (int32_t n = TrimLeadingNchars; n > 0 && left(); --n)
            drop_first();
    }
    if (Marks.trim_trailing.length != 0) {
        while (left() && TrimmedAt<M>(s, s.begin + column.start + column.length - last_bytes(),
                                      Marks.trim_trailing))
            drop_last();
    } else if (TrimTrailingNchars != 0 && TrimTrailingNchars >= count) {
        column.length = 0;
    } else {
        for (int32_t n = TrimTrailingNchars; n > 0 && left(); --n)
            drop_last();
    }
}

template <ScanPolicy P>
void TrimColumn(ScanState &s, ColumnSpan &column)
{
    Settle(s, s.cursor);
    if constexpr (P.walk == Walk::Lazily) {
        // A trim character is ASCII here: what it takes off are single bytes.
        if (!s.special && (TrimLeadingNchars | TrimTrailingNchars) == 0)
            return TrimBytes<P.trim>(s, column);
        EnterRest(s, column.length);
        s.special = true;
    }
    if constexpr (P.walk == Walk::Bytes) {
        TrimBytes<P.trim>(s, column);
    } else {
        column.last_character = s.characters;
        TrimCharacters<P.trim>(s, column);
    }
}

// The longest beginning of a column that fits its maximum and cuts no character.
template <ScanPolicy P>
uint32_t TruncatedLength(ScanState &s, const ColumnSpan &column, uint32_t maximum)
{
    if constexpr (P.walk == Walk::Columns || P.walk == Walk::Bytes)
        return maximum;
    Settle(s, s.cursor);
    if (P.walk == Walk::Lazily && !s.special)
        return FittingBytes(s.begin + column.start, column.length, maximum);
    uint32_t first = column.first_character, last = column.last_character, length = 0;
    if constexpr (P.trim == Mark::None) {
        if constexpr (P.walk == Walk::Lazily)
            EnterRest(s, column.length);
        first = 0, last = s.characters;
    }
    for (; first < last && length + CharacterLength[first] <= maximum; ++first)
        length += CharacterLength[first];
    return length;
}

// A column over a limit. False: the scan stops; true: it goes on, truncated to its maximum.
bool OverLimit(ScanState &s, int32_t column, uint32_t start, uint32_t length);

// Stores the next column. False: the scan stops.
template <ScanPolicy P>
inline bool CloseColumn(ScanState &s, uint32_t start, uint32_t length)
{
    const int32_t i = s.column++;
    if (i >= s.columns.count) [[unlikely]]
        return true;  // dropped, but counted
    ColumnSpan column = {start, length, 0, 0};
    if constexpr (P.trim != Mark::None)
        TrimColumn<P>(s, column);
    const uint32_t maximum = s.columns.lengths_base[i];  // 0: none
    s.columns.lengths_orig[i] = column.length;
    if (column.length > kMaxColumnBytes || (maximum != 0 && column.length > maximum)) [[unlikely]] {
        if (!OverLimit(s, i + 1, column.start, column.length))
            return false;
        column.length = TruncatedLength<P>(s, column, maximum);
    }
    s.columns.offsets[i] = column.start;
    s.columns.lengths[i] = column.length;
    s.columns.indicators[i] = column.length == 0 && !s.quoted && s.columns.empty_is_null;
    return true;
}

#endif
