// pm/utf8_validation.cpp

#include "pm/utf8_validation.h"

#include <cstring>
#include <iterator>

#include "pm/char_lengths.h"
#include "pm/pm_state.h"

namespace {

constexpr uint8_t kWhiteSquare[] = {0xE2, 0x96, 0xA1};

// The code points of bytes 0x80 to 0x9F, 0: none. Above these, bytes and code points are the same.
constexpr uint16_t kWindows1252[] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,
};

// Two or three bytes, the first one lowest.
constexpr uint32_t Utf8Word(uint32_t point)
{
    const uint32_t last = 0x80 | (point & 0x3F);
    if (point < 0x800)
        return (0xC0 | point >> 6) | last << 8;
    return (0xE0 | point >> 12) | (0x80 | (point >> 6 & 0x3F)) << 8 | last << 16;
}

void Replace(const uint8_t *value, uint32_t length)
{
    memset(UTF8Replacement, 0, sizeof UTF8Replacement);
    memcpy(UTF8Replacement, value, length);
    UTF8ReplacementLength = length;
}

}  // namespace

void SetupUTF8Validation(bool windows_1252)
{
    Replace(kWhiteSquare, sizeof kWhiteSquare);
    for (uint32_t i = 0; windows_1252 && i < std::size(ByteFixTable); ++i) {
        const uint32_t point = i < std::size(kWindows1252) ? kWindows1252[i] : 0x80 + i;
        ByteFixTable[i] = point != 0 ? Utf8Word(point) : 0;
    }
}

int32_t SetUTF8Replacement(const uint8_t *value, uint32_t required_length)
{
    constexpr uint8_t kFirstOfSeveral = 0x80;
    uint32_t length = 1;

    badmbcs = 0;
    const bool several = CharLengthUtf8(value, &length) != 0;
    // The length function lets a stray byte stand for itself; as a replacement it would spoil the data.
    if ((!several && value[0] >= kFirstOfSeveral) ||
        (required_length >= 1 && required_length != length))
        badmbcs = 1;
    if (badmbcs != 0)
        return 0;
    Replace(value, length);
    return 1;
}
