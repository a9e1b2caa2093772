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
    ValueKind kind;
    bool date = false, time = false, zone = false;
    uint8_t fields = 0, first_field = 0;
};

// clang-format off
constexpr Form kForms[] = {
    {"INTEGER",                          ValueKind::Integer},
    {"SMALLINT",                         ValueKind::Integer},
    {"BYTEINT",                          ValueKind::Integer},
    {"BIGINT",                           ValueKind::Integer},
    {"BOOLEAN",                          ValueKind::Boolean},
    {"FLOAT",                            ValueKind::Float},
    {"DECIMAL",                          ValueKind::Decimal},
    {"NUMBER",                           ValueKind::Number},
    {"INTDATE",                          ValueKind::Moment, true},
    {"TIME",                             ValueKind::Moment, false, true},
    {"TIME WITH TIME ZONE",              ValueKind::Moment, false, true, true},
    {"TIMESTAMP",                        ValueKind::Moment, true, true},
    {"TIMESTAMP WITH TIME ZONE",         ValueKind::Moment, true, true, true},
    {"PERIOD(INTDATE)",                  ValueKind::Period, true},
    {"PERIOD(TIME)",                     ValueKind::Period, false, true},
    {"PERIOD(TIME WITH TIME ZONE)",      ValueKind::Period, false, true, true},
    {"PERIOD(TIMESTAMP)",                ValueKind::Period, true, true},
    {"PERIOD(TIMESTAMP WITH TIME ZONE)", ValueKind::Period, true, true, true},
    {"INTERVAL YEAR",                    ValueKind::Interval, false, false, false, 1, 0},
    {"INTERVAL YEAR TO MONTH",           ValueKind::Interval, false, false, false, 2, 0},
    {"INTERVAL MONTH",                   ValueKind::Interval, false, false, false, 1, 1},
    {"INTERVAL DAY",                     ValueKind::Interval, false, false, false, 1, 2},
    {"INTERVAL DAY TO HOUR",             ValueKind::Interval, false, false, false, 2, 2},
    {"INTERVAL DAY TO MINUTE",           ValueKind::Interval, false, false, false, 3, 2},
    {"INTERVAL DAY TO SECOND",           ValueKind::Interval, false, false, false, 4, 2},
    {"INTERVAL HOUR",                    ValueKind::Interval, false, false, false, 1, 3},
    {"INTERVAL HOUR TO MINUTE",          ValueKind::Interval, false, false, false, 2, 3},
    {"INTERVAL HOUR TO SECOND",          ValueKind::Interval, false, false, false, 3, 3},
    {"INTERVAL MINUTE",                  ValueKind::Interval, false, false, false, 1, 4},
    {"INTERVAL MINUTE TO SECOND",        ValueKind::Interval, false, false, false, 2, 4},
    {"INTERVAL SECOND",                  ValueKind::Interval, false, false, false, 1, 5},
    {"CHAR",                             ValueKind::Text},
    {"VARCHAR",                          ValueKind::Text},
    {"LONG VARCHAR",                     ValueKind::Text},
    {"VARCHARHEX",                       ValueKind::Text},
    {"ANSIDATE",                         ValueKind::Text},
    {"CLOB",                             ValueKind::Text},
    {"XML",                              ValueKind::Text},
    {"JSON",                             ValueKind::Text},
    {"BLOB BY NAME",                     ValueKind::Text},  // BY NAME: the value is the name of a file
    {"CLOB BY NAME",                     ValueKind::Text},
    {"XML BY NAME",                      ValueKind::Text},
    {"JSON BY NAME",                     ValueKind::Text},
    {"GRAPHIC",                          ValueKind::Graphic},
    {"VARGRAPHIC",                       ValueKind::Graphic},
    {"LONG VARGRAPHIC",                  ValueKind::Graphic},
    {"UNTYPED",                          ValueKind::Bytes},
    {"BYTE",                             ValueKind::Bytes},
    {"VARBYTE",                          ValueKind::Bytes},
    {"LONG VARBYTE",                     ValueKind::Bytes},
    {"BLOB",                             ValueKind::Bytes},
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
    if (type.kind == ValueKind::Boolean)
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
    case ValueKind::Integer:
    case ValueKind::Boolean:
        return "a whole number";
    case ValueKind::Float:
    case ValueKind::Decimal:
    case ValueKind::Number:
        return "a number, such as -12.5";
    case ValueKind::Moment:
        return fmt::format("a value such as {}", moment);
    case ValueKind::Period:
        return fmt::format("a value such as ('{0}', '{0}')", moment);
    case ValueKind::Interval:
        return "the fields from left to right, such as 1-06 for a year and six months, or "
               "3 04:30:00 for days and a time";
    case ValueKind::Bytes:
        return "an even number of hexadecimal digits";
    case ValueKind::Graphic:
        return "text in UTF-8";
    case ValueKind::Text:
        break;
    }
    return "text";
}

std::string RangeOf(const ValueType &type)
{
    switch (type.kind) {
    case ValueKind::Integer:
    case ValueKind::Boolean:
        return fmt::format("it takes {}", IntegerRange(type));
    case ValueKind::Float:
        return "it takes up to about 1.8e308 in magnitude";
    case ValueKind::Decimal:
        return fmt::format("it takes {} digits in front of the point", type.precision - type.scale);
    case ValueKind::Number:
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
        if (type.kind == ValueKind::Moment || type.kind == ValueKind::Period ||
            type.kind == ValueKind::Interval)
            return fmt::format("it keeps {} digits behind the seconds", type.precision);
        return type.kind == ValueKind::Integer || type.kind == ValueKind::Boolean
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
    type.utf16 = utf16 && type.kind == ValueKind::Text;
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
