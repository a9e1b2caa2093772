// delimited/binary_to_text.cpp - the converted columns of a row.
//
// Values come from outside: nothing is read behind a value's length, and whatever the bytes say, the
// text fits its record. A value that is too short for its type gets an empty text, as do columns whose
// type has no text.

#include "delimited/binary_to_text.h"

#include <cstdlib>
#include <cstring>

#include "attributes/attributes.h"
#include "convert/number_text.h"
#include "delimited/binary_to_text_dates.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"
#include "schema/type_table.h"

// Every character takes two bytes in UTF-16, and so does the zero behind them.
static constexpr size_t kMostCharacters = sizeof(DelimitedConvertRec::text) / 2 - 1;
static_assert(kNumberText <= kMostCharacters && kPeriodText <= kMostCharacters);

// A column of these types is text as it stands.
static bool IsText(uint32_t type)
{
    switch (type) {
    case 5:   // CHAR
    case 7:   // VARCHAR
    case 15:  // ANSIDATE
    case 40:  // CLOB, BLOB BY NAME, CLOB BY NAME
    case 41:
    case 42:
    case 65:  // XML, XML BY NAME, JSON, JSON BY NAME
    case 66:
    case 67:
    case 68:
        return true;
    default:
        return false;
    }
}

int32_t PrepareConversion()
{
    FreeConversion();
    if (ConvertDelimitedData == 0)
        return 0;
    const size_t columns = static_cast<size_t>(SG_ColCount);
    ConvertRecs = static_cast<DelimitedConvertRec *>(calloc(columns, sizeof(DelimitedConvertRec)));
    if (ConvertRecs == nullptr) {
        FW_ERROR("%s %s %zu bytes.", "Unable to allocate memory for delimited data",
                 "convert buffer.  Memory requested", columns * sizeof(DelimitedConvertRec));
        return 4;
    }
    for (size_t i = 0; i < columns; ++i)
        ConvertRecs[i].convert = IsText(SG_ColTypes[i]) ? 0 : 1;
    return NU_Initialize(&ConvertNumber, kFloating, kFloating) == kNumberOk ? 0 : 4;
}

void FreeConversion()
{
    free(ConvertRecs);
    ConvertRecs = nullptr;
    NU_Destroy(&ConvertNumber);
}

// ---- One column --------------------------------------------------------------------------------

struct Value {
    const uint8_t *bytes;
    uint32_t length;
    int32_t column;
};

// A value that is one number of the machine. A shorter one gives no text.
template <class Number, auto Write>
static char *WriteNumber(char *to, const Value &value)
{
    Number number;
    if (value.length < sizeof number)
        return to;
    memcpy(&number, value.bytes, sizeof number);
    return Write(to, number);
}

static char *WriteDecimalColumn(char *to, const Value &value)
{
    const uint32_t precision = SG_ColPrecision[value.column];
    if (value.length < DecimalBytes(precision))
        return to;
    return WriteDecimal(to, value.bytes, precision, SG_ColScale[value.column], &ConvertNumber);
}

static char *WritePeriodColumn(char *to, const Value &value)
{
    const uint32_t type = SG_ColTypes[value.column];
    if (value.length < PeriodBytes(type))
        return to;
    return WritePeriod(to, value.bytes, type, SG_ColPrecision[value.column]);
}

static void TraceNumber(const Value &value)
{
    char digits[kMaxMantissaText] = "";
    uint8_t column[1 + kMaxNumberLength];
    int32_t exponent = 0;
    if (value.length > kMaxNumberLength)
        return;
    column[0] = static_cast<uint8_t>(value.length);
    memcpy(column + 1, value.bytes, value.length);
    (void)NU_ExportMantissaToString(&ConvertNumber, column, digits, sizeof digits, &exponent);
    FW_Trace("BinaryToText", TraceKind::Plain, "Number Mant: %s", digits);
    FW_Trace("BinaryToText", TraceKind::Plain, "Num Exp: %d", exponent);
    FW_Trace("BinaryToText", TraceKind::Plain, "(Hex)Number: %s",
             pHEXvalue(value.bytes, value.length));
}

static char *WriteNumberColumn(char *to, const Value &value)
{
    if (FW_TraceLvl > 4)
        TraceNumber(value);
    return WriteNumber(to, value.bytes, value.length, &ConvertNumber);
}

static char *WriteValue(char *to, const Value &value)
{
    switch (SG_ColTypes[value.column]) {
    case 1:  // INTEGER
        return WriteNumber<int32_t, WriteInteger>(to, value);
    case 2:  // SMALLINT
        return WriteNumber<int16_t, WriteInteger>(to, value);
    case 3:  // FLOAT
        return WriteNumber<double, WriteFloat>(to, value);
    case 4:  // DECIMAL
        return WriteDecimalColumn(to, value);
    case 6:  // BYTEINT
        return WriteNumber<int8_t, WriteInteger>(to, value);
    case 11:  // INTDATE
        return WriteNumber<int32_t, WriteIntDate>(to, value);
    case 37:  // BIGINT
        return WriteNumber<int64_t, WriteInteger>(to, value);
    case kTypePeriodIntDate:
    case 59:
    case 60:
    case 61:
    case kTypePeriodLast:
        return WritePeriodColumn(to, value);
    case kTypeNumber:
        return WriteNumberColumn(to, value);
    default:
        return to;
    }
}

// ---- The row -----------------------------------------------------------------------------------

// From the back, so that no character is overwritten before it is read.
static size_t Widen(char *text, size_t characters)
{
    for (size_t i = characters; i-- > 0;) {
        const char character = text[i];
        text[2 * i] = character;
        text[2 * i + 1] = '\0';
    }
    return 2 * characters;
}

static uint32_t ConvertColumn(DelimitedConvertRec &record, const Value &value, bool wide)
{
    size_t length = static_cast<size_t>(WriteValue(record.text, value) - record.text);
    if (wide) {
        length = Widen(record.text, length);
        record.text[length + 1] = '\0';
    }
    record.text[length] = '\0';
    record.length = static_cast<uint32_t>(length);
    return record.length;
}

int64_t BinaryToText(int32_t columns, const uint8_t *row, const uint32_t *offsets,
                     const uint8_t *indicators, const uint32_t *lengths)
{
    const bool wide = CharSetFamily == kFamilyUtf16;
    int64_t longer = 0;
    if (ConvertRecs == nullptr)
        return 0;
    for (int32_t i = 0; i < columns; ++i) {
        DelimitedConvertRec &record = ConvertRecs[i];
        if (record.convert == 0)
            continue;
        if (indicators[i] != 0) {
            FW_TRACE(4, "Skip CNVT IndBytes ColCount=%d", i + 1);
            continue;
        }
        longer += ConvertColumn(record, {row + offsets[i], lengths[i], i}, wide);
        longer -= lengths[i];
    }
    return longer;
}
