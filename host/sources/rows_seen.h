// host/sources/rows_seen.h - the place of a part whose rows have no key: how many were handed over, and
// a sum of their bytes.
//
// Whoever goes on reads so many rows again. When their sum is the same they are the rows that were handed
// over, in their order; so what comes behind them is what was left, whatever the reason for the order.

#ifndef FENWIRE_HOST_SOURCES_ROWS_SEEN_H
#define FENWIRE_HOST_SOURCES_ROWS_SEEN_H

#include <cstring>
#include <functional>
#include <vector>

#include "host/sources/position.h"
#include "host/streams/row_outlet.h"

namespace fenwire {

class RowsSeen {
public:
    // Hot.
    void Add(const uint8_t *row, size_t bytes)
    {
        ++count_;
        Mix(bytes);
        for (; bytes >= sizeof(uint64_t); row += sizeof(uint64_t), bytes -= sizeof(uint64_t))
            Mix(Word(row, sizeof(uint64_t)));
        Mix(Word(row, bytes));
    }

    uint64_t count() const { return count_; }

    // "rows COUNT SUM"
    std::string Text() const;

    // Reads as many rows again as the text behind "rows" says. What read_row does with the outlet it is
    // given is hand over one row; false: there is none. Throws SourceError when they are other rows.
    void Repeat(PositionReader &place, const RowLayout &layout,
                const std::function<bool(RowOutlet &)> &read_row);

private:
    static uint64_t Word(const uint8_t *at, size_t bytes)
    {
        uint64_t word = 0;
        memcpy(&word, at, bytes);
        return word;
    }
    void Mix(uint64_t word)
    {
        sum_ = (sum_ ^ word) * 0x9E3779B97F4A7C15;
        sum_ ^= sum_ >> 32;
    }

    uint64_t count_ = 0, sum_ = 0;
};

}  // namespace fenwire

#endif
