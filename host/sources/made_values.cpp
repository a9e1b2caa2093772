// host/sources/made_values.cpp - numbers and bytes made by rule, and the table of makers.

#include "host/sources/made_values.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <iterator>
#include <limits>
#include <type_traits>

#include "host/job/column_types.h"

namespace fenwire {

namespace {

__extension__ using Wide = __int128;

// Numbers of every length come up, not only the longest.
template <class Integer>
size_t MakeInteger(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    constexpr Integer kEdges[] = {std::numeric_limits<Integer>::min(),
                                  std::numeric_limits<Integer>::max(), 0, -1, 1};
    if (const Integer *edge = EdgeOf(draw, shape, kEdges))
        return Put(to, *edge);
    const auto bits = static_cast<int64_t>(draw.Next());
    const uint64_t shift = 64 - 8 * sizeof(Integer) + draw.Below(8 * sizeof(Integer));
    return Put(to, static_cast<Integer>(bits >> shift));
}

size_t MakeBoolean(Draw &draw, const ValueShape &, uint8_t *to)
{
    return Put(to, static_cast<uint8_t>(draw.Below(2)));
}

// Half of them numbers such as people write, the others any finite bits.
size_t MakeFloat(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    using Limits = std::numeric_limits<double>;
    static constexpr double kEdges[] = {
        0.0,  -0.0,  1.0,  -1.0, 0.1,  Limits::denorm_min(), -Limits::denorm_min(), Limits::min(),
        1e14, 1e-14, 1e15, 1e16, 1e22, Limits::max(),        Limits::lowest(),
    };
    static constexpr double kPowers[] = {1, 10, 100, 1000, 1e4, 1e5, 1e6};
    if (const double *edge = EdgeOf(draw, shape, kEdges))
        return Put(to, *edge);
    if (draw.OneIn(2))
        return Put(to, static_cast<double>(draw.Between(-999'999'999, 999'999'999)) /
                           kPowers[draw.Below(std::size(kPowers))]);
    constexpr uint64_t kExponent = uint64_t{0x7FF} << 52;
    uint64_t bits = draw.Next();
    if ((bits & kExponent) == kExponent)
        bits ^= uint64_t{1} << 62;
    return Put(to, bits);
}

Wide PowerOfTen(uint32_t exponent)
{
    Wide power = 1;
    for (; exponent > 0; --exponent)
        power *= 10;
    return power;
}

// A whole number of at most so many digits.
Wide MakeDigits(Draw &draw, const ValueShape &shape, uint32_t most_digits)
{
    if (shape.edges && draw.OneIn(4)) {
        const Wide most = PowerOfTen(most_digits) - 1;
        const Wide edges[] = {most, -most, 0, 1, -1};
        return edges[draw.Below(std::size(edges))];
    }
    const Wide bound = PowerOfTen(1 + static_cast<uint32_t>(draw.Below(most_digits)));
    const Wide bits =
        static_cast<Wide>(draw.Next() >> 1) << 63 | static_cast<Wide>(draw.Next() >> 1);
    const Wide digits = bits % bound;
    return draw.OneIn(2) ? -digits : digits;
}

size_t MakeDecimal(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    const Wide value = MakeDigits(draw, shape, shape.precision);
    memcpy(to, &value, shape.length);  // little-endian: the low bytes come first
    return shape.length;
}

// The mantissa without the bytes that only repeat its sign.
size_t MantissaBytes(Wide mantissa)
{
    size_t bytes = 1;
    while (mantissa < -128 || mantissa > 127) {
        mantissa >>= 8;
        ++bytes;
    }
    return bytes;
}

// Zero is the value without bytes. A column without precision takes exponents up to 125.
size_t MakeNumber(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    constexpr uint32_t kMostDigits = 38;
    const bool floating = shape.precision == 0;
    const Wide mantissa = MakeDigits(draw, shape, floating ? kMostDigits : shape.precision);
    int64_t scale = shape.scale;
    if (floating)
        scale = draw.OneIn(4) ? draw.Between(-(125 - int64_t{kMostDigits}), 125)
                              : draw.Between(0, kMostDigits);
    if (mantissa == 0)
        return 0;
    const size_t bytes = MantissaBytes(mantissa);
    Put(to, static_cast<int16_t>(scale));
    memcpy(to + sizeof(int16_t), &mantissa, bytes);
    return sizeof(int16_t) + bytes;
}

void FillBytes(Draw &draw, uint8_t *to, size_t bytes)
{
    for (; bytes > 0; bytes -= std::min(bytes, sizeof(uint64_t))) {
        const uint64_t word = draw.Next();
        memcpy(to, &word, std::min(bytes, sizeof word));
        to += sizeof word;
    }
}

size_t MakeFixedBytes(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    FillBytes(draw, to, shape.length);
    return shape.length;
}

size_t MakeBytes(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    const size_t bytes = VariableLength(draw, shape);
    FillBytes(draw, to, bytes);
    return bytes;
}

// By type code. The nullable types have no length prefix, so those of variable length are filled up.
// clang-format off
constexpr ValueMaker kMakers[] = {
    MakeFixedBytes,       MakeInteger<int32_t>, MakeInteger<int16_t>, MakeFloat,            MakeDecimal,           //  0
    MakeFixedText,        MakeInteger<int8_t>,  MakeText,             MakeText,             MakeFixedBytes,        //  5
    MakeBytes,            MakeIntDate,          MakeFixedGraphic,     MakeGraphic,          MakeGraphic,           // 10
    MakeAnsiDate,         MakeBoolean,          MakeFixedBytes,       MakeFixedText,        MakeFloat,             // 15
    MakeDecimal,          MakeFixedText,        MakeFixedText,        MakeInteger<int32_t>, MakeInteger<int16_t>,  // 20
    MakeFixedBytes,       MakeFixedBytes,       MakeFixedBytes,       MakeInteger<int8_t>,  MakeIntDate,           // 25
    MakeFixedGraphic,     MakeFixedGraphic,     MakeFixedGraphic,     MakeAnsiDate,         MakeBoolean,           // 30
    MakeMoment,           MakeMoment,           MakeInteger<int64_t>, MakeInteger<int64_t>, MakeBytes,             // 35
    MakeText,             MakeFileName,         MakeFileName,         MakeMoment,           MakeMoment,            // 40
    MakeInterval,         MakeInterval,         MakeInterval,         MakeInterval,         MakeInterval,          // 45
    MakeInterval,         MakeInterval,         MakeInterval,         MakeInterval,         MakeInterval,          // 50
    MakeInterval,         MakeInterval,         MakeInterval,         MakePeriod,           MakePeriod,            // 55
    MakePeriod,           MakePeriod,           MakePeriod,           MakeNumber,           MakeHex,               // 60
    MakeXml,              MakeFileName,         MakeJson,             MakeFileName,                                // 65
};
// clang-format on

// Characters of two bytes must come out even.
bool IsFixedText(const ValueShape &shape)
{
    return MakerOf(shape.type) == MakeFixedText || MakerOf(shape.type) == MakeHex;
}

}  // namespace

ValueMaker MakerOf(uint32_t type) { return type < std::size(kMakers) ? kMakers[type] : nullptr; }

std::string WhyNotMade(const ValueShape &shape)
{
    const ValueMaker maker = MakerOf(shape.type);
    if (maker == nullptr)
        return fmt::format("there is no type {}", shape.type);
    const std::string_view name = ColumnTypes()[shape.type].name;
    if (shape.utf16 && maker == MakeAnsiDate)
        return fmt::format("{} has 10 bytes, and a date of UTF16 needs 20; take CHAR(20)", name);
    if (shape.utf16 && IsFixedText(shape) && shape.length % 2 != 0)
        return fmt::format("{}({}) ends within a character of UTF16; take an even length", name,
                           shape.length);
    return {};
}

}  // namespace fenwire
