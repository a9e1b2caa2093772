// host/values/texts.cpp - text, bytes and two-byte characters.

#include "host/values/texts.h"

#include <cstring>

#include "host/job/words.h"
#include "host/system/utf16.h"

namespace fenwire {

namespace {

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Fills what is left of a fixed value with blanks, or with zeros where the value is bytes.
void Pad(const ValueType &type, uint8_t *to, uint32_t *bytes)
{
    if (!type.fixed)
        return;
    const bool wide = type.kind == TypeKind::Graphic || type.utf16;
    memset(to + *bytes, type.kind == TypeKind::Bytes || wide ? 0 : ' ', type.bytes - *bytes);
    for (uint32_t at = *bytes; wide && at + 1 < type.bytes; at += 2)
        to[at] = ' ';
    *bytes = type.bytes;
}

uint32_t CodePoint(std::string_view text, size_t length)
{
    constexpr uint8_t kFirstBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    uint32_t c = static_cast<uint8_t>(text[0]) & kFirstBits[length];
    for (size_t i = 1; i < length; ++i)
        c = c << 6 | (static_cast<uint8_t>(text[i]) & 0x3F);
    return c;
}

}  // namespace

Misfit BinaryFromBytes(const ValueType &type, std::string_view value, uint8_t *to, uint32_t *bytes)
{
    if (value.size() > type.bytes)
        return Misfit::TooLong;
    if ((type.kind == TypeKind::Graphic || type.utf16) && value.size() % 2 != 0)
        return Misfit::Malformed;
    if (!value.empty())
        memcpy(to, value.data(), value.size());
    *bytes = static_cast<uint32_t>(value.size());
    Pad(type, to, bytes);
    return Misfit::None;
}

Misfit BytesFromHex(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes)
{
    if (text.size() % 2 != 0)
        return Misfit::Malformed;
    if (text.size() / 2 > type.bytes)
        return Misfit::TooLong;
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = HexDigit(text[i]), low = HexDigit(text[i + 1]);
        if (high < 0 || low < 0)
            return Misfit::Malformed;
        to[i / 2] = static_cast<uint8_t>(high << 4 | low);
    }
    *bytes = static_cast<uint32_t>(text.size() / 2);
    Pad(type, to, bytes);
    return Misfit::None;
}

Misfit GraphicFromUtf8(const ValueType &type, std::string_view text, uint8_t *to, uint32_t *bytes)
{
    uint32_t at = 0;
    const auto put = [&](uint32_t unit) {
        to[at++] = static_cast<uint8_t>(unit);
        to[at++] = static_cast<uint8_t>(unit >> 8);
    };
    while (!text.empty()) {
        const size_t length = Utf8Length(text);
        if (length == 0)
            return Misfit::Malformed;
        const uint32_t c = CodePoint(text, length);
        text.remove_prefix(length);
        if (type.bytes - at < (c >= 0x10000 ? 4u : 2u))
            return Misfit::TooLong;
        if (c >= 0x10000)
            put(0xD800 | (c - 0x10000) >> 10);
        put(c >= 0x10000 ? 0xDC00 | ((c - 0x10000) & 0x3FF) : c);
    }
    *bytes = at;
    Pad(type, to, bytes);
    return Misfit::None;
}

void AppendHex(const uint8_t *value, uint32_t bytes, std::string &to)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (uint32_t i = 0; i < bytes; ++i) {
        to += kDigits[value[i] >> 4];
        to += kDigits[value[i] & 15];
    }
}

bool AppendUtf8(const uint8_t *value, uint32_t bytes, std::string &to)
{
    if (bytes % 2 != 0)
        return false;
    const auto kind = [&](uint32_t at) { return value[at + 1] & 0xFC; };
    for (uint32_t at = 0; at < bytes; at += 2) {
        if (kind(at) == 0xDC || (kind(at) == 0xD8 && (at + 2 >= bytes || kind(at + 2) != 0xDC)))
            return false;
        at += kind(at) == 0xD8 ? 2 : 0;
    }
    to += Utf8FromUtf16({reinterpret_cast<const char *>(value), bytes});
    return true;
}

}  // namespace fenwire
