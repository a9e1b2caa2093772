// attributes/special_chars.cpp - delimiters, quote marks, escapes: plain, hexadecimal, converted.
//
// The plain spelling is UTF-8 text and is converted when the data is UTF-16. The hexadecimal one is the
// final bytes, as the user must spell them in the data's encoding.

#include "attributes/special_chars.h"

#include <cstring>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "convert/unicode.h"
#include "operator/messages.h"

namespace {

constexpr int32_t kLongestValue = 100, kLongestName = 50;
constexpr uint8_t kTab = 9;

const char *Text(const SpecialCharValue &value)
{
    return reinterpret_cast<const char *>(value.value);
}

void Assign(SpecialCharValue *value, const void *bytes, int32_t length)
{
    memcpy(value->value, bytes, static_cast<size_t>(length));
    value->value[length] = 0;
    value->length = length;
}

void EchoValue(const char *name, const SpecialCharValue &value)
{
    FW_TRACE(1, "%s = '%s' [%d byte(s) %s]", name, Text(value), value.length,
             pHEXvalue(value.value, static_cast<uint32_t>(value.length)));
}

PxStatus TakeHexadecimal(const char *name, SpecialCharValue *value)
{
    const void *given = nullptr;
    if (const PxStatus status = FetchAttribute(name, &given))
        return status;
    if (const PxStatus status = CheckLength(name, kLongestValue))
        return status;
    char digits[kLongestValue + 1];
    memcpy(digits, given, static_cast<size_t>(PX_Len));
    digits[PX_Len] = '\0';
    if (ConvertHEX(digits, name) != 0)
        return PXSTC_FatalError;
    Assign(value, digits, PX_Len);
    return PXSTC_Success;
}

PxStatus TakePlain(const char *name, SpecialCharValue *value)
{
    const void *given = nullptr;
    if (const PxStatus status = FetchAttribute(name, &given))
        return status;
    if (const PxStatus status = CheckLength(name, kLongestValue))
        return status;
    Assign(value, given, PX_Len);
    return PXSTC_Success;
}

PxStatus TakeDefault(const char *name, SpecialCharValue *value, const SpecialCharValue *absent)
{
    if (absent == nullptr || absent->length == 0) {
        FW_TRACE(1, "%s attribute not specified, there is no default", name);
        return PXSTC_NotFound;
    }
    Assign(value, absent->value, absent->length < 0 ? -absent->length : absent->length);
    FW_TRACE(1, "%s attribute not specified, default '%s' being used", name, Text(*value));
    FW_Message<19203>(name, Text(*value));
    return PXSTC_Success;
}

bool DataIsUtf16()
{
    return strcmp(SG_CharSetName, "UTF16") == 0 || strcmp(SG_CharSetName, "62") == 0;
}

// A value of 100 bytes has up to 200 in UTF-16: what does not fit any more is not converted.
PxStatus ConvertToUtf16(const char *name, SpecialCharValue *value)
{
    const SpecialCharValue given = *value;
    const int32_t length = UTF8toUTF16(given.value, given.length, value->value, kLongestValue);
    if (length <= 0) {
        FW_ERROR(" Unable to convert '%s' from UTF8 to UTF16", name);
        FW_ERROR("Could not convert '%s' from UTF8 to UTF16", Text(given));
        return FW_AttributeFatal<19154>();
    }
    value->length = length;
    value->value[length] = 0;
    FW_TRACE(1, "Attribute '%s' converted from UTF8 to UTF16", name);
    FW_TRACE(1, "%s = %s [%d bytes]", name, pHEXvalue(value->value, static_cast<uint32_t>(length)),
             length);
    return PXSTC_Success;
}

// Bytes of the three letters at the front of what is left: 3, 5 in UTF-16, 0 when they are not there.
int32_t TabWordBytes(const uint8_t *at, int32_t left)
{
    if (left >= 3 && memcmp(at, "TAB", 3) == 0)
        return 3;
    // Kept: the set's number "62" does not count here, only its name.
    if (left >= 5 && strcmp(SG_CharSetName, "UTF16") == 0 && at[0] == 'T' && at[2] == 'A' &&
        at[4] == 'B')
        return 5;
    return 0;
}

}  // namespace

int32_t GetSpecialChars(const char *plain, const char *hexadecimal, SpecialCharValue *value,
                        const SpecialCharValue *absent)
{
    const auto name_length = static_cast<int32_t>(strlen(plain));
    if (name_length >= kLongestName) {
        FW_ERROR("String length overflow in function '%.*s'%c", 15, __func__, '.');
        FW_ERROR("Required length is %d.  Max length is %d.", name_length, kLongestName);
        return FW_AttributeFatal<19014>("GetSpecialChars", name_length, kLongestName);
    }
    value->length = 0;
    value->value[0] = 0;
    const PxStatus hex_status = TakeHexadecimal(hexadecimal, value);
    if (hex_status == PXSTC_FatalError)
        return hex_status;
    const bool in_hex = hex_status == PXSTC_Success;
    const void *second = nullptr;
    PxStatus status = in_hex ? FetchAttribute(plain, &second) : TakePlain(plain, value);
    if (in_hex && status == PXSTC_Success) {
        FW_ERROR("Redundant attributes defined: '%s' and '%s'", plain, hexadecimal);
        return FW_AttributeFatal<19128>(plain, hexadecimal);
    }
    if (in_hex && status == PXSTC_NotFound)
        status = PXSTC_Success;
    bool converted_before = false;
    if (status == PXSTC_NotFound) {
        status = TakeDefault(plain, value, absent);
        converted_before = absent != nullptr && absent->length < 0;
    }
    if (status != PXSTC_Success)
        return status;
    EchoValue(plain, *value);
    if (converted_before || !DataIsUtf16())
        return 0;
    if (in_hex) {
        FW_TRACE(1, "Attribute specified in hexadecimal - %s", "not converting from UTF8 to UTF16");
        return 0;
    }
    return ConvertToUtf16(plain, value);
}

void ReplaceTabWords(const char *name, SpecialCharValue *value)
{
    int32_t removed = 0, length = value->length;
    for (int32_t at = 0; at + 3 <= length; ++at) {
        uint8_t *p = value->value + at;
        const int32_t word = TabWordBytes(p, length - at);
        if (word == 0)
            continue;
        const int32_t kept = word == 3 ? 1 : 2;  // the tab, in UTF-16 with its partner byte
        const int32_t gone = word == 3 ? 2 : 4;
        const int32_t behind = length - at - kept - gone;  // the last word may lack a partner byte
        p[0] = kTab;
        if (behind > 0)
            memmove(p + kept, p + kept + gone, static_cast<size_t>(behind));
        at += kept - 1;
        length -= gone;
        removed += gone;
    }
    if (removed == 0)
        return;
    FW_TRACE(1, "%s %s %s", "Occurances of 'TAB' byte sequence in attribute", name,
             "is converted to single/double byte tab character for UTF8/UTF16 respectively.");
    value->length = length;
    value->value[length] = 0;
    EchoValue(name, *value);
}

PxStatus RefuseAllZero(const char *name, const SpecialCharValue &value)
{
    for (int32_t i = 0; i < value.length; ++i) {
        if (value.value[i] != 0)
            return PXSTC_Success;
    }
    FW_ERROR("The '%s' %s'", name,
             " attribute is invalid.  There must be at least one non-null byte");
    return FW_AttributeFatal<19205>(name,
                                    pHEXvalue(value.value, static_cast<uint32_t>(value.length)),
                                    "those with at least one non-null (non-zero) byte");
}
