// host/sqlite/sqlite_types.cpp - columns of a job and types of SQLite.

#include "host/sqlite/sqlite_types.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "host/job/column_syntax.h"
#include "host/job/column_types.h"
#include "host/job/words.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

constexpr std::string_view kKeptAsText = "TEXT ";

// Types that mean something else here, or that are written in other ways. {}: the sizes as they were given.
// clang-format off
constexpr struct {
    std::string_view type, ours;
} kOtherTypes[] = {
    {"INTEGER",          "BIGINT"},   // SQLite's has 64 bits
    {"INT",              "BIGINT"},
    {"NULLABLE INTEGER", "BIGINT"},
    {"BOOL",             "BOOLEAN"},
    {"DATE",             "INTDATE"},
    {"DATETIME",         "TIMESTAMP{}"},
    {"NUMERIC",          "DECIMAL{}"},
    {"DEC",              "DECIMAL{}"},
    {"BLOB",             "BLOB(64000)"},
};
// clang-format on

bool Has(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

bool IsNumeric(SqliteAffinity affinity)
{
    return affinity == SqliteAffinity::Numeric || affinity == SqliteAffinity::Integer ||
           affinity == SqliteAffinity::Real;
}

bool NumbersKeep(const ValueType &type)
{
    if (type.kind == TypeKind::Decimal && type.scale == 0)
        return type.precision <= kSqliteWholeDigits;
    return type.precision > 0 && type.precision <= kSqliteExactDigits;
}

// Whether every value of the column is the same after a column of that affinity took it.
bool Keeps(SqliteAffinity affinity, const ValueType &type)
{
    switch (type.kind) {
    case TypeKind::Integer:
    case TypeKind::Boolean:
        return affinity == SqliteAffinity::Integer || affinity == SqliteAffinity::Numeric;
    case TypeKind::Float:
        return affinity == SqliteAffinity::Real;
    case TypeKind::Decimal:
    case TypeKind::Number:
        return NumbersKeep(type) ? IsNumeric(affinity) : affinity == SqliteAffinity::Text;
    case TypeKind::Moment:  // never looks like a number
        return affinity == SqliteAffinity::Text || affinity == SqliteAffinity::Numeric;
    case TypeKind::Bytes:  // are never changed
        return true;
    default:
        return affinity == SqliteAffinity::Text;
    }
}

// "TIME WITH TIME ZONE(3)": SQLite wants the sizes at the end. Empty: the type can't be written there.
std::string SqlWords(const Column &column)
{
    std::string words = TypeWords(column);
    if (words.starts_with("PERIOD"))
        return {};
    if (ColumnTypes()[column.type].name == "INTDATE")
        return "DATE";
    const size_t open = words.find('('), close = words.find(')');
    if (open == std::string::npos)
        return words;
    const std::string sizes = words.substr(open, close - open + 1);
    words.erase(open, close - open + 1);
    return words + sizes;
}

struct Declared {
    std::string type;   // without sizes, upper case, without what marks text
    std::string sizes;  // "(10,2)"
};

Declared Split(std::string_view declared)
{
    Declared split;
    const std::string upper = UpperCase(declared);
    const size_t open = upper.find('('), close = upper.find(')');
    split.type = upper.substr(0, open);
    if (open != std::string::npos && close != std::string::npos && close > open) {
        split.sizes = upper.substr(open, close - open + 1);
        split.type += upper.substr(close + 1);
    }
    while (split.type.ends_with(' '))
        split.type.pop_back();
    if (split.type.starts_with(kKeptAsText))
        split.type.erase(0, kKeptAsText.size());
    return split;
}

// Text of a type that is not ours is counted in characters, which have up to four bytes.
Column ForeignText(const std::string &name, const std::string &sizes)
{
    uint32_t characters = 0;
    if (!sizes.empty())
        std::from_chars(sizes.data() + 1, sizes.data() + sizes.size(), characters);
    const uint32_t most = kMaxColumnBytes / 4;
    const uint32_t bytes = characters == 0 ? kSqliteTextBytes : 4 * std::min(characters, most);
    return ColumnOfWords(name, fmt::format("VARCHAR({})", bytes));
}

}  // namespace

SqliteAffinity SqliteAffinityOf(std::string_view declared)
{
    const std::string type = UpperCase(declared);
    if (Has(type, "INT"))
        return SqliteAffinity::Integer;
    if (Has(type, "CHAR") || Has(type, "CLOB") || Has(type, "TEXT"))
        return SqliteAffinity::Text;
    if (type.empty() || Has(type, "BLOB"))
        return SqliteAffinity::None;
    if (Has(type, "REAL") || Has(type, "FLOA") || Has(type, "DOUB"))
        return SqliteAffinity::Real;
    return SqliteAffinity::Numeric;
}

std::string SqliteTypeOf(const Column &column)
{
    const ValueType type = ValueTypeOf(column);
    std::string words = SqlWords(column);
    std::string as_text = std::string(kKeptAsText) + words;
    if (!words.empty() && Keeps(SqliteAffinityOf(words), type))
        return words;
    if (!words.empty() && Keeps(SqliteAffinityOf(as_text), type))
        return as_text;
    return std::string(kKeptAsText.substr(0, 4));
}

std::optional<Column> ColumnOfSqliteType(const std::string &name, const std::string &declared)
{
    const Declared split = Split(declared);
    for (const auto &row : kOtherTypes) {
        const bool sized = row.ours.ends_with("{}");
        if (row.type != split.type || (!sized && !split.sizes.empty()))
            continue;
        const std::string ours(row.ours.substr(0, row.ours.size() - (sized ? 2 : 0)));
        if (std::optional<Column> column = ColumnIfWords(name, ours + split.sizes))
            return column;
    }
    if (std::optional<Column> column = ColumnIfWords(name, split.type + split.sizes))
        return column;
    if (declared.empty())
        return std::nullopt;
    switch (SqliteAffinityOf(declared)) {
    case SqliteAffinity::Integer:
        return ColumnOfWords(name, "BIGINT");
    case SqliteAffinity::Text:
        return ForeignText(name, split.sizes);
    case SqliteAffinity::Real:
        return ColumnOfWords(name, "FLOAT");
    case SqliteAffinity::None:
        return ColumnOfWords(name, fmt::format("BLOB({})", kSqliteBlobBytes));
    case SqliteAffinity::Numeric:
        break;
    }
    return ColumnOfWords(name, "NUMBER");
}

}  // namespace fenwire
