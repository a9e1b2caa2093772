// pm/formats/length_prefix.h - the frames of formats 2 to 7: a length in front, maybe a line end behind.
//
//     prefix    2 or 4 bytes, little-endian: the bytes of data, and in formats 4 and 5 its own two
//     data
//     trailer   one byte in formats 3, 5 and 7: 0A; a reader takes 0D, too

#ifndef FENWIRE_PM_FORMATS_LENGTH_PREFIX_H
#define FENWIRE_PM_FORMATS_LENGTH_PREFIX_H

#include <cstdint>

struct Frame {
    uint8_t prefix;   // its bytes; 0: the format has no frame
    uint8_t counted;  // bytes of the prefix that its value counts
    uint8_t trailer;  // bytes behind the data
};

// clang-format off
inline constexpr Frame kFrames[9] = {
    {}, {},
    {2, 0, 0},  // 2 BINARY
    {2, 0, 1},  // 3 FORMATTED
    {2, 2, 0},
    {2, 2, 1},  // 5 FORMATTED2
    {4, 0, 0},  // 6 BINARY4
    {4, 0, 1},  // 7 FORMATTED4
    {},
};
// clang-format on

inline constexpr uint8_t kTrailer = 0x0A, kOtherTrailer = 0x0D;

#endif
