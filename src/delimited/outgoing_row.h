// delimited/outgoing_row.h - a row on its way into a delimited record, as the writers see it.

#ifndef FENWIRE_DELIMITED_OUTGOING_ROW_H
#define FENWIRE_DELIMITED_OUTGOING_ROW_H

#include <algorithm>
#include <cstring>

#include "delimited/binary_to_text.h"
#include "delimited/delimited_state.h"

struct OutgoingValue {
    const uint8_t *begin;
    uint32_t length;
};

struct OutgoingRow {
    const uint8_t *data;
    uint32_t length;
    int32_t columns;
    const uint32_t *offsets;
    const uint8_t *indicators;
    const uint32_t *lengths;
    const DelimitedConvertRec *converted;  // null: every value stands in the row as text
    bool append;                           // a delimiter follows the last column too

    bool IsNull(int32_t column) const { return indicators[column] != 0; }
    bool IsDelimited(int32_t column) const { return append || column + 1 < columns; }

    OutgoingValue Value(int32_t column) const
    {
        if (converted == nullptr || converted[column].convert == 0)
            return {data + offsets[column], lengths[column]};
        const DelimitedConvertRec &text = converted[column];
        return {reinterpret_cast<const uint8_t *>(text.text),
                std::min<uint32_t>(text.length, sizeof text.text)};
    }
};

struct WrittenRecord {
    uint8_t *end;
    bool reads_back;  // false: it has to be looked at whether it does
};

// A RowWriter puts a row's record down. The buffer has room for the longest record that the row can make,
// and kCopySlack bytes behind it.

// Value by value, character by character, for every setting.
WrittenRecord WriteRowLiterally(const OutgoingRow &row, uint8_t *to);

// The one that writes the same faster under the present settings; null: there is none.
RowWriter FastRowWriter();

inline uint8_t *Put(uint8_t *to, const uint8_t *bytes, uint32_t length)
{
    if (length != 0)  // an empty value may have no address either
        memcpy(to, bytes, length);
    return to + length;
}
inline uint8_t *Put(uint8_t *to, const MarkText &mark) { return Put(to, mark.bytes, mark.length); }

#endif
