// schema/type_table.h - what a column's type means for its row and its text.
//
// By type code. To add a type, add a row: name, class in a binary row, whether delimited data carries
// it as it is, whether a consumer can write it as text, and how wide that text gets.

#ifndef FENWIRE_SCHEMA_TYPE_TABLE_H
#define FENWIRE_SCHEMA_TYPE_TABLE_H

#include <cstdint>
#include <iterator>

enum class TypeClass : uint8_t {
    Fixed,
    Variable,  // a length prefix in the row
    InlineLob  // the same, of 8 bytes
};

// Width of a value written as text: base + per_precision * precision, and a point for a fraction on
// each side of a period. base 0: the type is text already, or can't be written.
struct TextWidth {
    uint8_t base = 0, per_precision = 0, fraction = 0;
};

struct TypeRow {
    const char *name;
    TypeClass type_class = TypeClass::Fixed;
    bool delimited = false;  // a field of delimited data is its value
    bool exported = false;   // a consumer writes it as delimited text
    TextWidth width = {};
};

inline constexpr uint32_t kTypeChar = 5, kTypeVarchar = 7, kTypeAnsiDate = 15, kTypeNumber = 63;

// clang-format off
inline constexpr TypeRow kTypes[] = {
    {"UNTYPED"},                                                                 // 0
    {"INTEGER",          TypeClass::Fixed,     false, true, {11, 0, 0}},
    {"SMALLINT",         TypeClass::Fixed,     false, true, {6, 0, 0}},
    {"FLOAT",            TypeClass::Fixed,     false, true, {24, 0, 0}},
    {"DECIMAL",          TypeClass::Fixed,     false, true, {2, 1, 0}},
    {"CHAR",             TypeClass::Fixed,     false, true},                     // 5
    {"BYTEINT",          TypeClass::Fixed,     false, true, {4, 0, 0}},
    {"VARCHAR",          TypeClass::Variable,  true,  true},
    {"LONG VARCHAR",     TypeClass::Variable},
    {"BYTE"},
    {"VARBYTE",          TypeClass::Variable},                                   // 10
    {"INTDATE",          TypeClass::Fixed,     false, true, {10, 0, 0}},
    {"GRAPHIC"},
    {"VARGRAPHIC",       TypeClass::Variable},
    {"LONG VARGRAPHIC",  TypeClass::Variable},
    {"ANSIDATE",         TypeClass::Fixed,     false, true},                     // 15
    {"BOOLEAN"},
    {"LONG VARBYTE"},
    {"NULLABLE VARCHAR"},
    {"NULLABLE FLOAT"},
    {"NULLABLE DECIMAL"},                                                        // 20
    {"NULLABLE CHAR"},
    {"NULLABLE LONG VARCHAR"},
    {"NULLABLE INTEGER"},
    {"NULLABLE SMALLINT"},
    {"NULLABLE BYTE"},                                                           // 25
    {"NULLABLE VARBYTE"},
    {"NULLABLE LONG VARBYTE"},
    {"NULLABLE BYTEINT"},
    {"NULLABLE INTDATE"},
    {"NULLABLE GRAPHIC"},                                                        // 30
    {"NULLABLE VARGRAPHIC"},
    {"NULLABLE LONG VARGRAPHIC"},
    {"NULLABLE ANSIDATE"},
    {"NULLABLE BOOLEAN"},
    {"TIME"},                                                                    // 35
    {"TIME WITH TIME ZONE"},
    {"BIGINT",           TypeClass::Fixed,     false, true, {21, 0, 0}},
    {"NULLABLE BIGINT"},
    {"BLOB",             TypeClass::InlineLob},
    {"CLOB",             TypeClass::InlineLob, true,  true},                     // 40
    {"BLOB BY NAME",     TypeClass::Variable,  true,  true},
    {"CLOB BY NAME",     TypeClass::Variable,  true,  true},
    {"TIMESTAMP"},
    {"TIMESTAMP WITH TIME ZONE"},
    {"INTERVAL YEAR"},                                                           // 45
    {"INTERVAL YEAR TO MONTH"},
    {"INTERVAL MONTH"},
    {"INTERVAL DAY"},
    {"INTERVAL DAY TO HOUR"},
    {"INTERVAL DAY TO MINUTE"},                                                  // 50
    {"INTERVAL DAY TO SECOND"},
    {"INTERVAL HOUR"},
    {"INTERVAL HOUR TO MINUTE"},
    {"INTERVAL HOUR TO SECOND"},
    {"INTERVAL MINUTE"},                                                         // 55
    {"INTERVAL MINUTE TO SECOND"},
    {"INTERVAL SECOND"},
    {"PERIOD(INTDATE)",  TypeClass::Fixed,     false, true, {28, 0, 0}},
    {"PERIOD(TIME)",     TypeClass::Fixed,     false, true, {28, 2, 2}},
    {"PERIOD(TIME WITH TIME ZONE)",      TypeClass::Fixed,    false, true, {40, 2, 2}},  // 60
    {"PERIOD(TIMESTAMP)",                TypeClass::Variable, false, true, {46, 2, 2}},
    {"PERIOD(TIMESTAMP WITH TIME ZONE)", TypeClass::Variable, false, true, {58, 2, 2}},
    {"NUMBER",           TypeClass::Variable,  false, true, {45, 0, 0}},
    {"VARCHARHEX"},
    {"XML",              TypeClass::InlineLob, true,  true},                     // 65
    {"XML BY NAME",      TypeClass::Variable,  true,  true},
    {"JSON",             TypeClass::InlineLob, true,  true},
    {"JSON BY NAME",     TypeClass::Variable,  true,  true},
};
// clang-format on
static_assert(std::size(kTypes) == 69);

// Codes beyond the table are columns that no format carries.
constexpr const TypeRow &TypeOf(uint32_t code)
{
    return kTypes[code < std::size(kTypes) ? code : 0];
}

#endif
