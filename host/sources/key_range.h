// host/sources/key_range.h - whole numbers that the parts of a source share by ranges.

#ifndef FENWIRE_HOST_SOURCES_KEY_RANGE_H
#define FENWIRE_HOST_SOURCES_KEY_RANGE_H

#include <cstdint>

namespace fenwire {

struct KeyRange {
    int64_t low = 0, high = 0;  // both ends belong to it
    bool empty = true;

    // Where part 1, 2 .. begins.
    int64_t BoundBefore(int part, int parts) const
    {
        __extension__ using Product = unsigned __int128;
        const uint64_t span = static_cast<uint64_t>(high) - static_cast<uint64_t>(low);
        const auto offset =
            static_cast<uint64_t>((static_cast<Product>(span) + 1) *
                                  static_cast<Product>(part - 1) / static_cast<Product>(parts));
        return static_cast<int64_t>(static_cast<uint64_t>(low) + offset);
    }
};

}  // namespace fenwire

#endif
