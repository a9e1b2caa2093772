// tests/host/values/typed_columns.h - columns and value types from their words.

#ifndef FENWIRE_TESTS_HOST_VALUES_TYPED_COLUMNS_H
#define FENWIRE_TESTS_HOST_VALUES_TYPED_COLUMNS_H

#include <string>
#include <vector>

#include "host/job/column_syntax.h"
#include "host/values/values.h"

inline fenwire::Column TypedColumn(const std::string &words)
{
    fenwire::Column column;
    std::vector<fenwire::Complaint> found;
    if (!fenwire::ParseColumn(words, {}, column, found))
        throw std::runtime_error(words + ": " + found[0].what);
    return column;
}

// The binary value of a text, or what is wrong with it.
inline std::string BinaryOf(const std::string &type, const std::string &text)
{
    const fenwire::ValueType of = fenwire::ValueTypeOf(TypedColumn("x " + type));
    std::string bytes(of.bytes, '\xEE');
    uint32_t length = 0;
    const auto misfit =
        fenwire::BinaryFromText(of, text, reinterpret_cast<uint8_t *>(bytes.data()), &length);
    if (misfit != fenwire::Misfit::None)
        return "! " + fenwire::MisfitWords(of, text, misfit);
    bytes.resize(length);
    return bytes;
}

inline std::string TextOf(const std::string &type, const std::string &value)
{
    std::string text;
    if (!fenwire::AppendText(fenwire::ValueTypeOf(TypedColumn("x " + type)),
                             reinterpret_cast<const uint8_t *>(value.data()),
                             static_cast<uint32_t>(value.size()), text))
        return "no value";
    return text;
}

inline std::string Hex(const std::string &bytes) { return TextOf("BLOB(64000)", bytes); }
inline std::string Unhex(const std::string &digits) { return BinaryOf("BLOB(64000)", digits); }

#endif
