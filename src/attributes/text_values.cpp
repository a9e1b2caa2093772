// attributes/text_values.cpp - texts of attributes: digits, hexadecimal forms, owned copies.

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "attributes/attributes.h"
#include "operator/messages.h"

bool is_it_a_number(const char *text)
{
    while (isdigit(static_cast<unsigned char>(*text)) != 0)
        ++text;
    return *text == '\0';
}

const char *pHEXvalue(const uint8_t *bytes, uint32_t length)
{
    static char area[500];
    static char *block = nullptr;  // of the last long call, kept until the next one
    const size_t need = 2 * static_cast<size_t>(length) + 6;
    char *text = area;
    if (need > sizeof area) {
        free(block);
        block = text = static_cast<char *>(malloc(need));
        if (text == nullptr)
            return "x'...'";
    }
    char *to = text;
    *to++ = 'x';
    *to++ = '\'';
    for (uint32_t i = 0; i < length; ++i, to += 2)
        snprintf(to, 3, "%02X", bytes[i]);
    *to++ = '\'';
    *to = '\0';
    return text;
}

int32_t ConvertHEX(char *value, const char *name)
{
    const auto digits = static_cast<size_t>(PX_Len);
    bool valid = digits % 2 == 0;
    for (size_t i = 0; i < digits && valid; ++i)
        valid = isxdigit(static_cast<unsigned char>(value[i])) != 0;
    if (!valid) {
        FW_ERROR("Invalid %s attribute value ('%s') provided", name, value);
        FW_TRACE(1, "Valid %s values are hexadecimal digits", name);
        FW_AttributeMessage<19205>(name, static_cast<const char *>(value), "hexadecimal digits");
        RaiseExitCode(12);
        return 1;
    }
    FW_TRACE(1, "Decoding attribute '%s' from '%s'", name, value);
    for (size_t i = 0; i < digits; i += 2) {
        const char pair[3] = {value[i], value[i + 1], '\0'};
        value[i / 2] = static_cast<char>(strtoul(pair, nullptr, 16));
    }
    PX_Len /= 2;
    value[PX_Len] = '\0';
    return 0;
}

PxStatus SetStrAttribute(char **slot, const char *source, uint32_t length)
{
    if (length == 0 || source == nullptr)
        return PXSTC_Success;
    free(*slot);
    const size_t bytes = static_cast<size_t>(length) + 1;
    *slot = static_cast<char *>(calloc(bytes, 1));
    if (*slot == nullptr) {
        char size[24];
        snprintf(size, sizeof size, "%zu", bytes);
        FW_ERROR("%s %zu %s.", "Unable to allocate", bytes, "bytes for Hadoop attribute.");
        FW_Message<19140>(static_cast<const char *>(size));
        RaiseExitCode(12);
        return PXSTC_Storage;
    }
    memcpy(*slot, source, length);
    return PXSTC_Success;
}
