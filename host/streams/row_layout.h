// host/streams/row_layout.h - the job's row layout: a row as one run of bytes.
//
//     indicator bytes   one bit a column, the highest bit first; 1: NULL
//     column 1, 2 ..    a length prefix, where the column's type has one, then the value's bytes
//
// Prefixes are little-endian: 2 bytes for types of variable length, 1 for NUMBER, 8 for inline large
// objects. A NULL column of fixed length is that many zero bytes, one with a prefix has length 0. So it
// comes from a source and goes to a consumer, and from a producer in indicator mode.

#ifndef FENWIRE_HOST_STREAMS_ROW_LAYOUT_H
#define FENWIRE_HOST_STREAMS_ROW_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

// Bytes of the length prefix of a type: 0, 1, 2 or 8.
uint32_t PrefixBytes(uint32_t type);

class RowLayout {
public:
    explicit RowLayout(const std::vector<Column> &columns);

    struct Slot {
        uint32_t length;  // declared bytes
        uint32_t prefix;  // bytes of its length prefix
    };
    uint32_t columns() const { return static_cast<uint32_t>(slots_.size()); }
    uint32_t indicator_bytes() const { return (columns() + 7) / 8; }
    const std::vector<Slot> &slots() const { return slots_; }
    uint64_t most_bytes() const { return most_bytes_; }  // of a row with everything at its longest
    // Of a row without values: prefixes, and the zeros of NULL.
    uint64_t fixed_and_prefix_bytes() const { return fixed_and_prefix_bytes_; }

    // What stands where in a row: offsets from the row's start behind prefixes, lengths, indicators 0 or
    // 1. A NULL column keeps the length that it has in the row. False: the bytes are no row of this
    // layout; *bad is the column at fault, from 1, and one behind the last for bytes that are left over.
    bool Walk(const uint8_t *row, size_t bytes, uint8_t *indicators, uint32_t *offsets,
              uint32_t *lengths, uint32_t *bad) const;

private:
    void ExpandIndicators(const uint8_t *row, uint8_t *indicators) const;
    template <bool Two>
    const uint8_t *Place(const uint8_t *row, const uint8_t *at, const uint8_t *end,
                         uint32_t *offsets, uint32_t *lengths, uint32_t *bad) const;
    std::vector<Slot> slots_;
    uint64_t most_bytes_ = 0, fixed_and_prefix_bytes_ = 0;
    bool two_byte_prefixes_ = true;
};

// Puts a row together, column by column. to has room for the longest row.
class RowBuilder {
public:
    RowBuilder(const RowLayout &layout, uint8_t *to) : layout_(layout) { Begin(to); }

    void Begin(uint8_t *to);
    void Null();
    // The next column's value: exactly its declared bytes without a prefix, at most as many with one.
    // False: it is another length, and nothing was put.
    bool Put(const void *value, size_t bytes);
    size_t bytes() const { return static_cast<size_t>(at_ - row_); }

private:
    const RowLayout &layout_;
    uint8_t *row_ = nullptr, *at_ = nullptr;
    uint32_t column_ = 0;
};

}  // namespace fenwire

#endif
