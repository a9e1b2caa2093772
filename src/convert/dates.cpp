// convert/dates.cpp - one value converted: read, checked, completed, written; and the words of errors.

#include "convert/dates.h"

#include <cstdio>
#include <iterator>

#include "operator/messages.h"

namespace pxdatetime {

namespace {

bool IsLeap(int32_t year) { return year % (year % 100 == 0 ? 400 : 4) == 0; }

// Without a year, 29 February may be one.
int32_t LastDay(int32_t month, int32_t year)
{
    static constexpr uint8_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && (year < 0 || IsLeap(year)) ? 1 : 0);
}

// Of the calendar as it is today, carried back. Years are counted from March, so that the leap day is
// their last, and raised by whole cycles, so that no sum is negative.
int32_t WeekdayOf(int32_t year, int32_t month, int32_t day)
{
    constexpr int32_t kOfFirstMarch = 3;  // of the year 0: a Wednesday
    const int32_t years = year + 400 - (month < 3 ? 1 : 0);
    const int32_t days = ((month + 9) % 12 * 153 + 2) / 5 + day - 1;
    return (years + years / 4 - years / 100 + years / 400 + days + kOfFirstMarch) % 7;
}

int32_t Check(const DateFields &f)
{
    if (f.month > 0 && f.day > LastDay(f.month, f.year))
        return kNoSuchDay;
    if (f.weekday >= 0 && f.year >= 0 && f.month > 0 && f.day > 0 &&
        f.weekday != WeekdayOf(f.year, f.month, f.day))
        return kWrongWeekday;
    return kDateOk;
}

void SetIfUnsaid(int32_t &field, int32_t value)
{
    if (field < 0)
        field = value;
}

// What the value does not say: midnight of 1 January 1900; noon when it says no more than "PM". A
// weekday that is not said follows from the date.
void Complete(DateFields &f)
{
    const int32_t noon = f.afternoon > 0 ? 12 : 0;
    SetIfUnsaid(f.hour, f.hour12 < 0 ? noon : f.hour12 % 12 + noon);
    SetIfUnsaid(f.minute, 0);
    SetIfUnsaid(f.second, 0);
    SetIfUnsaid(f.year, 1900);
    SetIfUnsaid(f.month, 1);
    SetIfUnsaid(f.day, 1);
    SetIfUnsaid(f.weekday, WeekdayOf(f.year, f.month, f.day));
}

}  // namespace

int32_t _convert(const DateFormat &input, const DateFormat &output, std::string_view value,
                 char *area, uint32_t *length)
{
    DateFields fields;
    if (value.empty() || input.count == 0 || output.count == 0)
        return kNothingGiven;
    if (value.size() > kMaxDateValue)
        return kUnmatchedSeparator;
    if (const int32_t error = _strptime(value, input, &fields))
        return error;
    if (const int32_t error = Check(fields))
        return error;
    Complete(fields);
    *length = _strftime(fields, output, area);
    return *length != 0 ? kDateOk : kUnknownStep;
}

}  // namespace pxdatetime

PxStatus PX_ConvertDateTime(const DateFormat *input, const DateFormat *output,
                            std::string_view value, char *area, uint32_t *length, int32_t *error)
{
    *error = input == nullptr || output == nullptr || area == nullptr || length == nullptr
                 ? int32_t{kNothingGiven}
                 : pxdatetime::_convert(*input, *output, value, area, length);
    return *error == kDateOk ? PXSTC_Success : PXSTC_FatalError;
}

PxStatus PX_ConvertDateTime_utf16(const DateFormat *input, const DateFormat *output,
                                  std::string_view value, uint32_t byte_order, char *area,
                                  uint32_t *length, int32_t *error)
{
    const size_t low = byte_order == 2 ? 0 : 1, high = 1 - low;
    char narrow[kMaxDateOutput];

    if (value.size() > kMaxDateValue || value.size() % 2 != 0) {
        *error = kUnmatchedSeparator;
        return PXSTC_FatalError;
    }
    // A character beyond the first 256 becomes one that no format reads: its low byte alone may be a
    // digit, and so another date.
    for (size_t i = 0; i < value.size() / 2; ++i)
        narrow[i] = value[2 * i + high] == 0 ? value[2 * i + low] : '\0';
    if (const PxStatus status =
            PX_ConvertDateTime(input, output, {narrow, value.size() / 2}, narrow, length, error))
        return status;
    for (uint32_t i = 0; i < *length; ++i) {
        area[2 * i + low] = narrow[i];
        area[2 * i + high] = '\0';
    }
    *length *= 2;
    return PXSTC_Success;
}

const char *DateErrorText(int32_t error)
{
    static constexpr const char *kTexts[] = {
        "",
        "01: Duplicate YEAR formatting characters",
        "02: Duplicate MONTH formatting characters",
        "03: Duplicate WEEKDAY formatting characters",
        "04: Duplicate DAY formatting characters",
        "05: Duplicate HOUR formatting characters",
        "06: Duplicate MINUTE formatting characters",
        "07: Duplicate SECOND formatting characters",
        "",
        "09: Duplicate TIMEZONE formatting characters",
        "10: Unknown separator(s)",
        "11: Unknown formatting character(s)",
        "12: Unmatched separator with formatting string",
        "13: Unrecognized WEEKDAY name",
        "14: Unrecognized MONTH name",
        "15: Wrong month DAY value [1,31]",
        "16: Wrong 24-HOUR value representation [0,23]",
        // Kept: the range in these words is not that of the clock; logs are searched for them.
        "17: Wrong 12-HOUR value representation [0,23]",
        "18: Wrong MINUTE value [0,59]",
        "19: Wrong MONTH value [1,12]",
        "20: Wrong MERIDIEM value (AM or PM)",
        "21: Wrong SECOND value [0,61]",
        "22: Wrong 4-digit YEAR value [0,9999]",
        "23: Wrong 2-digit YEAR value [0,99]",
        "24: Wrong TIMEZONE value representation ([+|-]HH:MI)",
        "25: Unknown internal formatting character",
        "26: Empty values or formatting strings",
        "27: Ambiguous input data",
        "",
        "",
    };
    static_assert(std::size(kTexts) == kWrongWeekday + 1);
    return error > 0 && error <= kWrongWeekday ? kTexts[error] : "";
}

int32_t ThrowDateTimeError(int32_t error, bool log, const char *what)
{
    constexpr int32_t kBase = 10660;
    const int32_t number = error > 0 && error <= kWrongWeekday ? kBase + error : 0;
    if (!log || number == 0)
        return number;
    const char *text = DateErrorText(error);
    char words[5200];
    snprintf(words, sizeof words, "%s%s%s", text, text[0] != '\0' ? ", " : "", what);
    FW_ERROR("pxdatetime reformatting error.");
    FW_ERROR("%s", words);
    const MessageRow row = {number, 3, Error, "t"};
    PxLogArg list[] = {{}, ToLogArg(static_cast<const char *>(words)), {}};
    PutMessage(row, list);
    return number;
}
