// convert/number_float.cpp - FLOAT as text: 15 digits, correctly rounded.
//
// The fast road multiplies the 64 bits of a value by the first 64 bits of a power of ten, so that the
// product's whole part is the 15 digits and the rest says how to round. The power is at most two units
// of its last place too low, so the product is at most 2^65 too low. Where the rest is nearer than that to
// a half the product can't tell, and the library's exact conversion does it: about one value in ten
// thousand, and every tie.

#include <array>
#include <charconv>
#include <cstdio>

#include "convert/number_text.h"

namespace {

// ---- Powers of ten -----------------------------------------------------------------------------

// From the first digit of the smallest value to 10^14 over it.
constexpr int kLowestPower = -326, kHighestPower = 340;

// The exponent of two below which 10^power lies: floor(power * log2(10)).
constexpr int BinaryExponent(int power) { return (power * 217706) >> 16; }

// Significands: the first 64 bits. 10^power is significand * 2^(BinaryExponent(power) - 63) and a bit.
using PowerTable = std::array<uint64_t, kHighestPower - kLowestPower + 1>;

// Steps of ten with 128 bits, cut at each: after 340 steps the error is still below 2^-118, far less
// than the one unit in 2^64 that is cut at the end.
consteval PowerTable MakePowers()
{
    constexpr DoubleLimb kTop = DoubleLimb{1} << 127;
    PowerTable table = {};
    DoubleLimb up = kTop, down = kTop;
    for (int power = 0; power <= kHighestPower; ++power) {
        table[static_cast<size_t>(power - kLowestPower)] = static_cast<uint64_t>(up >> 64);
        const DoubleLimb sum = up + (up >> 2);  // 10 is 1.25 * 8
        up = sum < up ? sum >> 1 | kTop : sum;
    }
    for (int power = 0; power >= kLowestPower; --power) {
        table[static_cast<size_t>(power - kLowestPower)] = static_cast<uint64_t>(down >> 64);
        down -= down / 5;  // a tenth is 0.8 / 8
        down = down < kTop ? down << 1 : down;
    }
    return table;
}

constexpr PowerTable kPowers = MakePowers();

constexpr uint64_t PowerBits(int power)
{
    return kPowers[static_cast<size_t>(power - kLowestPower)];
}

// ---- Digits ------------------------------------------------------------------------------------

constexpr int kDigits = 15;
constexpr uint64_t kMostDigits = 1000000000000000;  // 10^15

struct Decimal {
    uint64_t digits;  // 10^14 to 10^15 - 1
    int exponent;     // of the first digit
};

// value = significand * 2^exponent, with the significand's highest bit set. False: it can't tell.
bool RoundFast(uint64_t significand, int exponent, Decimal *decimal)
{
    // The power of ten at or below the value: estimated from the exponent of two, which may be one too
    // few.
    const int binary = exponent + 63;
    int power = (binary * 78913) >> 18;  // log10(2)
    const int next = power + 1;
    power += BinaryExponent(next) == binary && significand >= PowerBits(next) ? 1 : 0;

    const int scale = kDigits - 1 - power;
    const DoubleLimb product = DoubleLimb{significand} * PowerBits(scale);
    const int point = -(exponent + BinaryExponent(scale) - 63);  // bits behind the whole part
    const DoubleLimb half = DoubleLimb{1} << (point - 1);
    const DoubleLimb rounded = product + half;
    const uint64_t rest = static_cast<uint64_t>((rounded & (2 * half - 1)) >> 64);
    const uint64_t most = static_cast<uint64_t>((2 * half - 1) >> 64);
    if (rest < 3 || rest > most - 3)
        return false;
    decimal->digits = static_cast<uint64_t>(rounded >> point);
    decimal->exponent = power;
    if (decimal->digits == kMostDigits) {
        decimal->digits /= 10;
        ++decimal->exponent;
    }
    return true;
}

// Reads the digits and the exponent off the exact text, d.dddddddddddddde+dd.
Decimal RoundExactly(double value)
{
    char text[32];
    const auto end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, kDigits - 1)
            .ptr;
    Decimal decimal = {static_cast<uint64_t>(text[0] - '0'), 0};
    for (int i = 2; i <= kDigits; ++i)
        decimal.digits = decimal.digits * 10 + static_cast<uint64_t>(text[i] - '0');
    const char *power = text + kDigits + 2;
    (void)std::from_chars(power + 1, end, decimal.exponent);
    if (*power == '-')
        decimal.exponent = -decimal.exponent;
    return decimal;
}

constexpr int kFractionBits = 52, kBias = 1075, kSpecialExponent = 0x7FF;

Decimal Round(uint64_t bits)
{
    const uint64_t fraction = bits & ((uint64_t{1} << kFractionBits) - 1);
    const int biased = static_cast<int>(bits >> kFractionBits);
    const uint64_t significand = biased == 0 ? fraction : fraction | uint64_t{1} << kFractionBits;
    const int shift = std::countl_zero(significand);
    Decimal decimal;
    if (RoundFast(significand << shift, (biased == 0 ? 1 : biased) - kBias - shift, &decimal))
        return decimal;
    return RoundExactly(std::bit_cast<double>(bits));
}

// ---- Text --------------------------------------------------------------------------------------

char *WritePower(char *to, int power)
{
    *to++ = 'e';
    *to++ = power < 0 ? '-' : '+';
    return WritePadded(to, static_cast<uint32_t>(power < 0 ? -power : power), 2);
}

// The digits stand in a register of 16 bytes, the first in the lowest; a point goes in by storing the
// fraction once more, one byte further.
char *WriteDecimalDigits(char *to, const Decimal &decimal)
{
    const uint64_t low = EightDigits(static_cast<uint32_t>(decimal.digits % kTenTo8));
    const uint64_t high = EightDigits(static_cast<uint32_t>(decimal.digits / kTenTo8)) >> 8;
    const int used =
        low != 0 ? kDigits - std::countl_zero(low) / 8 : 8 - std::countl_zero(high) / 8;
    const bool plain = decimal.exponent >= 0 && decimal.exponent < kDigits - 1;
    const int whole = plain ? decimal.exponent + 1 : 1;

    const DoubleLimb zeros = DoubleLimb{kZeroDigits} << 64 | kZeroDigits;
    const DoubleLimb text = (DoubleLimb{low} << 56 | high) + zeros, fraction = text >> (8 * whole);
    memcpy(to, &text, sizeof text);
    to[whole] = '.';
    memcpy(to + whole + 1, &fraction, sizeof fraction);
    to += used > whole ? used + 1 : whole;
    return plain ? to : WritePower(to, decimal.exponent);
}

}  // namespace

char *WriteFloat(char *to, double value)
{
    const uint64_t bits = std::bit_cast<uint64_t>(value), size = bits << 1 >> 1;
    if (size == 0) {
        *to = '0';
        return to + 1;
    }
    *to = '-';
    to += bits >> 63;
    if (size >> kFractionBits == kSpecialExponent) {
        const std::string_view name = size << 12 == 0 ? "inf" : "nan";
        return to + name.copy(to, name.size());
    }
    return WriteDecimalDigits(to, Round(size));
}
