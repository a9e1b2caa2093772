// host/sources/draw.h - numbers that look random and depend on their start alone.
//
// Not the standard library's generators: its distributions differ between libraries, and a row of a
// seed must be the same everywhere.

#ifndef FENWIRE_HOST_SOURCES_DRAW_H
#define FENWIRE_HOST_SOURCES_DRAW_H

#include <cstdint>

namespace fenwire {

class Draw {
public:
    // Row k of a seed begins where no other row does.
    Draw(uint64_t seed, uint64_t row) : state_(Mixed(Mixed(seed) + row * kOdd)) {}

    uint64_t Next() { return Mixed(state_ += kOdd); }

    // 0 to bound - 1. The bias of the multiplication is far below what anybody could see in rows.
    uint64_t Below(uint64_t bound)
    {
        return static_cast<uint64_t>(static_cast<Wide>(Next()) * bound >> 64);
    }
    int64_t Between(int64_t least, int64_t most)
    {
        return least + static_cast<int64_t>(
                           Below(static_cast<uint64_t>(most) - static_cast<uint64_t>(least) + 1));
    }
    bool OneIn(uint64_t count) { return Below(count) == 0; }

private:
    __extension__ using Wide = unsigned __int128;
    static constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;

    static uint64_t Mixed(uint64_t word)
    {
        word = (word ^ word >> 30) * 0xBF58476D1CE4E5B9;
        word = (word ^ word >> 27) * 0x94D049BB133111EB;
        return word ^ word >> 31;
    }

    uint64_t state_;
};

}  // namespace fenwire

#endif
