// convert/number_digits.h - digits of whole numbers, eight at a time.
//
// Eight digits are taken apart in one register and stored at once, so a number costs no loop. Stores
// are of whole words: up to seven bytes behind the digits are overwritten.

#ifndef FENWIRE_CONVERT_NUMBER_DIGITS_H
#define FENWIRE_CONVERT_NUMBER_DIGITS_H

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "the first digit is the lowest byte");

inline constexpr uint64_t kZeroDigits = 0x3030303030303030;  // "00000000"
inline constexpr uint32_t kTenTo8 = 100000000;

// 10 to the power of the index.
inline constexpr uint64_t kPowersOfTen[] = {1,
                                            10,
                                            100,
                                            1000,
                                            10000,
                                            100000,
                                            1000000,
                                            10000000,
                                            100000000,
                                            1000000000,
                                            10000000000,
                                            100000000000,
                                            1000000000000,
                                            10000000000000,
                                            100000000000000,
                                            1000000000000000,
                                            10000000000000000,
                                            100000000000000000,
                                            1000000000000000000};

// The digits of a value below kTenTo8, each in a byte of its own, the first in the lowest.
constexpr uint64_t EightDigits(uint32_t value)
{
    const uint64_t halves = value / 10000 | uint64_t{value % 10000} << 32;
    const uint64_t hundreds = (halves * 10486 >> 20) & 0x7F0000007F;
    const uint64_t pairs = hundreds | (halves - 100 * hundreds) << 16;
    const uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8;
}

inline char *StoreEight(char *to, uint64_t digits)
{
    digits += kZeroDigits;
    memcpy(to, &digits, sizeof digits);
    return to + sizeof digits;
}

// A value below kTenTo8 with width digits or more, 1 to 8. Answers the end of the digits, as all here do.
inline char *WritePadded(char *to, uint32_t value, int width)
{
    const uint64_t digits = EightDigits(value);
    const int skipped = std::countr_zero(digits | uint64_t{1} << (64 - 8 * width)) / 8;
    const uint64_t text = (digits + kZeroDigits) >> (8 * skipped);
    memcpy(to, &text, sizeof text);
    return to + 8 - skipped;
}

inline char *WriteDigits(char *to, uint64_t value)
{
    constexpr uint64_t kTenTo16 = uint64_t{kTenTo8} * kTenTo8;
    if (value < kTenTo8)
        return WritePadded(to, static_cast<uint32_t>(value), 1);
    if (value < kTenTo16) {
        to = WritePadded(to, static_cast<uint32_t>(value / kTenTo8), 1);
        return StoreEight(to, EightDigits(static_cast<uint32_t>(value % kTenTo8)));
    }
    to = WritePadded(to, static_cast<uint32_t>(value / kTenTo16), 1);
    to = StoreEight(to, EightDigits(static_cast<uint32_t>(value % kTenTo16 / kTenTo8)));
    return StoreEight(to, EightDigits(static_cast<uint32_t>(value % kTenTo8)));
}

inline char *WriteInteger(char *to, int64_t value)
{
    *to = '-';
    const uint64_t bits = static_cast<uint64_t>(value);
    return value < 0 ? WriteDigits(to + 1, 0 - bits) : WriteDigits(to, bits);
}

#endif
