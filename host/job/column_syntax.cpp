// host/job/column_syntax.cpp - "id VARCHAR(12)" as a column.
//
//     name      letters, digits and the like up to the first blank, or anything in double quotes
//     type      the words of a row of ColumnTypes, with one group of numbers in parentheses:
//               VARCHAR(12), DECIMAL(10,2), TIMESTAMP(3) WITH TIME ZONE, PERIOD(TIME(0))
//
// The group is cut out wherever it stands; what remains is the type's name.

#include "host/job/column_syntax.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <optional>

#include "host/job/column_types.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kMaxColumnNameBytes = 255;
constexpr uint32_t kMaxDecimalDigits = 38, kMaxSecondDigits = 6;

// Upper case, single blanks between words, none at parentheses.
std::string Normalised(std::string_view text)
{
    std::string result;
    for (const char c : UpperCase(text)) {
        const bool blank = kBlanks.find(c) != std::string_view::npos;
        if (blank && (result.empty() || result.back() == ' ' || result.back() == '('))
            continue;
        if ((c == '(' || c == ')' || c == ',') && !result.empty() && result.back() == ' ')
            result.pop_back();
        result += blank ? ' ' : c;
    }
    return std::string(Trimmed(result));
}

// ---- Sizes ------------------------------------------------------------------------------------

struct Sizes {
    std::vector<uint32_t> numbers;
    std::string text;  // "(10,2)" as it stood, empty: no group
};

bool ReadNumbers(std::string_view group, std::vector<uint32_t> &numbers)
{
    while (true) {
        const std::string_view item = Trimmed(group.substr(0, group.find(',')));
        uint32_t number = 0;
        const auto [end, error] = std::from_chars(item.data(), item.data() + item.size(), number);
        if (item.empty() || error != std::errc() || end != item.data() + item.size())
            return false;
        numbers.push_back(number);
        const size_t comma = group.find(',');
        if (comma == std::string_view::npos)
            return true;
        group.remove_prefix(comma + 1);
    }
}

// Cuts the group of numbers out of a type. False: parentheses that hold something else.
bool CutSizes(std::string &type, Sizes &sizes)
{
    for (size_t open = type.find('('); open != std::string::npos; open = type.find('(', open + 1)) {
        const char next = open + 1 < type.size() ? type[open + 1] : '\0';
        if (next >= 'A' && next <= 'Z')
            continue;  // PERIOD(TIME)
        const size_t close = type.find(')', open);
        if (close == std::string::npos)
            return false;
        sizes.text = type.substr(open, close - open + 1);
        type.erase(open, close - open + 1);
        return ReadNumbers(std::string_view(sizes.text).substr(1, sizes.text.size() - 2),
                           sizes.numbers);
    }
    return true;
}

uint32_t DecimalBytes(uint32_t precision)
{
    return precision <= 2 ? 1 : precision <= 4 ? 2 : precision <= 9 ? 4 : precision <= 18 ? 8 : 16;
}

// ---- A rule checks the numbers and sets length, precision and scale; what is wrong, or nothing. ---

struct Trouble {
    std::string what, hint;
};

std::optional<Trouble> SetBytes(const ColumnType &type, const Sizes &sizes, Column &column)
{
    if (sizes.numbers.empty())
        return Trouble{fmt::format("type {} needs a length", type.name),
                       fmt::format("{}(20), for example", type.name)};
    const uint32_t most = kMaxColumnBytes / type.unit;
    if (sizes.numbers.size() > 1 || sizes.numbers[0] < 1 || sizes.numbers[0] > most)
        return Trouble{fmt::format("length {} of {} must be one number from 1 to {}", sizes.text,
                                   type.name, most),
                       {}};
    column.length = sizes.numbers[0] * type.unit;
    return std::nullopt;
}

std::optional<Trouble> SetDecimal(const ColumnType &type, const Sizes &sizes, Column &column)
{
    if (sizes.numbers.empty())
        return Trouble{fmt::format("type {} needs a precision", type.name),
                       fmt::format("{}(10,2), for example", type.name)};
    const uint32_t precision = sizes.numbers[0];
    const uint32_t scale = sizes.numbers.size() > 1 ? sizes.numbers[1] : 0;
    if (sizes.numbers.size() > 2 || precision < 1 || precision > kMaxDecimalDigits ||
        scale > precision)
        return Trouble{fmt::format("{}{} must have a precision from 1 to {} and a scale from 0 to "
                                   "the precision",
                                   type.name, sizes.text, kMaxDecimalDigits),
                       {}};
    column.precision = static_cast<uint16_t>(precision);
    column.scale = static_cast<uint16_t>(scale);
    column.length = type.unit > 0 ? type.unit : DecimalBytes(precision);
    return std::nullopt;
}

std::optional<Trouble> SetFraction(const ColumnType &type, const Sizes &sizes, Column &column)
{
    if (sizes.numbers.size() > 1 || (!sizes.numbers.empty() && sizes.numbers[0] > kMaxSecondDigits))
        return Trouble{fmt::format("{} takes one number of digits behind the seconds, from 0 to {}",
                                   type.name, kMaxSecondDigits),
                       {}};
    column.precision =
        static_cast<uint16_t>(sizes.numbers.empty() ? kMaxSecondDigits : sizes.numbers[0]);
    column.length = type.unit;
    return std::nullopt;
}

std::optional<Trouble> SetSize(const ColumnType &type, const Sizes &sizes, Column &column)
{
    switch (type.rule) {
    case SizeRule::Bytes:
        return SetBytes(type, sizes, column);
    case SizeRule::Decimal:
        return SetDecimal(type, sizes, column);
    case SizeRule::Fraction:
        return SetFraction(type, sizes, column);
    case SizeRule::Number:
        if (!sizes.numbers.empty())
            return SetDecimal(type, sizes, column);
        break;
    case SizeRule::Fixed:
        if (!sizes.text.empty())
            return Trouble{fmt::format("type {} takes no length", type.name),
                           fmt::format("write {} alone", type.name)};
        break;
    }
    column.length = type.unit;
    return std::nullopt;
}

// ---- Hints for a type that is none ------------------------------------------------------------

// What other systems call it.
constexpr struct {
    std::string_view word, ours;
} kOtherNames[] = {
    {"INT", "INTEGER"},          {"TINYINT", "BYTEINT"},        {"DOUBLE", "FLOAT"},
    {"REAL", "FLOAT"},           {"DOUBLE PRECISION", "FLOAT"}, {"NUMERIC", "DECIMAL(p,s)"},
    {"DATE", "ANSIDATE"},        {"DATETIME", "TIMESTAMP"},     {"TEXT", "VARCHAR(n)"},
    {"STRING", "VARCHAR(n)"},    {"CHARACTER", "CHAR(n)"},      {"VARCHAR2", "VARCHAR(n)"},
    {"NVARCHAR", "VARCHAR(n)"},  {"BOOL", "BOOLEAN"},           {"LONG", "BIGINT"},
    {"VARBINARY", "VARBYTE(n)"}, {"BINARY", "BYTE(n)"},
};

std::string TypeHint(std::string_view name)
{
    for (const auto &[word, ours] : kOtherNames) {
        if (name == word)
            return fmt::format(
                "here it is called {}{}", ours,
                ours.starts_with("VARCHAR") ? "" : "; in delimited data give it as VARCHAR(n)");
    }
    const ColumnType *longest = nullptr;
    for (const ColumnType &type : ColumnTypes()) {
        if (name.starts_with(type.name) && name.substr(type.name.size()).starts_with(' ') &&
            (longest == nullptr || type.name.size() > longest->name.size()))
            longest = &type;
    }
    if (longest != nullptr)
        return fmt::format("nothing may stand behind the type: remove \"{}\"",
                           Trimmed(name.substr(longest->name.size())));
    std::vector<std::string_view> names;
    for (const ColumnType &type : ColumnTypes())
        names.push_back(type.name);
    const std::string nearest = DidYouMean(name, names);
    return nearest.empty() ? "fenwire list types shows them all" : nearest;
}

// Splits name and type. False: a quote that is not closed.
bool SplitColumn(std::string_view text, std::string &name, std::string_view &type)
{
    if (!text.starts_with('"')) {
        const size_t end = text.find_first_of(kBlanks);
        name = text.substr(0, end);
        type = end == std::string_view::npos ? std::string_view() : Trimmed(text.substr(end));
        return true;
    }
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] != '"') {
            name += text[i];
        } else if (text.substr(i + 1).starts_with('"')) {
            name += text[i++];
        } else {
            type = Trimmed(text.substr(i + 1));
            return true;
        }
    }
    return false;
}

}  // namespace

bool CheckColumnName(std::string_view name, SourcePosition at, std::vector<Complaint> &found)
{
    std::string what;
    if (name.empty())
        what = "a column needs a name";
    else if (name.size() > kMaxColumnNameBytes)
        what = fmt::format("column name {} is {} bytes long; the limit is {}", Quoted(name),
                           name.size(), kMaxColumnNameBytes);
    else if (std::ranges::any_of(name, [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
        what = fmt::format("column name {} holds a control character", Quoted(name));
    if (what.empty())
        return true;
    found.push_back({at, what, {}});
    return false;
}

bool ParseColumnType(std::string_view text, SourcePosition at, Column &column,
                     std::vector<Complaint> &found)
{
    std::string name = Normalised(text);
    Sizes sizes;
    if (!CutSizes(name, sizes)) {
        found.push_back({at, fmt::format("{} is no type", Quoted(text)),
                         "a length stands in parentheses, as in VARCHAR(12) or DECIMAL(10,2)"});
        return false;
    }
    name = Normalised(name);
    const int code = FindColumnType(name);
    if (code < 0) {
        found.push_back({at, fmt::format("unknown type {}", Quoted(name)), TypeHint(name)});
        return false;
    }
    column.type = static_cast<uint32_t>(code);
    if (std::optional<Trouble> trouble = SetSize(ColumnTypes()[code], sizes, column)) {
        found.push_back({at, std::move(trouble->what), std::move(trouble->hint)});
        return false;
    }
    return true;
}

bool ParseColumn(std::string_view text, SourcePosition at, Column &column,
                 std::vector<Complaint> &found)
{
    const std::string_view whole = Trimmed(text);
    std::string_view type;
    column.at = at;
    if (!SplitColumn(whole, column.name, type)) {
        found.push_back({at,
                         fmt::format("the quote of the name in {} is not closed", Quoted(whole)),
                         "write '\"order id\" VARCHAR(12)'"});
        return false;
    }
    if (!CheckColumnName(column.name, at, found))
        return false;
    if (!whole.starts_with('"') && column.name.find_first_of("(),;'\"") != std::string::npos) {
        found.push_back(
            {at, fmt::format("{} begins with no column name", Quoted(whole)),
             "name, blank, type, as in \"id VARCHAR(12)\"; an odd name stands in double quotes"});
        return false;
    }
    if (type.empty()) {
        found.push_back(
            {at, fmt::format("column {} has no type", Quoted(column.name)),
             fmt::format("write \"{} VARCHAR(20)\", for example", Escaped(column.name))});
        return false;
    }
    return ParseColumnType(type, at, column, found);
}

}  // namespace fenwire
