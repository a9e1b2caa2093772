// host/sources/made_times.cpp - dates, times, periods and intervals made by rule.
//
//     time        u32 seconds in millionths, u8 hour, u8 minute
//     time stamp  u32 seconds in millionths, u16 year, u8 month, u8 day, u8 hour, u8 minute
//     zone        u8 hour, 16 more than it is, u8 minute; behind either
//     interval    i16 a field; seconds are i16 and i32 millionths

#include <algorithm>
#include <chrono>

#include "host/sources/made_values.h"

namespace fenwire {

namespace {

using namespace std::chrono;

constexpr uint32_t kTime = 35, kTimeZone = 36, kTimestamp = 43;
constexpr uint32_t kPeriodOfDates = 58, kPeriodOfTimes = 59;
constexpr int64_t kMillionths = 1'000'000;

year_month_day MakeDay(Draw &draw, const ValueShape &shape)
{
    using namespace std::chrono_literals;
    static constexpr year_month_day kEdges[] = {
        1y / January / 1,      9999y / December / 31, 1900y / January / 1,
        1899y / December / 31, 2000y / February / 29, 1970y / January / 1,
    };
    if (const year_month_day *edge = EdgeOf(draw, shape, kEdges))
        return *edge;
    static constexpr sys_days kFrom = 1900y / January / 1, kTo = 2099y / December / 31;
    return sys_days(
        days(draw.Between(kFrom.time_since_epoch().count(), kTo.time_since_epoch().count())));
}

int32_t IntDate(const year_month_day &day)
{
    return (static_cast<int>(day.year()) - 1900) * 10000 +
           static_cast<int>(static_cast<unsigned>(day.month()) * 100 +
                            static_cast<unsigned>(day.day()));
}

// A point in time as its type writes it.
struct Moment {
    year_month_day day;
    uint32_t millionths;  // seconds
    uint8_t hour, minute;
    int zone_minutes;  // from UTC

    int64_t Instant() const
    {
        const int64_t minutes =
            (int64_t{sys_days(day).time_since_epoch().count()} * 24 + hour) * 60 + minute -
            zone_minutes;
        return minutes * 60 * kMillionths + millionths;
    }
};

struct MomentParts {
    bool date, zone;
};

// Of the types from TIME on, and of the periods of them.
MomentParts PartsOf(uint32_t type)
{
    switch (type) {
    case kTime:
    case kPeriodOfTimes:
        return {false, false};
    case kTimeZone:
    case kPeriodOfTimes + 1:
        return {false, true};
    case kTimestamp:
    case kPeriodOfTimes + 2:
        return {true, false};
    default:
        return {true, true};
    }
}

uint32_t MakeSeconds(Draw &draw, const ValueShape &shape)
{
    int64_t step = kMillionths;
    for (uint32_t digit = 0; digit < shape.precision && step > 1; ++digit)
        step /= 10;
    const int64_t most = 60 * kMillionths - step;
    const int64_t edges[] = {0, most, step};
    if (const int64_t *edge = EdgeOf(draw, shape, edges))
        return static_cast<uint32_t>(*edge);
    return static_cast<uint32_t>(draw.Between(0, most / step) * step);
}

Moment MakeAnyMoment(Draw &draw, const ValueShape &shape, MomentParts parts)
{
    using namespace std::chrono_literals;
    static constexpr int kZones[] = {0, 60, -60, 330, -210, 345, -720, 840};
    Moment made = {2000y / January / 1, MakeSeconds(draw, shape), 0, 0, 0};
    if (parts.date)
        made.day = MakeDay(draw, shape);
    made.hour = static_cast<uint8_t>(draw.Below(24));
    made.minute = static_cast<uint8_t>(draw.Below(60));
    if (parts.zone)
        made.zone_minutes = kZones[draw.Below(std::size(kZones))];
    return made;
}

size_t PutMoment(const Moment &moment, MomentParts parts, uint8_t *to)
{
    const uint8_t *start = to;
    to += Put(to, moment.millionths);
    if (parts.date) {
        to += Put(to, static_cast<uint16_t>(static_cast<int>(moment.day.year())));
        to += Put(to, static_cast<uint8_t>(static_cast<unsigned>(moment.day.month())));
        to += Put(to, static_cast<uint8_t>(static_cast<unsigned>(moment.day.day())));
    }
    to += Put(to, moment.hour);
    to += Put(to, moment.minute);
    if (parts.zone) {
        to += Put(to, static_cast<uint8_t>(16 + moment.zone_minutes / 60));
        to += Put(to, static_cast<uint8_t>(std::abs(moment.zone_minutes) % 60));
    }
    return static_cast<size_t>(to - start);
}

}  // namespace

size_t MakeIntDate(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    return Put(to, IntDate(MakeDay(draw, shape)));
}

size_t MakeAnsiDate(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    const year_month_day day = MakeDay(draw, shape);
    const auto digits = [&](uint32_t value, int count) {
        for (int i = count - 1; i >= 0; --i, value /= 10)
            to[i] = static_cast<uint8_t>('0' + value % 10);
        to += count;
    };
    digits(static_cast<uint32_t>(static_cast<int>(day.year())), 4);
    *to++ = '-';
    digits(static_cast<unsigned>(day.month()), 2);
    *to++ = '-';
    digits(static_cast<unsigned>(day.day()), 2);
    return shape.length;
}

size_t MakeMoment(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    const MomentParts parts = PartsOf(shape.type);
    return PutMoment(MakeAnyMoment(draw, shape, parts), parts, to);
}

// Its begin is not after its end.
size_t MakePeriod(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    if (shape.type == kPeriodOfDates) {
        const int32_t one = IntDate(MakeDay(draw, shape)), other = IntDate(MakeDay(draw, shape));
        const size_t bytes = Put(to, std::min(one, other));
        return bytes + Put(to + bytes, std::max(one, other));
    }
    const MomentParts parts = PartsOf(shape.type);
    Moment begin = MakeAnyMoment(draw, shape, parts), end = MakeAnyMoment(draw, shape, parts);
    if (end.Instant() < begin.Instant())
        std::swap(begin, end);
    const size_t bytes = PutMoment(begin, parts, to);
    return bytes + PutMoment(end, parts, to + bytes);
}

// The first field has up to four digits, those behind it what a clock or calendar gives them; all
// carry the interval's sign.
size_t MakeInterval(Draw &draw, const ValueShape &shape, uint8_t *to)
{
    constexpr uint32_t kYearToMonth = 46, kDayToHour = 49, kDayToSecond = 51, kSecond = 57;
    const bool seconds = shape.length >= 8 || shape.type == kSecond;
    const int sign = draw.OneIn(2) ? -1 : 1;
    const size_t fields = (shape.length - (seconds ? 6 : 0)) / 2;
    uint8_t *at = to;
    for (size_t field = 0; field < fields; ++field) {
        int64_t most = 59;
        if (field == 0)
            most = 9999;
        else if (field == 1 && shape.type == kYearToMonth)
            most = 11;
        else if (field == 1 && shape.type >= kDayToHour && shape.type <= kDayToSecond)
            most = 23;
        at += Put(at, static_cast<int16_t>(sign * draw.Between(0, most)));
    }
    if (seconds) {
        const int64_t value = MakeSeconds(draw, shape);
        at += Put(at, static_cast<int16_t>(sign * (value / kMillionths)));
        at += Put(at, static_cast<int32_t>(sign * (value % kMillionths)));
    }
    return shape.length;
}

}  // namespace fenwire
