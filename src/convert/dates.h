// convert/dates.h - dates and times from one written form into another.
//
//     PX_EncodeFormatStrings   "MM/DD/YY" -> steps, once a column      date_format.cpp
//     PX_ConvertDateTime       value -> fields -> checked -> text      dates.cpp
//         _strptime            value -> fields                         date_parse.cpp
//         _strftime            fields -> text                          date_write.cpp
//
// A format is compiled into a few steps of two bytes, so that a value costs a walk over them and
// nothing else: no allocation, no copy, no state. Names of months and weekdays are English.
//
// To add a letter group, add a row to kLetters (date_format.cpp); a new kind of step needs a place in
// DateCode, and one in the reader and the writer each.

#ifndef FENWIRE_CONVERT_DATES_H
#define FENWIRE_CONVERT_DATES_H

#include <cstdint>
#include <string_view>

#include "infrastructure/infrastructure.h"

// Why a format or a value is refused. The numbers are the user's: a message is 10660 + code.
enum DateError : int32_t {
    kDateOk = 0,
    kDuplicateYear = 1,
    kDuplicateMonth = 2,
    kDuplicateWeekday = 3,
    kDuplicateDay = 4,
    kDuplicateHour = 5,
    kDuplicateMinute = 6,
    kDuplicateSecond = 7,
    kDuplicateMeridiem = 9,
    kUnknownSeparator = 10,
    kUnknownLetters = 11,
    kUnmatchedSeparator = 12,
    kBadWeekdayName = 13,
    kBadMonthName = 14,
    kBadDay = 15,
    kBadHour24 = 16,
    kBadHour12 = 17,
    kBadMinute = 18,
    kBadMonth = 19,
    kBadMeridiem = 20,
    kBadSecond = 21,
    kBadYear = 22,
    kBadShortYear = 23,
    kBadZone = 24,
    kUnknownStep = 25,
    kNothingGiven = 26,
    kAmbiguous = 27,
    kNoSuchDay = 28,
    kWrongWeekday = 29,
};

// The numeric codes come first: they index the reader's table of them.
enum class DateCode : uint8_t {
    Hour24,
    Hour12,
    Minute,
    Second,
    Day,
    Month,
    ShortYear,
    Year,
    Fraction,      // arg: digits
    MonthName,     // reads either form, writes the full one
    MonthShort,    // reads either form, writes three letters
    WeekdayName,   // as MonthName
    WeekdayShort,  // as MonthShort
    Meridiem,
    Zone,
    Blank,
    Literal,  // arg: the byte
};
inline constexpr uint8_t kNumericCodes = 8;

struct DateStep {
    DateCode code;
    uint8_t arg;
};

inline constexpr uint32_t kMaxDateFormat = 127;  // bytes of a format, and so its most steps
inline constexpr uint32_t kMaxDateValue = 255;   // bytes of a value
// No format writes more: a letter group gives at most 7 bytes over its own, and each stands but once.
inline constexpr uint32_t kMaxDateOutput = 255;

struct DateFormat {
    char text[kMaxDateFormat + 1] = "";  // as the user wrote it
    DateStep steps[kMaxDateFormat] = {};
    uint8_t count = 0;
    uint8_t digits = 0;      // of a value, when all steps are numeric; else 0
    uint8_t stopped_at = 0;  // the byte of text, from 1, that can't be compiled; 0: all were
};

// A moment, or what a value says of it; -1: not said.
struct DateFields {
    int32_t year = -1;  // all four digits
    int32_t month = -1, day = -1;
    int32_t weekday = -1;  // 0: Sunday
    int32_t hour = -1, minute = -1, second = -1;
    int32_t hour12 = -1, afternoon = -1;
    int32_t microseconds = 0;
    char zone[6] = {'+', '0', '0', ':', '0', '0'};
};

// Compiles both formats of a column. 0; 48 with the code in *error; the format at fault has stopped_at.
PxStatus PX_EncodeFormatStrings(const char *input, const char *output, DateFormat *compiled_input,
                                DateFormat *compiled_output, int32_t *error);

// Rewrites a value into area, which holds kMaxDateOutput bytes, and sets *length. 0; 48 with the code
// in *error, and nothing that is of use in area.
PxStatus PX_ConvertDateTime(const DateFormat *input, const DateFormat *output,
                            std::string_view value, char *area, uint32_t *length, int32_t *error);

// The same for UTF-16. byte_order 2: the low byte of each unit comes first. area holds twice as much.
PxStatus PX_ConvertDateTime_utf16(const DateFormat *input, const DateFormat *output,
                                  std::string_view value, uint32_t byte_order, char *area,
                                  uint32_t *length, int32_t *error);

// "15: Wrong month DAY value [1,31]"; codes without words of their own answer "".
const char *DateErrorText(int32_t error);

// The number of the message for a code; 0: none. With log it is sent, too, and told in the trace: what
// says where the fault lies.
int32_t ThrowDateTimeError(int32_t error, bool log, const char *what);

namespace pxdatetime {

// Each answers a DateError.
int32_t _parse(std::string_view text, DateFormat *format);
int32_t _strptime(std::string_view value, const DateFormat &format, DateFields *fields);
int32_t _convert(const DateFormat &input, const DateFormat &output, std::string_view value,
                 char *area, uint32_t *length);

// Writes complete fields; answers the bytes written. 0: a step that it doesn't know.
uint32_t _strftime(const DateFields &fields, const DateFormat &format, char *area);

inline constexpr std::string_view kMonths[] = {"January",   "February", "March",    "April",
                                               "May",       "June",     "July",     "August",
                                               "September", "October",  "November", "December"};
inline constexpr std::string_view kWeekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                 "Thursday", "Friday", "Saturday"};
inline constexpr uint32_t kShortName = 3;  // letters

}  // namespace pxdatetime

#endif
