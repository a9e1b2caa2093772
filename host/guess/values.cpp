// host/guess/values.cpp - what values look like.

#include "host/guess/values.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace fenwire {

namespace {

// Letters are digits of the year, month, day, hour, minute and second; three N the name of a month.
// Where several fit all values of a column, the first one is named.
constexpr struct {
    std::string_view shape;
    const char *name;
} kDateFormats[] = {
    {"YYYY-MM-DD", "YYYY-MM-DD"},
    {"YYYY/MM/DD", "YYYY/MM/DD"},
    {"YYYY.MM.DD", "YYYY.MM.DD"},
    {"DD.MM.YYYY", "DD.MM.YYYY"},
    {"DD/MM/YYYY", "DD/MM/YYYY"},
    {"MM/DD/YYYY", "MM/DD/YYYY"},
    {"DD-MM-YYYY", "DD-MM-YYYY"},
    {"MM-DD-YYYY", "MM-DD-YYYY"},
    {"DD-NNN-YYYY", "DD-MON-YYYY"},
    {"YYYY-MM-DD hh:mm:ss", "YYYY-MM-DD HH:MI:SS"},
    {"YYYY-MM-DDThh:mm:ss", "YYYY-MM-DDTHH:MI:SS"},
    {"YYYY-MM-DD hh:mm", "YYYY-MM-DD HH:MI"},
    {"DD.MM.YYYY hh:mm:ss", "DD.MM.YYYY HH:MI:SS"},
    {"DD/MM/YYYY hh:mm:ss", "DD/MM/YYYY HH:MI:SS"},
    {"MM/DD/YYYY hh:mm:ss", "MM/DD/YYYY HH:MI:SS"},
    {"hh:mm:ss", "HH:MI:SS"},
    {"hh:mm", "HH:MI"},
    {"YYYYMMDD", "YYYYMMDD"},
};
constexpr uint32_t kCompactDate = 1U << (std::size(kDateFormats) - 1);
static_assert(std::size(kDateFormats) <= 32);

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }

// A fraction and a zone behind the seconds: .123456, Z, +02:00.
bool IsFractionOrZone(std::string_view rest)
{
    if (!rest.empty() && (rest[0] == '.' || rest[0] == ',')) {
        const size_t end = std::min(rest.find_first_not_of("0123456789", 1), rest.size());
        if (end == 1)
            return false;
        rest.remove_prefix(end);
    }
    if (rest.empty() || rest == "Z")
        return true;
    return (rest[0] == '+' || rest[0] == '-') && rest.size() <= 6 &&
           rest.find_first_not_of("0123456789:", 1) == std::string_view::npos;
}

struct Parts {
    int year = 2000, month = 1, day = 1, hour = 0, minute = 0, second = 0;

    int *Of(char letter)
    {
        switch (letter) {
        case 'Y':
            return &year;
        case 'M':
            return &month;
        case 'D':
            return &day;
        case 'h':
            return &hour;
        case 'm':
            return &minute;
        case 's':
            return &second;
        default:
            return nullptr;
        }
    }
    bool Possible() const
    {
        return year >= 1000 && month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour <= 24 &&
               minute <= 59 && second <= 60;
    }
};

bool FitsShape(std::string_view value, std::string_view shape)
{
    if (value.size() < shape.size() ||
        (value.size() > shape.size() &&
         !(shape.ends_with("ss") && IsFractionOrZone(value.substr(shape.size())))))
        return false;
    Parts parts;
    char last = 0;
    for (size_t i = 0; i < shape.size(); ++i) {
        const char letter = shape[i], c = value[i];
        if (int *part = parts.Of(letter); part != nullptr) {
            if (!IsDigit(c))
                return false;
            *part = (letter == last ? *part * 10 : 0) + (c - '0');
        } else if (letter == 'N' ? !IsLetter(c) : letter != c) {
            return false;
        }
        last = letter;
    }
    return parts.Possible();
}

uint32_t DateFormats(std::string_view value)
{
    uint32_t fits = 0;
    if (value.size() < 5 || value.size() > 40)
        return 0;
    for (size_t i = 0; i < std::size(kDateFormats); ++i) {
        if (FitsShape(value, kDateFormats[i].shape))
            fits |= 1U << i;
    }
    return fits;
}

// [sign] digits [mark digits] [e [sign] digits]
Look NumberLook(std::string_view value)
{
    size_t at = value[0] == '-' || value[0] == '+' ? 1 : 0;
    const auto digits = [&] {
        const size_t from = at;
        while (at < value.size() && IsDigit(value[at]))
            ++at;
        return at - from;
    };
    const size_t start = at, whole = digits();
    if (at == value.size() && whole > 0)
        return whole > 1 && value[start] == '0' ? Look::LeadingZeros : Look::Whole;
    const char mark = at < value.size() ? value[at] : '\0';
    if (mark == '.' || mark == ',') {
        ++at;
        if (digits() + whole == 0)
            return Look::Text;
    } else if (whole == 0) {
        return Look::Text;
    }
    if (at < value.size() && (value[at] | 0x20) == 'e') {
        ++at;
        if (at < value.size() && (value[at] == '-' || value[at] == '+'))
            ++at;
        if (digits() == 0)
            return Look::Text;
    }
    if (at != value.size())
        return Look::Text;
    return mark == ',' ? Look::DecimalComma : Look::Decimal;
}

}  // namespace

Seen LookAt(std::string_view value)
{
    while (value.starts_with(' '))
        value.remove_prefix(1);
    while (value.ends_with(' '))
        value.remove_suffix(1);
    if (value.empty())
        return {};
    if (!IsDigit(value[0]) && value[0] != '-' && value[0] != '+' && value[0] != '.' &&
        value[0] != ',')
        return {Look::Text, 0};
    const uint32_t dates = DateFormats(value);
    const Look number = NumberLook(value);
    if (number != Look::Text)
        return {number, dates};
    return {dates != 0 ? Look::Date : Look::Text, dates};
}

void Tally::Add(const Seen &seen)
{
    ++values_;
    ++counts_[static_cast<size_t>(seen.look)];
    if (seen.look != Look::Empty)
        date_formats_ &= seen.date_formats;
}

bool Tally::Typed() const
{
    const uint64_t filled = values_ - empty();
    return filled > 0 && (filled - count(Look::Text)) * 10 >= filled * 9;
}

std::string Tally::Words() const
{
    const uint64_t filled = values_ - empty();
    if (filled == 0)
        return "no value seen";
    const uint64_t whole = count(Look::Whole), zeros = count(Look::LeadingZeros),
                   point = count(Look::Decimal), comma = count(Look::DecimalComma);
    if (date_formats_ != 0 && filled > 1) {
        size_t first = 0;
        while ((date_formats_ >> first & 1) == 0)
            ++first;
        return fmt::format("{} as {}", date_formats_ == kCompactDate ? "digits, dates" : "dates",
                           kDateFormats[first].name);
    }
    if (whole == filled)
        return "whole numbers";
    if (whole + zeros == filled)
        return "digits, some with leading zeros";
    if (whole + point == filled)
        return "numbers";
    if (whole + comma == filled)
        return "numbers with a decimal comma";
    if (count(Look::Text) > 0 && Typed())
        return fmt::format("numbers or dates, but for {} of {}", count(Look::Text), filled);
    return {};
}

}  // namespace fenwire
