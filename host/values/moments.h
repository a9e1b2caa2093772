// host/values/moments.h - dates, times, periods and intervals.
//
//     date                 i32 (year - 1900) * 10000 + month * 100 + day
//     time                 u32 millionths of a second, u8 hour, u8 minute
//     time stamp           u32 millionths of a second, u16 year, u8 month, day, hour, minute
//     time zone            behind either: u8 16 + hours, u8 minutes
//     period               its beginning and its end
//     interval             an i16 for each field, the largest first; behind the seconds an i32 of
//                          millionths; all have the sign
//
// Only what a calendar and a clock can show is a value: month 13 is none, 60.5 seconds are.

#ifndef FENWIRE_HOST_VALUES_MOMENTS_H
#define FENWIRE_HOST_VALUES_MOMENTS_H

#include "host/values/values.h"

namespace fenwire {

uint32_t MomentBytes(const ValueType &type);  // of one date or time of the type

Misfit ParseMoment(const ValueType &type, std::string_view text, uint8_t *to);
Misfit ParsePeriod(const ValueType &type, std::string_view text, uint8_t *to);
Misfit ParseInterval(const ValueType &type, std::string_view text, uint8_t *to);

// kNoText: it is no value.
size_t MomentText(const ValueType &type, const uint8_t *value, char *to);
size_t PeriodText(const ValueType &type, const uint8_t *value, char *to);
size_t IntervalText(const ValueType &type, const uint8_t *value, char *to);

}  // namespace fenwire

#endif
