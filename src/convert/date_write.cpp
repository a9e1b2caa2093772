// convert/date_write.cpp - a moment is written by its format.

#include <cstring>

#include "convert/dates.h"

namespace pxdatetime {

namespace {

char *PutText(char *to, std::string_view text)
{
    memcpy(to, text.data(), text.size());
    return to + text.size();
}

// With leading zeros.
char *PutNumber(char *to, int32_t value, int32_t digits)
{
    for (int32_t i = digits - 1; i >= 0; --i, value /= 10)
        to[i] = static_cast<char>('0' + value % 10);
    return to + digits;
}

char *PutFraction(char *to, int32_t microseconds, uint8_t digits)
{
    char all[6];
    PutNumber(all, microseconds, sizeof all);
    return PutText(to, {all, digits});
}

std::string_view Short(std::string_view name) { return name.substr(0, kShortName); }

}  // namespace

uint32_t _strftime(const DateFields &f, const DateFormat &format, char *area)
{
    char *to = area;
    for (uint8_t i = 0; i < format.count; ++i) {
        const DateStep step = format.steps[i];
        // clang-format off
        switch (step.code) {
        case DateCode::Hour24:       to = PutNumber(to, f.hour, 2); break;
        case DateCode::Hour12:       to = PutNumber(to, (f.hour + 11) % 12 + 1, 2); break;
        case DateCode::Minute:       to = PutNumber(to, f.minute, 2); break;
        case DateCode::Second:       to = PutNumber(to, f.second, 2); break;
        case DateCode::Day:          to = PutNumber(to, f.day, 2); break;
        case DateCode::Month:        to = PutNumber(to, f.month, 2); break;
        case DateCode::ShortYear:    to = PutNumber(to, f.year % 100, 2); break;
        case DateCode::Year:         to = PutNumber(to, f.year, 4); break;
        case DateCode::Fraction:     to = PutFraction(to, f.microseconds, step.arg); break;
        case DateCode::MonthName:    to = PutText(to, kMonths[f.month - 1]); break;
        case DateCode::MonthShort:   to = PutText(to, Short(kMonths[f.month - 1])); break;
        case DateCode::WeekdayName:  to = PutText(to, kWeekdays[f.weekday]); break;
        case DateCode::WeekdayShort: to = PutText(to, Short(kWeekdays[f.weekday])); break;
        case DateCode::Meridiem:     to = PutText(to, f.hour < 12 ? "AM" : "PM"); break;
        case DateCode::Zone:         to = PutText(to, {f.zone, sizeof f.zone}); break;
        case DateCode::Blank:        *to++ = ' '; break;
        case DateCode::Literal:      *to++ = static_cast<char>(step.arg); break;
        default:                     return 0;
        }
        // clang-format on
    }
    return static_cast<uint32_t>(to - area);
}

}  // namespace pxdatetime
