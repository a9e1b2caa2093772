// convert/number_limbs.h - magnitudes of a few machine words.
//
// 320 bits: a mantissa of 136 bits times ten to the 38th needs 263. What does not fit is told, never cut.

#ifndef FENWIRE_CONVERT_NUMBER_LIMBS_H
#define FENWIRE_CONVERT_NUMBER_LIMBS_H

#include <bit>
#include <cstdint>

#include "convert/number_digits.h"

__extension__ typedef unsigned __int128 DoubleLimb;

struct Magnitude {
    static constexpr int kLimbs = 5;
    uint64_t limb[kLimbs] = {};  // the lowest first
};

inline int UsedLimbs(const Magnitude &number)
{
    int used = Magnitude::kLimbs;
    while (used > 0 && number.limb[used - 1] == 0)
        --used;
    return used;
}

inline bool IsZero(const Magnitude &number) { return UsedLimbs(number) == 0; }

inline int BitLength(const Magnitude &number)
{
    const int used = UsedLimbs(number);
    return used == 0 ? 0 : 64 * used - std::countl_zero(number.limb[used - 1]);
}

// Below 0, 0, above 0.
inline int CompareMagnitudes(const Magnitude &a, const Magnitude &b)
{
    for (int i = Magnitude::kLimbs - 1; i >= 0; --i) {
        if (a.limb[i] != b.limb[i])
            return a.limb[i] < b.limb[i] ? -1 : 1;
    }
    return 0;
}

// number * factor + more. False: it does not fit, and number is of no use.
inline bool MultiplyAdd(Magnitude &number, uint64_t factor, uint64_t more)
{
    DoubleLimb carry = more;
    for (uint64_t &limb : number.limb) {
        carry += DoubleLimb{limb} * factor;
        limb = static_cast<uint64_t>(carry);
        carry >>= 64;
    }
    return carry == 0;
}

// Divides number; answers the remainder.
inline uint64_t DivideBy(Magnitude &number, uint64_t divisor)
{
    DoubleLimb rest = 0;
    for (int i = UsedLimbs(number) - 1; i >= 0; --i) {
        rest = rest << 64 | number.limb[i];
        number.limb[i] = static_cast<uint64_t>(rest / divisor);
        rest %= divisor;
    }
    return static_cast<uint64_t>(rest);
}

inline constexpr uint32_t kMaxMagnitudeDigits = 97;  // of 320 bits
inline constexpr uint32_t kDigitsAtOnce = 18;        // whose power of ten a limb holds

// False: it does not fit, and number is of no use.
inline bool TimesPowerOfTen(Magnitude &number, uint32_t power)
{
    if (IsZero(number))
        return true;
    if (power > kMaxMagnitudeDigits)
        return false;
    for (; power > kDigitsAtOnce; power -= kDigitsAtOnce) {
        if (!MultiplyAdd(number, kPowersOfTen[kDigitsAtOnce], 0))
            return false;
    }
    return MultiplyAdd(number, kPowersOfTen[power], 0);
}

// Takes digits off the end; true: some were no zeros.
inline bool DropDigits(Magnitude &number, uint32_t digits)
{
    bool lost = false;
    for (; digits > kDigitsAtOnce && !IsZero(number); digits -= kDigitsAtOnce)
        lost |= DivideBy(number, kPowersOfTen[kDigitsAtOnce]) != 0;
    return IsZero(number) ? lost : lost | (DivideBy(number, kPowersOfTen[digits]) != 0);
}

// to has room for kMaxMagnitudeDigits + 7 bytes. Answers the end of the digits; zero is "0".
inline char *WriteMagnitude(char *to, Magnitude number)
{
    uint64_t part[kMaxMagnitudeDigits / kDigitsAtOnce + 1];
    int parts = 0;
    while (UsedLimbs(number) > 1)
        part[parts++] = DivideBy(number, kPowersOfTen[kDigitsAtOnce]);
    to = WriteDigits(to, number.limb[0]);
    while (parts-- > 0) {
        const uint64_t digits = part[parts];
        to = WritePadded(to, static_cast<uint32_t>(digits / kPowersOfTen[16]), 2);
        to = StoreEight(to, EightDigits(static_cast<uint32_t>(digits / kTenTo8 % kTenTo8)));
        to = StoreEight(to, EightDigits(static_cast<uint32_t>(digits % kTenTo8)));
    }
    return to;
}

inline uint32_t DigitCount(const Magnitude &number)
{
    char digits[kMaxMagnitudeDigits + 7];
    return static_cast<uint32_t>(WriteMagnitude(digits, number) - digits);
}

// 10 to the power, which is below kMaxMagnitudeDigits.
inline Magnitude PowerOfTen(uint32_t power)
{
    Magnitude number;
    number.limb[0] = 1;
    (void)TimesPowerOfTen(number, power);
    return number;
}

#endif
