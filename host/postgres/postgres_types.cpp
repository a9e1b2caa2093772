// host/postgres/postgres_types.cpp

#include "host/postgres/postgres_types.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "host/job/column_syntax.h"
#include "host/job/column_types.h"
#include "host/job/words.h"
#include "host/values/text_columns.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

constexpr uint32_t kCharacterBytes = 4;  // the most that one has in UTF-8, and in UTF-16

// A new table's types. {}: digits behind seconds, or precision and scale.
// clang-format off
constexpr struct {
    std::string_view ours, theirs;
} kDeclared[] = {
    {"BYTEINT",                  "smallint"},
    {"SMALLINT",                 "smallint"},
    {"INTEGER",                  "integer"},
    {"BIGINT",                   "bigint"},
    {"BOOLEAN",                  "boolean"},
    {"FLOAT",                    "double precision"},
    {"INTDATE",                  "date"},
    {"TIME",                     "time({})"},
    {"TIME WITH TIME ZONE",      "time({}) with time zone"},
    {"TIMESTAMP",                "timestamp({})"},
    {"TIMESTAMP WITH TIME ZONE", "timestamp({}) with time zone"},
    {"JSON",                     "json"},
    {"XML",                      "xml"},
};

// What format_type() calls them, without sizes; {}: the sizes as they are.
constexpr struct {
    std::string_view theirs, ours;
} kFound[] = {
    {"smallint",                    "SMALLINT"},
    {"integer",                     "INTEGER"},
    {"bigint",                      "BIGINT"},
    {"boolean",                     "BOOLEAN"},
    {"real",                        "FLOAT"},
    {"double precision",            "FLOAT"},
    {"date",                        "INTDATE"},
    {"time without time zone",      "TIME{}"},
    {"time with time zone",         "TIME{} WITH TIME ZONE"},
    {"timestamp without time zone", "TIMESTAMP{}"},
    {"timestamp with time zone",    "TIMESTAMP{} WITH TIME ZONE"},
    {"bytea",                       "BLOB(64000)"},
    {"json",                        "JSON(64000)"},
    {"jsonb",                       "JSON(64000)"},
    {"xml",                         "XML(64000)"},
    {"uuid",                        "CHAR(36)"},
};
// clang-format on

std::string Filled(std::string_view pattern, std::string_view sizes)
{
    const size_t place = pattern.find("{}");
    if (place == std::string_view::npos)
        return std::string(pattern);
    return fmt::format("{}{}{}", pattern.substr(0, place), sizes, pattern.substr(place + 2));
}

std::string TextType(const Column &column, const ValueType &type, bool utf16)
{
    const std::string_view name = ColumnTypes()[column.type].name;
    const uint32_t characters =
        utf16 || type.kind == TypeKind::Graphic ? type.bytes / 2 : type.bytes;
    if (name.find("LONG") != std::string_view::npos || name == "CLOB")
        return "text";
    const bool padded = name.ends_with("GRAPHIC")
                            ? !name.ends_with("VARGRAPHIC")
                            : name.ends_with("CHAR") && !name.ends_with("VARCHAR");
    return fmt::format("{}({})", padded ? "character" : "character varying",
                       std::max(characters, 1u));
}

struct Split {
    std::string type, sizes;
};

// "timestamp(3) with time zone": the sizes stand in the middle.
Split SplitType(const std::string &type)
{
    const size_t open = type.find('('), close = type.find(')');
    if (open == std::string::npos || close == std::string::npos || close < open)
        return {type, {}};
    return {type.substr(0, open) + type.substr(close + 1), type.substr(open, close - open + 1)};
}

// The first number of "(10,2)", 0 without one.
uint32_t FirstSize(const std::string &sizes)
{
    uint32_t size = 0;
    if (!sizes.empty())
        std::from_chars(sizes.data() + 1, sizes.data() + sizes.size(), size);
    return size;
}

Column TextColumn(const std::string &name, uint32_t characters, const char *type)
{
    const uint32_t most = kMaxColumnBytes / kCharacterBytes;
    const uint32_t bytes =
        characters == 0 ? kPostgresTextBytes : kCharacterBytes * std::min(characters, most);
    return ColumnOfWords(name, fmt::format("{}({})", type, bytes));
}

}  // namespace

std::string PostgresTypeOf(const Column &column, bool utf16)
{
    const ValueType type = ValueTypeOf(column, utf16);
    std::string_view name = ColumnTypes()[column.type].name;
    if (name.starts_with("NULLABLE "))
        name.remove_prefix(9);
    const auto *row = std::ranges::find(kDeclared, name, [](const auto &has) { return has.ours; });
    if (row != std::end(kDeclared))
        return Filled(row->theirs, std::to_string(type.precision));
    switch (type.kind) {
    case TypeKind::Decimal:
        return fmt::format("numeric({},{})", type.precision, type.scale);
    case TypeKind::Number:
        return type.precision == 0 ? "numeric"
                                   : fmt::format("numeric({},{})", type.precision, type.scale);
    case TypeKind::Interval:  // the names and their order are those of the standard
        return TypeWords(column);
    case TypeKind::Bytes:
        return "bytea";
    case TypeKind::Text:
    case TypeKind::Graphic:
        return TextType(column, type, utf16);
    default:  // periods
        return "text";
    }
}

Column ColumnOfPostgresType(const std::string &name, const std::string &type)
{
    const Split split = SplitType(type);
    for (const auto &row : kFound) {
        if (row.theirs == split.type)
            return ColumnOfWords(name, Filled(row.ours, split.sizes));
    }
    if (split.type == "numeric") {
        if (const auto column = ColumnIfWords(name, "DECIMAL" + split.sizes);
            column && !split.sizes.empty())
            return *column;
        return ColumnOfWords(name, "NUMBER");
    }
    if (type.starts_with("interval ")) {
        if (const auto column = ColumnIfWords(name, UpperCase(type)))
            return *column;
    }
    if (split.type == "character")
        return TextColumn(name, FirstSize(split.sizes), "CHAR");
    return TextColumn(name, split.type == "character varying" ? FirstSize(split.sizes) : 0,
                      "VARCHAR");
}

}  // namespace fenwire
