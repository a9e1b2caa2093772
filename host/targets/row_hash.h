// host/targets/row_hash.h - 64 bits that stand for what a row holds: lengths, NULLs and data.
//
// Two words at a time are multiplied to 128 bits, whose halves are folded. What lies in the padding
// behind the data does not count. Sums of these hashes tell whether two sets of rows are the same, in
// whatever order they came; they are no protection from anyone who means harm.

#ifndef FENWIRE_HOST_TARGETS_ROW_HASH_H
#define FENWIRE_HOST_TARGETS_ROW_HASH_H

#include <cstdint>
#include <cstring>

#include "host/streams/row_record.h"

namespace fenwire {

namespace row_hash {

__extension__ using Wide = unsigned __int128;

inline uint64_t Word(const uint8_t *at)
{
    uint64_t word;
    memcpy(&word, at, sizeof word);
    return word;
}

inline uint64_t Mix(uint64_t a, uint64_t b)
{
    const Wide product = static_cast<Wide>(a) * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

}  // namespace row_hash

inline uint64_t HashRow(const RowRecord &row, uint32_t columns)
{
    using namespace row_hash;
    constexpr uint64_t kOdd[] = {0x9E3779B97F4A7C15, 0xD6E8FEB86659FD93, 0xA0761D6478BD642F};
    const uint8_t *at = row.start + 8;
    uint64_t left = uint64_t{4} * columns + row.data_bytes();
    uint64_t hash = Mix(left ^ kOdd[0], kOdd[1]);
    for (; left >= 16; at += 16, left -= 16)
        hash = Mix(Word(at) ^ kOdd[1], Word(at + 8) ^ hash);
    // Records are whole words, so the last ones may be read to their ends.
    if (left > 8) {
        hash = Mix(Word(at) ^ kOdd[1], hash ^ kOdd[0]);
        at += 8;
        left -= 8;
    }
    if (left > 0)
        hash = Mix((Word(at) & (~uint64_t{0} >> (64 - 8 * left))) ^ kOdd[2], hash ^ kOdd[0]);
    return Mix(hash ^ kOdd[2], kOdd[0]);
}

}  // namespace fenwire

#endif
