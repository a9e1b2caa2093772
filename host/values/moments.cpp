// host/values/moments.cpp - dates, times, periods and intervals to text and back.

#include "host/values/moments.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace fenwire {

namespace {

constexpr int kDateBase = 19'000'000;
constexpr int kMostYear = 9999, kMostZoneHours = 14, kZoneBias = 16;
constexpr uint32_t kMillion = 1'000'000;
constexpr int kMostSecondDigits = 6;
constexpr int kMostLeadingField = 9999;
constexpr int kFieldLimits[] = {kMostLeadingField, 11, kMostLeadingField, 23, 59, 59};
constexpr uint8_t kDay = 2, kSecond = 5;

struct Moment {
    int year = 1, month = 1, day = 1, hour = 0, minute = 0;
    uint32_t micros = 0;  // of the minute
    int zone_hours = 0, zone_minutes = 0;
};

bool IsDate(int year, int month, int day)
{
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || year > kMostYear || month < 1 || month > 12 || day < 1)
        return false;
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return day <= kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

// A leap second is the 60th.
bool IsMoment(const Moment &at)
{
    return IsDate(at.year, at.month, at.day) && at.hour >= 0 && at.hour < 24 && at.minute >= 0 &&
           at.minute < 60 && at.micros < 61 * kMillion &&
           std::abs(at.zone_hours) <= kMostZoneHours && at.zone_minutes >= 0 &&
           at.zone_minutes < 60;
}

// ---- Text out -----------------------------------------------------------------------------------

char *PutDigits(char *to, uint32_t number, int width)
{
    for (int i = width; i-- > 0; number /= 10)
        to[i] = static_cast<char>('0' + number % 10);
    return to + width;
}

char *PutNumber(char *to, int number, int width)
{
    return PutDigits(to, static_cast<uint32_t>(number), width);
}

// Seconds with as many digits as the column keeps, or all six when the value has more than that.
char *PutSeconds(char *to, uint32_t micros, int precision)
{
    uint32_t fraction = micros % kMillion;
    to = PutDigits(to, micros / kMillion, 2);
    int digits = kMostSecondDigits;
    for (; digits > precision && fraction % 10 == 0; --digits)
        fraction /= 10;
    if (digits == 0)
        return to;
    *to++ = '.';
    return PutDigits(to, fraction, digits);
}

char *PutMoment(char *to, const ValueType &type, const Moment &at)
{
    if (type.date) {
        to = PutNumber(to, at.year, 4);
        *to++ = '-';
        to = PutNumber(to, at.month, 2);
        *to++ = '-';
        to = PutNumber(to, at.day, 2);
    }
    if (type.date && type.time)
        *to++ = ' ';
    if (type.time) {
        to = PutNumber(to, at.hour, 2);
        *to++ = ':';
        to = PutNumber(to, at.minute, 2);
        *to++ = ':';
        to = PutSeconds(to, at.micros, type.precision);
    }
    if (type.zone) {
        *to++ = at.zone_hours < 0 ? '-' : '+';
        to = PutNumber(to, std::abs(at.zone_hours), 2);
        *to++ = ':';
        to = PutNumber(to, at.zone_minutes, 2);
    }
    return to;
}

bool LoadMoment(const ValueType &type, const uint8_t *value, Moment &at)
{
    if (!type.time) {
        int32_t date = 0;
        memcpy(&date, value, sizeof date);
        const int64_t sum = int64_t{date} + kDateBase;
        at.year = static_cast<int>(sum / 10000);
        at.month = static_cast<int>(sum / 100 % 100);
        at.day = static_cast<int>(sum % 100);
        return IsMoment(at);
    }
    memcpy(&at.micros, value, sizeof at.micros);
    value += sizeof at.micros;
    if (type.date) {
        uint16_t year = 0;
        memcpy(&year, value, sizeof year);
        at.year = year;
        at.month = value[2];
        at.day = value[3];
        value += 4;
    }
    at.hour = value[0];
    at.minute = value[1];
    if (type.zone) {
        at.zone_hours = value[2] - kZoneBias;
        at.zone_minutes = value[3];
    }
    return IsMoment(at);
}

// ---- Text in ------------------------------------------------------------------------------------

// Takes pieces off the front of a text; what does not stand there as asked makes it bad for good.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool good() const { return good_; }
    bool AtEnd() const { return good_ && text_.empty(); }
    bool Try(char c)
    {
        if (!text_.starts_with(c))
            return false;
        text_.remove_prefix(1);
        return true;
    }
    void Expect(char c) { good_ = Try(c) && good_; }
    void Blanks()
    {
        while (Try(' ')) {
        }
    }
    // Of least to most digits.
    int Number(size_t least, size_t most)
    {
        size_t digits = 0;
        int number = 0;
        for (; digits < std::min(most, text_.size()) && IsDigit(text_[digits]); ++digits)
            number = number * 10 + (text_[digits] - '0');
        good_ = good_ && digits >= least;
        text_.remove_prefix(digits);
        return number;
    }
    // ".25" as 250000, with as many digits as counted without zeros at the end.
    uint32_t Fraction(int &digits)
    {
        uint32_t micros = 0, unit = kMillion;
        int seen = 0;
        digits = 0;
        for (; !text_.empty() && IsDigit(text_[0]); text_.remove_prefix(1)) {
            ++seen;
            unit /= 10;
            micros += unit * static_cast<uint32_t>(text_[0] - '0');
            digits = text_[0] != '0' ? seen : digits;
        }
        good_ = good_ && seen > 0;
        return micros;
    }

private:
    static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

    std::string_view text_;
    bool good_ = true;
};

// Seconds and what follows their point; too_fine goes up to true.
uint32_t ScanSeconds(Scanner &in, size_t least, int precision, bool &too_fine)
{
    uint32_t micros = static_cast<uint32_t>(in.Number(least, 2)) * kMillion;
    if (in.Try('.')) {
        int digits = 0;
        micros += in.Fraction(digits);
        too_fine = too_fine || digits > precision;
    }
    return micros;
}

void ScanZone(Scanner &in, Moment &at)
{
    if (in.Try('Z'))
        return;
    const bool negative = in.Try('-');
    if (!negative)
        in.Expect('+');
    at.zone_hours = in.Number(2, 2);
    in.Try(':');
    at.zone_minutes = in.Number(2, 2);
    // The hours have the sign, and there is no -0.
    if (negative && at.zone_hours == 0 && at.zone_minutes != 0)
        at.zone_minutes = -1;
    at.zone_hours = negative ? -at.zone_hours : at.zone_hours;
}

Misfit ScanMoment(Scanner &in, const ValueType &type, Moment &at)
{
    bool too_fine = false;
    if (type.date) {
        at.year = in.Number(4, 4);
        in.Expect('-');
        at.month = in.Number(2, 2);
        in.Expect('-');
        at.day = in.Number(2, 2);
    }
    if (type.date && type.time && !in.Try('T'))
        in.Expect(' ');
    if (type.time) {
        at.hour = in.Number(2, 2);
        in.Expect(':');
        at.minute = in.Number(2, 2);
        at.micros = in.Try(':') ? ScanSeconds(in, 2, type.precision, too_fine) : 0;
    }
    if (type.zone)
        ScanZone(in, at);
    if (!in.good())
        return Misfit::Malformed;
    if (!IsMoment(at))
        return Misfit::OutOfRange;
    return too_fine ? Misfit::TooFine : Misfit::None;
}

void StoreMoment(const ValueType &type, const Moment &at, uint8_t *to)
{
    if (!type.time) {
        const int32_t date = at.year * 10000 + at.month * 100 + at.day - kDateBase;
        memcpy(to, &date, sizeof date);
        return;
    }
    memcpy(to, &at.micros, sizeof at.micros);
    to += sizeof at.micros;
    if (type.date) {
        const auto year = static_cast<uint16_t>(at.year);
        memcpy(to, &year, sizeof year);
        to[2] = static_cast<uint8_t>(at.month);
        to[3] = static_cast<uint8_t>(at.day);
        to += 4;
    }
    to[0] = static_cast<uint8_t>(at.hour);
    to[1] = static_cast<uint8_t>(at.minute);
    if (type.zone) {
        to[2] = static_cast<uint8_t>(at.zone_hours + kZoneBias);
        to[3] = static_cast<uint8_t>(at.zone_minutes);
    }
}

// ---- Intervals ----------------------------------------------------------------------------------

bool EndsInSeconds(const ValueType &type) { return type.first_field + type.fields > kSecond; }

// Between two fields: "1-06", "3 04:30:00".
char SeparatorBefore(int field) { return field == 1 ? '-' : field == kDay + 1 ? ' ' : ':'; }

int LimitOf(const ValueType &type, int field)
{
    return field == type.first_field ? kMostLeadingField : kFieldLimits[field];
}

}  // namespace

uint32_t MomentBytes(const ValueType &type)
{
    if (!type.time)
        return 4;
    return 6 + (type.date ? 4 : 0) + (type.zone ? 2 : 0);
}

Misfit ParseMoment(const ValueType &type, std::string_view text, uint8_t *to)
{
    Scanner in(text);
    Moment at;
    const Misfit misfit = ScanMoment(in, type, at);
    if (misfit == Misfit::Malformed || !in.AtEnd())
        return Misfit::Malformed;
    if (misfit == Misfit::None)
        StoreMoment(type, at, to);
    return misfit;
}

Misfit ParsePeriod(const ValueType &type, std::string_view text, uint8_t *to)
{
    Scanner in(text);
    Misfit worst = Misfit::None;
    in.Expect('(');
    for (int i = 0; i < 2; ++i) {
        Moment at;
        in.Blanks();
        in.Expect('\'');
        const Misfit misfit = ScanMoment(in, type, at);
        worst = worst == Misfit::None ? misfit : worst;
        in.Expect('\'');
        in.Blanks();
        in.Expect(i == 0 ? ',' : ')');
        if (misfit == Misfit::None)
            StoreMoment(type, at, to + static_cast<size_t>(i) * MomentBytes(type));
    }
    return in.AtEnd() ? worst : Misfit::Malformed;
}

Misfit ParseInterval(const ValueType &type, std::string_view text, uint8_t *to)
{
    Scanner in(text);
    const int sign = in.Try('-') ? -1 : 1;
    bool too_fine = false, in_range = true;
    for (int field = type.first_field; field < type.first_field + type.fields; ++field) {
        const bool first = field == type.first_field;
        if (!first)
            in.Expect(SeparatorBefore(field));
        const int number = in.Number(first ? 1 : 2, first ? 4 : 2);
        in_range = in_range && number <= LimitOf(type, field);
        const auto stored = static_cast<int16_t>(sign * number);
        memcpy(to, &stored, sizeof stored);
        to += sizeof stored;
    }
    if (EndsInSeconds(type)) {
        int digits = 0;
        const auto micros = static_cast<int32_t>(in.Try('.') ? in.Fraction(digits) : 0) * sign;
        too_fine = digits > type.precision;
        memcpy(to, &micros, sizeof micros);
    }
    if (!in.AtEnd())
        return Misfit::Malformed;
    if (!in_range)
        return Misfit::OutOfRange;
    return too_fine ? Misfit::TooFine : Misfit::None;
}

size_t MomentText(const ValueType &type, const uint8_t *value, char *to)
{
    Moment at;
    if (!LoadMoment(type, value, at))
        return kNoText;
    return static_cast<size_t>(PutMoment(to, type, at) - to);
}

size_t PeriodText(const ValueType &type, const uint8_t *value, char *to)
{
    Moment from, till;
    if (!LoadMoment(type, value, from) || !LoadMoment(type, value + MomentBytes(type), till))
        return kNoText;
    const auto put = [](char *at, std::string_view text) {
        return std::copy(text.begin(), text.end(), at);
    };
    char *at = PutMoment(put(to, "('"), type, from);
    at = PutMoment(put(at, "', '"), type, till);
    return static_cast<size_t>(put(at, "')") - to);
}

size_t IntervalText(const ValueType &type, const uint8_t *value, char *to)
{
    int numbers[kSecond + 1] = {};
    int32_t micros = 0;
    bool below = false, above = false;
    for (int i = 0; i < type.fields; ++i) {
        int16_t stored = 0;
        memcpy(&stored, value + 2 * i, sizeof stored);
        numbers[i] = std::abs(int{stored});
        below = below || stored < 0;
        above = above || stored > 0;
        if (numbers[i] > LimitOf(type, type.first_field + i))
            return kNoText;
    }
    if (EndsInSeconds(type))
        memcpy(&micros, value + 2 * type.fields, sizeof micros);
    below = below || micros < 0;
    above = above || micros > 0;
    if ((below && above) || micros <= -int64_t{kMillion} || micros >= int64_t{kMillion})
        return kNoText;
    char *at = to;
    if (below)
        *at++ = '-';
    at = std::to_chars(at, at + 8, numbers[0]).ptr;
    for (int i = 1; i < type.fields; ++i) {
        *at++ = SeparatorBefore(type.first_field + i);
        at = PutNumber(at, numbers[i], 2);
    }
    if (EndsInSeconds(type)) {
        char seconds[16];
        char *const end =
            PutSeconds(seconds, static_cast<uint32_t>(std::abs(micros)), type.precision);
        at = std::copy(seconds + 2, end, at);  // the fraction; the whole ones stand already
    }
    return static_cast<size_t>(at - to);
}

}  // namespace fenwire
