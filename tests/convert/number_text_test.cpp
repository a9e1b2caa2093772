// tests/convert/number_text_test.cpp - the digits of FLOAT against those of printf.

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "convert/number_text.h"

namespace {

void DropZeros(std::string *fraction)
{
    while (fraction->ends_with('0'))
        fraction->pop_back();
}

// The text, made from what printf says.
std::string Literal(double value)
{
    char printed[64];
    snprintf(printed, sizeof printed, "%.14e", value);
    const std::string all = printed;
    const size_t e = all.find('e');
    if (value == 0)
        return "0";
    if (e == std::string::npos)
        return all;
    const std::string sign = all[0] == '-' ? "-" : "";
    const std::string digits = all.substr(sign.size(), 1) + all.substr(sign.size() + 2, 14);
    const long power = strtol(printed + e + 1, nullptr, 10);
    const bool plain = power >= 0 && power < 14;
    const size_t whole = plain ? static_cast<size_t>(power) + 1 : 1;
    std::string fraction = digits.substr(whole);
    DropZeros(&fraction);
    return sign + digits.substr(0, whole) + (fraction.empty() ? "" : "." + fraction) +
           (plain ? "" : all.substr(e));
}

void ExpectLiteral(double value)
{
    char text[kNumberText];
    const char *end = WriteFloat(text, value);
    ASSERT_EQ(std::string(text, static_cast<size_t>(end - text)), Literal(value))
        << std::hexfloat << value;
}

}  // namespace

TEST(Float, DigitsAreThoseOfPrintf)
{
    const uint32_t seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    for (int i = 0; i < 100000; ++i) {
        ExpectLiteral(std::bit_cast<double>(random()));  // any bits
        ExpectLiteral(static_cast<double>(static_cast<int64_t>(random()) >> random() % 64) / 1000);
        ExpectLiteral(static_cast<double>(random() >> random() % 64));          // many ties
        ExpectLiteral(std::bit_cast<double>(random() >> 12 >> random() % 52));  // subnormal
    }
    for (int power = -324; power <= 308; ++power) {
        const double value = strtod(("1e" + std::to_string(power)).c_str(), nullptr);
        for (const double near : {value, std::nextafter(value, 0), std::nextafter(value, 1e308)})
            ExpectLiteral(near);
    }
}
