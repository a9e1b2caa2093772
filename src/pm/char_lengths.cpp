// pm/char_lengths.cpp

#include "pm/char_lengths.h"

namespace {

struct Range {
    uint8_t first, last;
};
constexpr bool In(Range range, uint8_t byte) { return byte >= range.first && byte <= range.last; }

// A set of one- and two-byte characters, told by two tables.
struct TwoByteSet {
    Range lead[2];
    Range trail[2];
};
constexpr TwoByteSet kShiftJis = {{{0x81, 0x9F}, {0xE0, 0xFC}}, {{0x40, 0x7E}, {0x80, 0xFC}}};
constexpr TwoByteSet kBig5 = {{{0x81, 0xFF}, {0x81, 0xFF}}, {{0x40, 0x7E}, {0x80, 0xFE}}};
constexpr TwoByteSet kKsc5601 = {{{0x81, 0xFF}, {0x81, 0xFF}}, {{0x40, 0xFF}, {0x40, 0xFF}}};
constexpr Range kGb = {0xA1, 0xFE};

constexpr bool In(const Range (&ranges)[2], uint8_t byte)
{
    return In(ranges[0], byte) || In(ranges[1], byte);
}

int32_t Bad(uint32_t *bytes, uint32_t examined)
{
    badmbcs = 1;
    *bytes = examined;
    return 0;
}

int32_t Good(uint32_t *bytes, uint32_t length)
{
    *bytes = length;
    return 1;
}

int32_t TwoByteLength(const TwoByteSet &set, const uint8_t *at, uint32_t *bytes)
{
    badmbcs = 0;
    *bytes = 0;
    if (!In(set.lead, at[0]))
        return 0;
    if (at[1] == 0)
        return Bad(bytes, 1);
    return In(set.trail, at[1]) ? Good(bytes, 2) : Bad(bytes, 2);
}

constexpr bool Continues(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// Bytes that an UTF-8 lead announces; 1 for what is no lead. Overlong forms and surrogates pass.
constexpr uint32_t AnnouncedByUtf8(uint8_t lead)
{
    if (lead < 0xC2 || lead > 0xF7)
        return 1;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

}  // namespace

int32_t CharLengthSingleByte(const uint8_t *, uint32_t *) { return 0; }

int32_t CharLengthUtf8(const uint8_t *at, uint32_t *bytes)
{
    const uint32_t announced = AnnouncedByUtf8(at[0]);
    for (uint32_t i = 1; i < announced; ++i) {
        if (!Continues(at[i])) {
            *bytes = 1;
            return 0;
        }
    }
    *bytes = announced;
    return announced > 1;
}

int32_t CharLengthUtf16(const uint8_t *at, uint32_t *bytes)
{
    const uint8_t high = DataEndian == kLittleEndian ? at[1] : at[0];
    badmbcs = 0;
    fourByteUTF = high >= 0xD8 && high <= 0xDF;  // that a low surrogate follows is not asked
    return Good(bytes, fourByteUTF != 0 ? 4 : 2);
}

int32_t CharLengthChinese936(const uint8_t *at, uint32_t *bytes)
{
    badmbcs = 0;
    if (at[0] >= 0x81)
        return Good(bytes, 2);
    *bytes = 1;
    return 0;
}

int32_t CharLengthGb2312(const uint8_t *at, uint32_t *bytes)
{
    badmbcs = 0;
    *bytes = 0;
    if (at[0] < 0x81)
        return 0;
    if (In(kGb, at[0]) && In(kGb, at[1]))
        return Good(bytes, 2);
    badmbcs = 1;
    return 1;  // of length 0
}

int32_t CharLengthEuc(const uint8_t *at, uint32_t *bytes)
{
    constexpr uint8_t kShift2 = 0x8E, kShift3 = 0x8F, kTop = 0x80;
    badmbcs = 0;
    *bytes = 0;
    if (at[0] < kTop)
        return 0;
    if (at[1] == 0)
        return Bad(bytes, 1);
    if (at[0] == kShift2)
        return at[1] >= kTop ? Good(bytes, 2) : Bad(bytes, 2);
    if (at[0] == kShift3) {
        if (at[2] == 0)
            return Bad(bytes, 2);
        return at[1] >= kTop && at[2] >= kTop ? Good(bytes, 3) : Bad(bytes, 3);
    }
    return In(kGb, at[0]) && In(kGb, at[1]) ? Good(bytes, 2) : Bad(bytes, 2);
}

int32_t CharLengthShiftJis(const uint8_t *at, uint32_t *bytes)
{
    return TwoByteLength(kShiftJis, at, bytes);
}

int32_t CharLengthBig5(const uint8_t *at, uint32_t *bytes)
{
    return TwoByteLength(kBig5, at, bytes);
}

int32_t CharLengthKsc5601(const uint8_t *at, uint32_t *bytes)
{
    return TwoByteLength(kKsc5601, at, bytes);
}
