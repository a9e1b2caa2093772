// host/checkpoint/packed_bytes.h - an operator's record, told short.
//
// A record keeps 4 KB for each file of its list, of which most are zero and the rest is much like the file's
// before. What is packed is a sequence of pieces: how many bytes follow, those bytes, and how many bytes
// behind them are as one element of the list earlier (in front of the first one, everything is zero). So
// 20,000 files are 0.4 MB in place of 80, and nobody but their two ends handles the 80.

#ifndef FENWIRE_HOST_CHECKPOINT_PACKED_BYTES_H
#define FENWIRE_HOST_CHECKPOINT_PACKED_BYTES_H

#include <cstdint>
#include <string>
#include <string_view>

namespace fenwire {

struct PackedBytes {
    uint64_t size = 0;  // of what is packed
    std::string pieces;
    bool operator==(const PackedBytes &) const = default;
};

PackedBytes Pack(std::string_view bytes);

// Whether the pieces are those of so many bytes. What comes from elsewhere is asked this first.
bool IsSound(const PackedBytes &packed);

// Of sound ones only. zeros: packed.size bytes, all of them 0.
void Unpack(const PackedBytes &packed, char *zeros);
std::string Unpacked(const PackedBytes &packed);

}  // namespace fenwire

#endif
