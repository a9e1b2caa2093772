// host/job/column_types.h - the types that a schema column can have.
//
// A type's code is its place in the table. To add a type, add a row at the end.

#ifndef FENWIRE_HOST_JOB_COLUMN_TYPES_H
#define FENWIRE_HOST_JOB_COLUMN_TYPES_H

#include <cstdint>
#include <span>
#include <string_view>

namespace fenwire {

// What may stand in parentheses behind a type, and how many bytes the column then has.
enum class SizeRule : uint8_t {
    Fixed,     // nothing; unit bytes
    Bytes,     // (n), required; n times unit bytes
    Decimal,   // (precision) or (precision, scale); 1 to 16 bytes by precision
    Number,    // nothing, or as Decimal; unit bytes
    Fraction,  // nothing, or (digits of a second), 6 without; unit bytes
};

struct ColumnType {
    std::string_view name;
    SizeRule rule;
    uint32_t unit;
};

std::span<const ColumnType> ColumnTypes();

// Code of the type with this name in upper case, -1: none.
int FindColumnType(std::string_view name);

// Whether a record of the format can hold a column of this type. Delimited data is read as text only; to
// write it, values of most types are put into words.
bool FitsDelimited(uint32_t code);
bool FitsDelimitedOutput(uint32_t code);
bool FitsText(uint32_t code);

}  // namespace fenwire

#endif
