// host/sources/made_values.h - values made by rule, valid for their column.
//
// A table gives each type its maker (made_values.cpp): made_text.cpp has the characters, made_times.cpp
// what a calendar and a clock have to do with.

#ifndef FENWIRE_HOST_SOURCES_MADE_VALUES_H
#define FENWIRE_HOST_SOURCES_MADE_VALUES_H

#include <cstddef>
#include <cstring>

#include "host/job/job.h"
#include "host/sources/draw.h"

namespace fenwire {

enum class TextStyle : uint8_t {
    Plain,  // letters, digits, "-" and "_"
    Marks,  // what delimited text gives a meaning to as well
    Utf8,   // characters of one to four bytes as well
    All,
};

// What a maker must know of its column.
struct ValueShape {
    uint32_t type, length;  // bytes
    uint32_t precision, scale;
    bool utf16;  // characters have two bytes
    TextStyle text;
    bool edges;  // extreme values come up often
};

// Puts a value into to, which has room for the column's length, and says how many bytes it has: all of
// them in a column without length prefix.
using ValueMaker = size_t (*)(Draw &draw, const ValueShape &shape, uint8_t *to);

ValueMaker MakerOf(uint32_t type);  // null: there is no such type

// Empty: values of this shape can be made; else what is wrong with the column.
std::string WhyNotMade(const ValueShape &shape);

// The edge value to take now, when edges are wanted and it is their turn.
template <class Value, size_t kCount>
const Value *EdgeOf(Draw &draw, const ValueShape &shape, const Value (&edges)[kCount])
{
    return shape.edges && draw.OneIn(4) ? &edges[draw.Below(kCount)] : nullptr;
}

template <class Value>
size_t Put(uint8_t *to, const Value &value)
{
    memcpy(to, &value, sizeof value);
    return sizeof value;
}

size_t MakeFixedText(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeText(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeFixedGraphic(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeGraphic(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeHex(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeJson(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeXml(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeFileName(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t VariableLength(Draw &draw, const ValueShape &shape);

size_t MakeIntDate(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeAnsiDate(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeMoment(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakePeriod(Draw &draw, const ValueShape &shape, uint8_t *to);
size_t MakeInterval(Draw &draw, const ValueShape &shape, uint8_t *to);

}  // namespace fenwire

#endif
