// host/job/column_types.cpp - the types that a schema column can have.

#include "host/job/column_types.h"

#include <algorithm>

namespace fenwire {

namespace {

constexpr uint32_t kLongestBytes = 64000;
using enum SizeRule;

// Dates and times of the binary formats lie as they are laid out in periods: a time is seconds (4 bytes),
// hour and minute, a timestamp has year, month and day too, a time zone is two bytes more. An
// interval has two bytes a field, and six for seconds.
// clang-format off
constexpr ColumnType kTypes[] = {
    {"UNTYPED",                         Bytes,    1},        //  0
    {"INTEGER",                         Fixed,    4},
    {"SMALLINT",                        Fixed,    2},
    {"FLOAT",                           Fixed,    8},
    {"DECIMAL",                         Decimal,  0},
    {"CHAR",                            Bytes,    1},        //  5
    {"BYTEINT",                         Fixed,    1},
    {"VARCHAR",                         Bytes,    1},
    {"LONG VARCHAR",                    Fixed,    kLongestBytes},
    {"BYTE",                            Bytes,    1},
    {"VARBYTE",                         Bytes,    1},        // 10
    {"INTDATE",                         Fixed,    4},
    {"GRAPHIC",                         Bytes,    2},
    {"VARGRAPHIC",                      Bytes,    2},
    {"LONG VARGRAPHIC",                 Fixed,    kLongestBytes},
    {"ANSIDATE",                        Fixed,    10},       // 15
    {"BOOLEAN",                         Fixed,    1},
    {"LONG VARBYTE",                    Fixed,    kLongestBytes},
    {"NULLABLE VARCHAR",                Bytes,    1},
    {"NULLABLE FLOAT",                  Fixed,    8},
    {"NULLABLE DECIMAL",                Decimal,  0},        // 20
    {"NULLABLE CHAR",                   Bytes,    1},
    {"NULLABLE LONG VARCHAR",           Fixed,    kLongestBytes},
    {"NULLABLE INTEGER",                Fixed,    4},
    {"NULLABLE SMALLINT",               Fixed,    2},
    {"NULLABLE BYTE",                   Bytes,    1},        // 25
    {"NULLABLE VARBYTE",                Bytes,    1},
    {"NULLABLE LONG VARBYTE",           Fixed,    kLongestBytes},
    {"NULLABLE BYTEINT",                Fixed,    1},
    {"NULLABLE INTDATE",                Fixed,    4},
    {"NULLABLE GRAPHIC",                Bytes,    2},        // 30
    {"NULLABLE VARGRAPHIC",             Bytes,    2},
    {"NULLABLE LONG VARGRAPHIC",        Fixed,    kLongestBytes},
    {"NULLABLE ANSIDATE",               Fixed,    10},
    {"NULLABLE BOOLEAN",                Fixed,    1},
    {"TIME",                            Fraction, 6},        // 35
    {"TIME WITH TIME ZONE",             Fraction, 8},
    {"BIGINT",                          Fixed,    8},
    {"NULLABLE BIGINT",                 Fixed,    8},
    {"BLOB",                            Bytes,    1},
    {"CLOB",                            Bytes,    1},        // 40
    {"BLOB BY NAME",                    Bytes,    1},
    {"CLOB BY NAME",                    Bytes,    1},
    {"TIMESTAMP",                       Fraction, 10},
    {"TIMESTAMP WITH TIME ZONE",        Fraction, 12},
    {"INTERVAL YEAR",                   Fixed,    2},        // 45
    {"INTERVAL YEAR TO MONTH",          Fixed,    4},
    {"INTERVAL MONTH",                  Fixed,    2},
    {"INTERVAL DAY",                    Fixed,    2},
    {"INTERVAL DAY TO HOUR",            Fixed,    4},
    {"INTERVAL DAY TO MINUTE",          Fixed,    6},        // 50
    {"INTERVAL DAY TO SECOND",          Fraction, 12},
    {"INTERVAL HOUR",                   Fixed,    2},
    {"INTERVAL HOUR TO MINUTE",         Fixed,    4},
    {"INTERVAL HOUR TO SECOND",         Fraction, 10},
    {"INTERVAL MINUTE",                 Fixed,    2},        // 55
    {"INTERVAL MINUTE TO SECOND",       Fraction, 8},
    {"INTERVAL SECOND",                 Fraction, 6},
    {"PERIOD(INTDATE)",                 Fixed,    8},
    {"PERIOD(TIME)",                    Fraction, 12},
    {"PERIOD(TIME WITH TIME ZONE)",     Fraction, 16},       // 60
    {"PERIOD(TIMESTAMP)",               Fraction, 20},
    {"PERIOD(TIMESTAMP WITH TIME ZONE)", Fraction, 24},
    {"NUMBER",                          Number,   19},
    {"VARCHARHEX",                      Bytes,    1},
    {"XML",                             Bytes,    1},        // 65
    {"XML BY NAME",                     Bytes,    1},
    {"JSON",                            Bytes,    1},
    {"JSON BY NAME",                    Bytes,    1},
};
// clang-format on
static_assert(std::size(kTypes) == 69);
static_assert(kTypes[7].name == "VARCHAR" && kTypes[37].name == "BIGINT" &&
              kTypes[63].name == "NUMBER" && kTypes[68].name == "JSON BY NAME");

constexpr uint32_t kDelimitedTypes[] = {7, 40, 41, 42, 65, 66, 67, 68};
constexpr uint32_t kDelimitedOutputTypes[] = {1,  2,  3,  4,  5,  6,  7,  11, 15, 37, 40, 41,
                                              42, 58, 59, 60, 61, 62, 63, 65, 66, 67, 68};
constexpr uint32_t kTextTypes[] = {5, 15};

}  // namespace

std::span<const ColumnType> ColumnTypes() { return kTypes; }

int FindColumnType(std::string_view name)
{
    const auto *row = std::ranges::find(kTypes, name, &ColumnType::name);
    return row != std::end(kTypes) ? static_cast<int>(row - kTypes) : -1;
}

bool FitsDelimited(uint32_t code)
{
    return std::ranges::find(kDelimitedTypes, code) != std::end(kDelimitedTypes);
}

bool FitsDelimitedOutput(uint32_t code)
{
    return std::ranges::find(kDelimitedOutputTypes, code) != std::end(kDelimitedOutputTypes);
}

bool FitsText(uint32_t code) { return std::ranges::find(kTextTypes, code) != std::end(kTextTypes); }

}  // namespace fenwire
