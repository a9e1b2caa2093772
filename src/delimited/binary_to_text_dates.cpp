// delimited/binary_to_text_dates.cpp - dates and periods of a row as text.

#include "delimited/binary_to_text_dates.h"

#include <string_view>

#include "convert/number_digits.h"

// What the elements of a period have, by type from kTypePeriodIntDate.
struct PeriodRow {
    bool date, zone;
    uint32_t bytes;  // of an element
};
static constexpr PeriodRow kPeriods[] = {
    {true, false, 4}, {false, false, 6}, {false, true, 8}, {true, false, 10}, {true, true, 12},
};

static const PeriodRow &PeriodOf(uint32_t type) { return kPeriods[type - kTypePeriodIntDate]; }

uint32_t PeriodBytes(uint32_t type) { return 2 * PeriodOf(type).bytes; }

static char *PutByte(char *to, char byte)
{
    *to = byte;
    return to + 1;
}

template <class Integer>
static uint32_t Take(const uint8_t **from)
{
    Integer value;
    memcpy(&value, *from, sizeof value);
    *from += sizeof value;
    return value;
}

char *WriteIntDate(char *to, int32_t value)
{
    const int64_t date = int64_t{value} + 19000000;
    const uint64_t size = static_cast<uint64_t>(date < 0 ? -date : date);
    if (date < 0)
        to = PutByte(to, '-');
    to = PutByte(WritePadded(to, static_cast<uint32_t>(size / 10000), 4), '/');
    to = PutByte(WritePadded(to, static_cast<uint32_t>(size / 100 % 100), 2), '/');
    return WritePadded(to, static_cast<uint32_t>(size % 100), 2);
}

// Without a fraction only a whole number of seconds of one or two digits is a value that can be written.
static char *WriteSeconds(char *to, uint32_t millionths, uint32_t precision)
{
    constexpr uint32_t kMillion = 1000000, kPlaces = 6;
    if (precision > kPlaces ||
        (precision == 0 && millionths != 0 && (millionths < kMillion || millionths >= kTenTo8)))
        return to;
    to = WritePadded(to, millionths / kMillion, 2);
    if (precision == 0)
        return to;
    WritePadded(PutByte(to, '.'), millionths % kMillion, kPlaces);
    return to + 1 + precision;
}

static char *WriteZone(char *to, uint32_t hours, uint32_t minutes)
{
    constexpr uint32_t kBias = 16;
    to = PutByte(to, hours < kBias ? '-' : '+');
    to = WritePadded(to, hours < kBias ? kBias - hours : hours - kBias, 2);
    return WritePadded(PutByte(to, ':'), minutes, 2);
}

static char *WriteMoment(char *to, const uint8_t *from, const PeriodRow &row, uint32_t precision)
{
    const uint32_t seconds = Take<uint32_t>(&from);
    if (row.date) {
        to = PutByte(WritePadded(to, Take<uint16_t>(&from), 4), '-');
        to = PutByte(WritePadded(to, Take<uint8_t>(&from), 2), '-');
        to = PutByte(WritePadded(to, Take<uint8_t>(&from), 2), ' ');
    }
    to = PutByte(WritePadded(to, Take<uint8_t>(&from), 2), ':');
    to = PutByte(WritePadded(to, Take<uint8_t>(&from), 2), ':');
    to = WriteSeconds(to, seconds, precision);
    if (!row.zone)
        return to;
    const uint32_t hours = Take<uint8_t>(&from);
    return WriteZone(to, hours, Take<uint8_t>(&from));
}

static char *WriteElement(char *to, const uint8_t *from, uint32_t type, uint32_t precision)
{
    if (type == kTypePeriodIntDate)
        return WriteIntDate(to, static_cast<int32_t>(Take<uint32_t>(&from)));
    return WriteMoment(to, from, PeriodOf(type), precision);
}

static char *PutText(char *to, std::string_view text) { return to + text.copy(to, text.size()); }

char *WritePeriod(char *to, const uint8_t *value, uint32_t type, uint32_t precision)
{
    to = WriteElement(PutText(to, "('"), value, type, precision);
    to = PutText(to, "', '");
    to = WriteElement(to, value + PeriodOf(type).bytes, type, precision);
    return PutText(to, "')");
}
