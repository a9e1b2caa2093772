// convert/date_parse.cpp - a value is read by its format.
//
// Numbers may have fewer digits than their field ("1/2/2024"), unless they stand right behind another
// digit: there nobody can tell which of the two is the short one.

#include <algorithm>
#include <array>
#include <cstddef>

#include "convert/dates.h"

namespace pxdatetime {

namespace {

struct Cursor {
    const char *begin, *at, *end;
    bool ambiguous = false;

    bool More() const { return at != end; }
};

struct Number {
    int32_t digits, low, high;
    DateError error;
    int32_t DateFields::*field;
};

// clang-format off
constexpr Number kNumbers[kNumericCodes] = {
    /* Hour24    */ {2, 0, 23,   kBadHour24,    &DateFields::hour  },
    /* Hour12    */ {2, 1, 12,   kBadHour12,    &DateFields::hour12},
    /* Minute    */ {2, 0, 59,   kBadMinute,    &DateFields::minute},
    /* Second    */ {2, 0, 61,   kBadSecond,    &DateFields::second},
    /* Day       */ {2, 1, 31,   kBadDay,       &DateFields::day   },
    /* Month     */ {2, 1, 12,   kBadMonth,     &DateFields::month },
    /* ShortYear */ {2, 0, 99,   kBadShortYear, &DateFields::year  },
    /* Year      */ {4, 0, 9999, kBadYear,      &DateFields::year  },
};
// clang-format on

bool IsDigit(char byte) { return static_cast<uint8_t>(byte - '0') <= 9; }

int32_t ReadNumber(const Number &number, Cursor &c, DateFields *fields)
{
    const char *const from = c.at;
    const char *const stop = c.end - from > number.digits ? from + number.digits : c.end;
    const char *at = from;
    int32_t value = 0;
    for (; at != stop && IsDigit(*at); ++at)
        value = value * 10 + (*at - '0');
    c.at = at;
    if (at == from || value < number.low || value > number.high)
        return number.error;
    if (at - from < number.digits && from != c.begin && IsDigit(from[-1]))
        c.ambiguous = true;
    fields->*number.field = value;
    return kDateOk;
}

int32_t ReadShortYear(Cursor &c, DateFields *fields)
{
    constexpr int32_t kFirstOfLastCentury = 69;
    constexpr auto kIndex = static_cast<uint8_t>(DateCode::ShortYear);
    if (const int32_t error = ReadNumber(kNumbers[kIndex], c, fields))
        return error;
    fields->year += fields->year < kFirstOfLastCentury ? 2000 : 1900;
    return kDateOk;
}

int32_t ReadFraction(uint8_t most, Cursor &c, DateFields *fields)
{
    int32_t unit = 100000;
    for (uint8_t i = 0; i < most && c.More() && IsDigit(*c.at); ++i, ++c.at, unit /= 10)
        fields->microseconds += (*c.at - '0') * unit;
    return kDateOk;
}

constexpr char Lower(char byte)
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
}

bool Continues(const Cursor &c, std::string_view with)
{
    if (static_cast<size_t>(c.end - c.at) < with.size())
        return false;
    for (size_t i = 0; i < with.size(); ++i) {
        if (Lower(c.at[i]) != Lower(with[i]))
            return false;
    }
    return true;
}

// The first three letters as a number, so that a name is looked for without a loop over its letters.
constexpr uint32_t ShortKey(const char *name)
{
    uint32_t key = 0;
    for (uint32_t i = 0; i < kShortName; ++i)
        key = key << 8 | static_cast<uint8_t>(Lower(name[i]));
    return key;
}

template <size_t Count>
constexpr std::array<uint32_t, Count> ShortKeys(const std::string_view (&names)[Count])
{
    std::array<uint32_t, Count> keys{};
    for (size_t i = 0; i < Count; ++i)
        keys[i] = ShortKey(names[i].data());
    return keys;
}

constexpr auto kMonthKeys = ShortKeys(kMonths);
constexpr auto kWeekdayKeys = ShortKeys(kWeekdays);

// The index of the name that comes next, in full or in three letters; -1: none does.
template <size_t Count>
int32_t ReadName(const std::string_view (&names)[Count], const std::array<uint32_t, Count> &keys,
                 Cursor &c)
{
    if (c.end - c.at < ptrdiff_t{kShortName})
        return -1;
    const uint32_t key = ShortKey(c.at);
    for (size_t i = 0; i < Count; ++i) {
        if (key != keys[i])
            continue;
        c.at += Continues(c, names[i]) ? names[i].size() : kShortName;
        return static_cast<int32_t>(i);
    }
    return -1;
}

int32_t ReadMonthName(Cursor &c, DateFields *fields)
{
    fields->month = ReadName(kMonths, kMonthKeys, c) + 1;
    return fields->month != 0 ? kDateOk : kBadMonthName;
}

int32_t ReadWeekday(Cursor &c, DateFields *fields)
{
    fields->weekday = ReadName(kWeekdays, kWeekdayKeys, c);
    return fields->weekday >= 0 ? kDateOk : kBadWeekdayName;
}

int32_t ReadMeridiem(Cursor &c, DateFields *fields)
{
    if (!Continues(c, "AM") && !Continues(c, "PM"))
        return kBadMeridiem;
    fields->afternoon = Lower(*c.at) == 'p' ? 1 : 0;
    c.at += 2;
    return kDateOk;
}

// "+HH:MI"
int32_t ReadZone(Cursor &c, DateFields *fields)
{
    static constexpr char kHighest[] = "+29:59";
    if (c.end - c.at < 6 || (*c.at != '+' && *c.at != '-') || c.at[3] != ':')
        return kBadZone;
    for (const int i : {1, 2, 4, 5}) {
        if (c.at[i] < '0' || c.at[i] > kHighest[i])
            return kBadZone;
    }
    if (c.at[1] == '2' && c.at[2] > '3')
        return kBadZone;
    for (char &byte : fields->zone)
        byte = *c.at++;
    return kDateOk;
}

int32_t ReadStep(DateStep step, Cursor &c, DateFields *fields)
{
    if (step.code == DateCode::ShortYear)
        return ReadShortYear(c, fields);
    if (const auto index = static_cast<uint8_t>(step.code); index < kNumericCodes)
        return ReadNumber(kNumbers[index], c, fields);
    switch (step.code) {
    case DateCode::Literal:
        if (!c.More() || static_cast<uint8_t>(*c.at) != step.arg)
            return kUnmatchedSeparator;
        ++c.at;
        return kDateOk;
    case DateCode::Blank:
        while (c.More() && *c.at == ' ')
            ++c.at;
        return kDateOk;
    case DateCode::Fraction:
        return ReadFraction(step.arg, c, fields);
    case DateCode::MonthName:
    case DateCode::MonthShort:
        return ReadMonthName(c, fields);
    case DateCode::WeekdayName:
    case DateCode::WeekdayShort:
        return ReadWeekday(c, fields);
    case DateCode::Meridiem:
        return ReadMeridiem(c, fields);
    case DateCode::Zone:
        return ReadZone(c, fields);
    default:
        return kUnknownStep;
    }
}

bool AllDigits(std::string_view value) { return std::ranges::all_of(value, IsDigit); }

}  // namespace

int32_t _strptime(std::string_view value, const DateFormat &format, DateFields *fields)
{
    if (format.digits != 0 && value.size() != format.digits && AllDigits(value))
        return kAmbiguous;
    Cursor c{value.data(), value.data(), value.data() + value.size()};
    for (uint8_t i = 0; i < format.count; ++i) {
        if (const int32_t error = ReadStep(format.steps[i], c, fields))
            return error;
    }
    while (c.More() && *c.at == ' ')
        ++c.at;
    // What the format does not speak of would be lost without a word.
    if (c.More())
        return kUnmatchedSeparator;
    return c.ambiguous ? kAmbiguous : kDateOk;
}

}  // namespace pxdatetime
