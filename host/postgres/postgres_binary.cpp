// host/postgres/postgres_binary.cpp

#include "host/postgres/postgres_binary.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstring>

#include "host/postgres/postgres_types.h"

namespace fenwire {

namespace {

constexpr int64_t kSecond = 1'000'000, kMinute = 60 * kSecond, kHour = 60 * kMinute,
                  kDay = 24 * kHour;

// clang-format off
constexpr struct {
    TypeKind kind;
    PgType theirs;
    PgForm form;
} kForms[] = {
    {TypeKind::Text,    PgType::Text,    PgForm::Bytes},
    {TypeKind::Text,    PgType::VarChar, PgForm::Bytes},
    {TypeKind::Text,    PgType::Char,    PgForm::Bytes},
    {TypeKind::Text,    PgType::Json,    PgForm::Bytes},
    {TypeKind::Text,    PgType::Jsonb,   PgForm::Jsonb},
    {TypeKind::Graphic, PgType::Text,    PgForm::Graphic},
    {TypeKind::Graphic, PgType::VarChar, PgForm::Graphic},
    {TypeKind::Graphic, PgType::Char,    PgForm::Graphic},
    {TypeKind::Bytes,   PgType::Bytea,   PgForm::Bytes},
    {TypeKind::Integer, PgType::Int2,    PgForm::Int2},
    {TypeKind::Integer, PgType::Int4,    PgForm::Int4},
    {TypeKind::Integer, PgType::Int8,    PgForm::Int8},
    {TypeKind::Integer, PgType::Numeric, PgForm::Numeric},
    {TypeKind::Boolean, PgType::Bool,    PgForm::Bool},
    {TypeKind::Float,   PgType::Float8,  PgForm::Float8},
    {TypeKind::Decimal, PgType::Numeric, PgForm::Numeric},
    {TypeKind::Number,  PgType::Numeric, PgForm::Numeric},
    {TypeKind::Interval, PgType::Interval, PgForm::Interval},
};
// clang-format on

bool IsText(PgType type)
{
    return type == PgType::Text || type == PgType::VarChar || type == PgType::Char;
}

std::optional<PgForm> MomentForm(const ValueType &type, PgType theirs)
{
    if (!type.time)
        return theirs == PgType::Date ? std::optional(PgForm::Date) : std::nullopt;
    const PgType wanted = type.date ? (type.zone ? PgType::TimeStampTz : PgType::TimeStamp)
                                    : (type.zone ? PgType::TimeTz : PgType::Time);
    if (theirs != wanted)
        return std::nullopt;
    return type.date ? (type.zone ? PgForm::TimeStampTz : PgForm::TimeStamp)
                     : (type.zone ? PgForm::TimeTz : PgForm::Time);
}

template <class Word>
Word Load(const uint8_t *from)
{
    Word word;
    memcpy(&word, from, sizeof word);
    return word;
}

int32_t DaysOf(int year, unsigned month, unsigned day)
{
    using namespace std::chrono;
    constexpr sys_days kEpoch = 2000y / January / 1;
    const year_month_day date = {std::chrono::year(year), std::chrono::month(month),
                                 std::chrono::day(day)};
    return static_cast<int32_t>((sys_days(date) - kEpoch).count());
}

int32_t DateOf(const uint8_t *value)
{
    const auto number = Load<int32_t>(value) + 19'000'000;
    return DaysOf(number / 10000, static_cast<unsigned>(number / 100 % 100),
                  static_cast<unsigned>(number % 100));
}

// Of the zone behind a moment: seconds east of Greenwich.
int32_t ZoneOf(const uint8_t *value)
{
    const int hours = value[0] - 16, minutes = value[1];
    return 60 * (60 * hours + (hours < 0 ? -minutes : minutes));
}

int64_t TimeOf(const uint8_t *value)
{
    return value[4] * kHour + value[5] * kMinute + Load<uint32_t>(value);
}

int64_t TimeStampOf(const uint8_t *value)
{
    const int32_t days = DaysOf(Load<uint16_t>(value + 4), value[6], value[7]);
    return days * kDay + value[8] * kHour + value[9] * kMinute + Load<uint32_t>(value);
}

char *PutMoment(PgForm form, const uint8_t *value, char *to)
{
    switch (form) {
    case PgForm::Date:
        return PutBig(to, static_cast<uint32_t>(DateOf(value)), 4);
    case PgForm::Time:
        return PutBig(to, static_cast<uint64_t>(TimeOf(value)), 8);
    case PgForm::TimeTz:  // counted to the west
        to = PutBig(to, static_cast<uint64_t>(TimeOf(value)), 8);
        return PutBig(to, static_cast<uint32_t>(-ZoneOf(value + 6)), 4);
    case PgForm::TimeStamp:
        return PutBig(to, static_cast<uint64_t>(TimeStampOf(value)), 8);
    default:
        return PutBig(to, static_cast<uint64_t>(TimeStampOf(value) - ZoneOf(value + 10) * kSecond),
                      8);
    }
}

// ---- Numeric: digits of base 10000, the weight of the first, a sign, the digits behind the point ----

struct Digits {
    char text[kMostValueText];
    int count = 0;     // without a point
    int in_front = 0;  // of them, of the point; may be negative or more than there are
    int behind = 0;    // to be shown
    bool negative = false;
};

bool SplitDigits(std::string_view text, Digits &digits)
{
    digits.negative = text.starts_with('-');
    int power = 0;
    if (const size_t e = text.find('e'); e != std::string_view::npos) {
        const size_t number = e + (text[e + 1] == '+' ? 2 : 1);
        std::from_chars(text.data() + number, text.data() + text.size(), power);
        text = text.substr(0, e);
    }
    int behind = 0;
    bool point = false;
    for (const char c : text.substr(digits.negative ? 1 : 0)) {
        point = point || c == '.';
        if (c == '.')
            continue;
        if (c < '0' || c > '9')
            return false;
        digits.text[digits.count++] = c;
        behind += point ? 1 : 0;
    }
    digits.in_front = digits.count - behind + power;
    digits.behind = std::max(0, behind - power);
    return true;
}

// Four decimal digits, the first at `at` counted from the point's group; outside the text they are 0.
uint16_t Group(const Digits &digits, int at)
{
    uint16_t group = 0;
    for (int i = at; i < at + 4; ++i)
        group = static_cast<uint16_t>(group * 10 +
                                      (i >= 0 && i < digits.count ? digits.text[i] - '0' : 0));
    return group;
}

int FloorDiv(int a, int b) { return a >= 0 ? a / b : -((b - 1 - a) / b); }

char *PutNumeric(const ValueType &type, const uint8_t *value, uint32_t bytes, char *to)
{
    char text[kMostValueText];
    const size_t length = TextFromBinary(type, value, bytes, text);
    Digits digits;
    if (length == kNoText || !SplitDigits({text, length}, digits))
        return nullptr;
    // Groups are counted from the point; the first digit is in the one at `weight`.
    int weight = FloorDiv(digits.in_front - 1, 4);
    int at = digits.in_front - 4 * (weight + 1);
    char *const head = to;
    to += 8;
    int groups = 0;
    uint16_t last_nonzero = 0;
    for (; at < digits.count; at += 4) {
        const uint16_t group = Group(digits, at);
        if (groups == 0 && group == 0) {
            --weight;
            continue;
        }
        to = PutBig(to, group, 2);
        ++groups;
        last_nonzero = group != 0 ? static_cast<uint16_t>(groups) : last_nonzero;
    }
    groups = last_nonzero;
    char *at_head = PutBig(head, static_cast<uint16_t>(groups), 2);
    at_head = PutBig(at_head, static_cast<uint16_t>(groups == 0 ? 0 : weight), 2);
    at_head = PutBig(at_head, digits.negative && groups != 0 ? 0x4000 : 0, 2);
    PutBig(at_head, static_cast<uint16_t>(digits.behind), 2);
    return head + 8 + 2 * groups;
}

char *PutInteger(const ValueType &type, const uint8_t *value, uint32_t bytes, int size, char *to)
{
    int64_t whole = 0;
    if (!IntegerFromBinary(type, value, bytes, &whole))
        return nullptr;
    const int spare = 64 - 8 * size;
    if (whole << spare >> spare != whole)
        return nullptr;
    return PutBig(to, static_cast<uint64_t>(whole), size);
}

char *PutInterval(const ValueType &type, const uint8_t *value, char *to)
{
    const PgInterval interval = PgIntervalOf(type, value);
    to = PutBig(to, static_cast<uint64_t>(interval.micros), 8);
    to = PutBig(to, static_cast<uint32_t>(interval.days), 4);
    return PutBig(to, static_cast<uint32_t>(interval.months), 4);
}

}  // namespace

std::optional<PgForm> PgFormOf(const ValueType &type, uint32_t type_id)
{
    const auto theirs = static_cast<PgType>(type_id);
    if (type.utf16)  // as two-byte characters, but only where text goes
        return IsText(theirs) ? std::optional(PgForm::Graphic) : std::nullopt;
    for (const auto &row : kForms) {
        if (row.kind == type.kind && row.theirs == theirs)
            return row.form;
    }
    if (type.kind == TypeKind::Moment) {
        if (const auto form = MomentForm(type, theirs))
            return form;
    }
    const bool worded = type.kind != TypeKind::Text && type.kind != TypeKind::Bytes;
    return worded && IsText(theirs) ? std::optional(PgForm::Words) : std::nullopt;
}

char *PutPgValue(PgForm form, const ValueType &type, const uint8_t *value, uint32_t bytes, char *to)
{
    char text[kMostValueText];
    switch (form) {
    case PgForm::Int2:
        return PutInteger(type, value, bytes, 2, to);
    case PgForm::Int4:
        return PutInteger(type, value, bytes, 4, to);
    case PgForm::Int8:
        return PutInteger(type, value, bytes, 8, to);
    case PgForm::Bool:
        return PutInteger(type, value, bytes, 1, to);
    case PgForm::Float8:
        return bytes == 8 ? PutBig(to, Load<uint64_t>(value), 8) : nullptr;
    case PgForm::Numeric:
        return PutNumeric(type, value, bytes, to);
    default:
        break;
    }
    // Only what has a text is a value, such as no month 13.
    const size_t length = TextFromBinary(type, value, bytes, text);
    if (length == kNoText)
        return nullptr;
    if (form == PgForm::Words)
        return std::copy_n(text, length, to);
    return form == PgForm::Interval ? PutInterval(type, value, to) : PutMoment(form, value, to);
}

PgInterval PgIntervalOf(const ValueType &type, const uint8_t *value)
{
    PgInterval interval;
    for (unsigned i = 0; i < type.fields; ++i) {
        const int field = Load<int16_t>(value + 2 * i);
        switch (type.first_field + i) {
        case 0:
            interval.months += 12 * field;
            break;
        case 1:
            interval.months += field;
            break;
        case 2:
            interval.days = field;
            break;
        case 3:
            interval.micros += field * kHour;
            break;
        case 4:
            interval.micros += field * kMinute;
            break;
        default:
            interval.micros += field * kSecond + Load<int32_t>(value + 2 * (i + 1));
            break;
        }
    }
    return interval;
}

}  // namespace fenwire
