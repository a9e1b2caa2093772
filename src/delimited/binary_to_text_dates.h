// delimited/binary_to_text_dates.h - dates and periods of a row as text.
//
// A period is two elements, one behind the other:
//     u32 seconds, in millionths; u16 year, u8 month, u8 day, where the type has a date;
//     u8 hour, u8 minute; u8 zone hours + 16, u8 zone minutes, where it has a zone
// PERIOD(INTDATE) is two dates of the INTDATE form. No field is checked: what stands there is written.

#ifndef FENWIRE_DELIMITED_BINARY_TO_TEXT_DATES_H
#define FENWIRE_DELIMITED_BINARY_TO_TEXT_DATES_H

#include <cstdint>

inline constexpr uint32_t kTypePeriodIntDate = 58, kTypePeriodLast = 62;
inline constexpr uint32_t kPeriodText = 100;  // bytes that no text of these exceeds

// "2026/03/09". A value before the year 0 has a minus before its digits. Answers the end of the text.
char *WriteIntDate(char *to, int32_t value);

// Bytes of a period; type is one of 58 to 62.
uint32_t PeriodBytes(uint32_t type);

// "('" begin "', '" end "')". precision is the digits behind the point of the seconds.
char *WritePeriod(char *to, const uint8_t *value, uint32_t type, uint32_t precision);

#endif
