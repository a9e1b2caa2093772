// host/values/value_types.cpp - what the values of a column are.

#include <algorithm>
#include <fmt/format.h>

#include "host/job/column_types.h"
#include "host/job/words.h"
#include "host/streams/row_layout.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

struct Form {
    std::string_view type;  // with or without NULLABLE
    TypeKind kind;
    bool date = false, time = false, zone = false;
    uint8_t fields = 0, first_field = 0;
};

// clang-format off
constexpr Form kForms[] = {
    {"INTEGER",                          TypeKind::Integer},
    {"SMALLINT",                         TypeKind::Integer},
    {"BYTEINT",                          TypeKind::Integer},
    {"BIGINT",                           TypeKind::Integer},
    {"BOOLEAN",                          TypeKind::Boolean},
    {"FLOAT",                            TypeKind::Float},
    {"DECIMAL",                          TypeKind::Decimal},
    {"NUMBER",                           TypeKind::Number},
    {"INTDATE",                          TypeKind::Moment, true},
    {"TIME",                             TypeKind::Moment, false, true},
    {"TIME WITH TIME ZONE",              TypeKind::Moment, false, true, true},
    {"TIMESTAMP",                        TypeKind::Moment, true, true},
    {"TIMESTAMP WITH TIME ZONE",         TypeKind::Moment, true, true, true},
    {"PERIOD(INTDATE)",                  TypeKind::Period, true},
    {"PERIOD(TIME)",                     TypeKind::Period, false, true},
    {"PERIOD(TIME WITH TIME ZONE)",      TypeKind::Period, false, true, true},
    {"PERIOD(TIMESTAMP)",                TypeKind::Period, true, true},
    {"PERIOD(TIMESTAMP WITH TIME ZONE)", TypeKind::Period, true, true, true},
    {"INTERVAL YEAR",                    TypeKind::Interval, false, false, false, 1, 0},
    {"INTERVAL YEAR TO MONTH",           TypeKind::Interval, false, false, false, 2, 0},
    {"INTERVAL MONTH",                   TypeKind::Interval, false, false, false, 1, 1},
    {"INTERVAL DAY",                     TypeKind::Interval, false, false, false, 1, 2},
    {"INTERVAL DAY TO HOUR",             TypeKind::Interval, false, false, false, 2, 2},
    {"INTERVAL DAY TO MINUTE",           TypeKind::Interval, false, false, false, 3, 2},
    {"INTERVAL DAY TO SECOND",           TypeKind::Interval, false, false, false, 4, 2},
    {"INTERVAL HOUR",                    TypeKind::Interval, false, false, false, 1, 3},
    {"INTERVAL HOUR TO MINUTE",          TypeKind::Interval, false, false, false, 2, 3},
    {"INTERVAL HOUR TO SECOND",          TypeKind::Interval, false, false, false, 3, 3},
    {"INTERVAL MINUTE",                  TypeKind::Interval, false, false, false, 1, 4},
    {"INTERVAL MINUTE TO SECOND",        TypeKind::Interval, false, false, false, 2, 4},
    {"INTERVAL SECOND",                  TypeKind::Interval, false, false, false, 1, 5},
    {"CHAR",                             TypeKind::Text},
    {"VARCHAR",                          TypeKind::Text},
    {"LONG VARCHAR",                     TypeKind::Text},
    {"VARCHARHEX",                       TypeKind::Text},
    {"ANSIDATE",                         TypeKind::Text},
    {"CLOB",                             TypeKind::Text},
    {"XML",                              TypeKind::Text},
    {"JSON",                             TypeKind::Text},
    {"BLOB BY NAME",                     TypeKind::Text},  // BY NAME: the value is the name of a file
    {"CLOB BY NAME",                     TypeKind::Text},
    {"XML BY NAME",                      TypeKind::Text},
    {"JSON BY NAME",                     TypeKind::Text},
    {"GRAPHIC",                          TypeKind::Graphic},
    {"VARGRAPHIC",                       TypeKind::Graphic},
    {"LONG VARGRAPHIC",                  TypeKind::Graphic},
    {"UNTYPED",                          TypeKind::Bytes},
    {"BYTE",                             TypeKind::Bytes},
    {"VARBYTE",                          TypeKind::Bytes},
    {"LONG VARBYTE",                     TypeKind::Bytes},
    {"BLOB",                             TypeKind::Bytes},
};
// clang-format on

std::string_view BareName(std::string_view type)
{
    constexpr std::string_view kPrefix = "NULLABLE ";
    return type.starts_with(kPrefix) ? type.substr(kPrefix.size()) : type;
}

std::string SizeWords(const Column &column)
{
    const ColumnType &type = ColumnTypes()[column.type];
    switch (type.rule) {
    case SizeRule::Fixed:
        return {};
    case SizeRule::Bytes:
        return fmt::format("({})", column.length / type.unit);
    case SizeRule::Decimal:
        return fmt::format("({},{})", column.precision, column.scale);
    case SizeRule::Number:
        return column.precision == 0 ? "" : fmt::format("({},{})", column.precision, column.scale);
    case SizeRule::Fraction:
        return fmt::format("({})", column.precision);
    }
    return {};
}

std::string IntegerRange(const ValueType &type)
{
    if (type.kind == TypeKind::Boolean)
        return "0 and 1";
    const int64_t most = static_cast<int64_t>((uint64_t{1} << (8 * type.bytes - 1)) - 1);
    return fmt::format("{} to {}", -most - 1, most);
}

std::string ExampleOf(const ValueType &type)
{
    std::string moment = type.date ? "2024-01-31" : "";
    if (type.time)
        moment += type.date ? " 23:59:59" : "23:59:59";
    if (type.zone)
        moment += "+01:00";
    switch (type.kind) {
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return "a whole number";
    case TypeKind::Float:
    case TypeKind::Decimal:
    case TypeKind::Number:
        return "a number, such as -12.5";
    case TypeKind::Moment:
        return fmt::format("a value such as {}", moment);
    case TypeKind::Period:
        return fmt::format("a value such as ('{0}', '{0}')", moment);
    case TypeKind::Interval:
        return "the fields from left to right, such as 1-06 for a year and six months, or "
               "3 04:30:00 for days and a time";
    case TypeKind::Bytes:
        return "an even number of hexadecimal digits";
    case TypeKind::Graphic:
        return "text in UTF-8";
    case TypeKind::Text:
        break;
    }
    return "text";
}

std::string RangeOf(const ValueType &type)
{
    switch (type.kind) {
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return fmt::format("it takes {}", IntegerRange(type));
    case TypeKind::Float:
        return "it takes up to about 1.8e308 in magnitude";
    case TypeKind::Decimal:
        return fmt::format("it takes {} digits in front of the point", type.precision - type.scale);
    case TypeKind::Number:
        if (type.precision > 0)
            return fmt::format("it takes {} digits, {} of them behind the point", type.precision,
                               type.scale);
        return "it takes up to 38 digits, and magnitudes from 1e-130 to below 1e126";
    default:
        return fmt::format("it takes {}", ExampleOf(type));
    }
}

std::string Reason(const ValueType &type, Misfit misfit)
{
    switch (misfit) {
    case Misfit::OutOfRange:
        return RangeOf(type);
    case Misfit::TooFine:
        if (type.kind == TypeKind::Moment || type.kind == TypeKind::Period ||
            type.kind == TypeKind::Interval)
            return fmt::format("it keeps {} digits behind the seconds", type.precision);
        return type.kind == TypeKind::Integer || type.kind == TypeKind::Boolean
                   ? "it takes whole numbers only"
                   : fmt::format("it keeps {} digits behind the point", type.scale);
    case Misfit::TooLong:
        return fmt::format("it takes up to {} bytes", type.bytes);
    case Misfit::NotExact:
        return "it would be rounded; 53 bits are kept";
    default:
        return fmt::format("it takes {}", ExampleOf(type));
    }
}

}  // namespace

std::string TypeWords(const Column &column)
{
    std::string words(ColumnTypes()[column.type].name);
    const std::string size = SizeWords(column);
    const size_t inner = words.find('(');
    const size_t zone = words.find(" WITH TIME ZONE");
    if (zone != std::string::npos)
        words.insert(zone, size);
    else if (inner != std::string::npos && !size.empty())
        words.insert(words.size() - 1, size);
    else
        words += size;
    return words;
}

ValueType ValueTypeOf(const Column &column, bool utf16)
{
    const std::string_view bare = BareName(ColumnTypes()[column.type].name);
    const auto *form = std::ranges::find(kForms, bare, &Form::type);
    ValueType type;
    if (form != std::end(kForms)) {
        type.kind = form->kind;
        type.date = form->date;
        type.time = form->time;
        type.zone = form->zone;
        type.fields = form->fields;
        type.first_field = form->first_field;
    }
    type.utf16 = utf16 && type.kind == TypeKind::Text;
    type.fixed = PrefixBytes(column.type) == 0;
    type.precision = column.precision;
    type.scale = column.scale;
    type.bytes = column.length;
    type.name = TypeWords(column);
    return type;
}

std::string MisfitWords(const ValueType &type, std::string_view shown, Misfit misfit)
{
    return fmt::format("{} does not fit {}: {}", Quoted(shown), type.name, Reason(type, misfit));
}

}  // namespace fenwire
