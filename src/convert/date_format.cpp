// convert/date_format.cpp - a date format becomes steps.
//
// The walk goes from left to right and takes the first row of kLetters that the text continues with,
// so longer groups stand before shorter ones. What no row knows is a separator or an error.

#include <algorithm>
#include <cstring>

#include "convert/dates.h"

namespace pxdatetime {

namespace {

// letters: what the text must continue with; takes: how much of it is used up. A month that a minute
// follows without a separator keeps the M that MI needs. once: the error of a second one of its kind.
struct LetterGroup {
    std::string_view letters;
    uint8_t takes;
    DateCode code;
    DateError once;
};

// clang-format off
constexpr LetterGroup kLetters[] = {
    {"YYYY",  4, DateCode::Year,         kDuplicateYear    },
    {"Y4",    2, DateCode::Year,         kDuplicateYear    },
    {"YY",    2, DateCode::ShortYear,    kDuplicateYear    },
    {"MMMMI", 3, DateCode::MonthShort,   kDuplicateMonth   },
    {"MMMM",  4, DateCode::MonthName,    kDuplicateMonth   },
    {"M4",    2, DateCode::MonthName,    kDuplicateMonth   },
    {"MMMI",  2, DateCode::Month,        kDuplicateMonth   },
    {"MMM",   3, DateCode::MonthShort,   kDuplicateMonth   },
    {"M3",    2, DateCode::MonthShort,   kDuplicateMonth   },
    {"MM",    2, DateCode::Month,        kDuplicateMonth   },
    {"MI",    2, DateCode::Minute,       kDuplicateMinute  },
    {"DD",    2, DateCode::Day,          kDuplicateDay     },
    {"EEEE",  4, DateCode::WeekdayName,  kDuplicateWeekday },
    {"E4",    2, DateCode::WeekdayName,  kDuplicateWeekday },
    {"EEE",   3, DateCode::WeekdayShort, kDuplicateWeekday },
    {"E3",    2, DateCode::WeekdayShort, kDuplicateWeekday },
    {"HH",    2, DateCode::Hour24,       kDuplicateHour    },
    {"SS",    2, DateCode::Second,       kDuplicateSecond  },
    {"T",     1, DateCode::Meridiem,     kDuplicateMeridiem},
    {"Z",     1, DateCode::Zone,         kUnknownSeparator },  // Kept: tools know a second Z by this
};
// clang-format on

struct Compiler {
    std::string_view text;  // in upper case
    DateFormat *format;
    size_t at = 0;
    uint32_t seen = 0;  // a bit for each kind
    bool twelve_hours = false;

    std::string_view Rest() const { return text.substr(at); }
    void Add(DateCode code, uint8_t arg = 0) { format->steps[format->count++] = {code, arg}; }
};

// What may stand behind the seconds: ".S(n)" or "DS(n)". No digits: neither point nor fraction.
int32_t TakeFraction(Compiler &c)
{
    const std::string_view rest = c.Rest();
    if (!rest.starts_with(".S(") && !rest.starts_with("DS("))
        return kDateOk;
    if (rest.size() < 5 || rest[3] < '0' || rest[3] > '6' || rest[4] != ')')
        return kUnknownLetters;
    if (const auto digits = static_cast<uint8_t>(rest[3] - '0'); digits > 0) {
        c.Add(DateCode::Literal, '.');
        c.Add(DateCode::Fraction, digits);
    }
    c.at += 5;
    return kDateOk;
}

int32_t TakeGroup(Compiler &c, const LetterGroup &group)
{
    const uint32_t bit = 1U << group.once;
    if ((c.seen & bit) != 0)
        return group.once;
    c.seen |= bit;
    const bool twelve = group.code == DateCode::Hour24 && c.twelve_hours;
    c.Add(twelve ? DateCode::Hour12 : group.code);
    c.at += group.takes;
    return group.code == DateCode::Second ? TakeFraction(c) : kDateOk;
}

int32_t TakeSeparator(Compiler &c)
{
    const char byte = c.text[c.at];
    if (byte == 'B' || byte == ' ')
        c.Add(DateCode::Blank);
    else if (byte == 'D')
        c.Add(DateCode::Literal, '.');
    else if (std::string_view("/,':.-").find(byte) != std::string_view::npos)
        c.Add(DateCode::Literal, static_cast<uint8_t>(byte));
    else
        return (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ? kUnknownLetters
                                                                            : kUnknownSeparator;
    ++c.at;
    return kDateOk;
}

int32_t TakeNext(Compiler &c)
{
    if (c.Rest().starts_with("DDD"))
        return kAmbiguous;  // a day and a point, or a point and a day
    for (const LetterGroup &group : kLetters) {
        if (c.Rest().starts_with(group.letters))
            return TakeGroup(c, group);
    }
    return TakeSeparator(c);
}

uint8_t DigitsOf(const DateFormat &format)
{
    uint8_t digits = 0;
    for (uint8_t i = 0; i < format.count; ++i) {
        const DateCode code = format.steps[i].code;
        if (static_cast<uint8_t>(code) >= kNumericCodes)
            return 0;
        digits = static_cast<uint8_t>(digits + (code == DateCode::Year ? 4 : 2));
    }
    return digits;
}

}  // namespace

int32_t _parse(std::string_view text, DateFormat *format)
{
    char upper[kMaxDateFormat];
    *format = {};
    if (text.empty())
        return kNothingGiven;
    if (text.size() > kMaxDateFormat) {
        format->stopped_at = kMaxDateFormat + 1;
        return kUnknownLetters;
    }
    memcpy(format->text, text.data(), text.size());
    std::ranges::transform(text, upper, [](char byte) {
        return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
    });
    Compiler c{.text = {upper, text.size()}, .format = format};
    c.twelve_hours = c.text.find('T') != std::string_view::npos;
    while (c.at < c.text.size()) {
        if (const int32_t error = TakeNext(c)) {
            format->stopped_at = static_cast<uint8_t>(c.at + 1);
            return error;
        }
    }
    format->digits = DigitsOf(*format);
    return kDateOk;
}

}  // namespace pxdatetime

PxStatus PX_EncodeFormatStrings(const char *input, const char *output, DateFormat *compiled_input,
                                DateFormat *compiled_output, int32_t *error)
{
    *error = kNothingGiven;
    if (input == nullptr || output == nullptr || compiled_input == nullptr ||
        compiled_output == nullptr)
        return PXSTC_FatalError;
    *compiled_output = {};
    *error = pxdatetime::_parse(input, compiled_input);
    if (*error == kDateOk)
        *error = pxdatetime::_parse(output, compiled_output);
    return *error == kDateOk ? PXSTC_Success : PXSTC_FatalError;
}
