// host/system/utf16.cpp

#include "host/system/utf16.h"

namespace fenwire {

namespace {

void AppendUtf8(std::string &text, uint32_t c)
{
    const auto put = [&](uint32_t byte) { text += static_cast<char>(byte); };
    if (c < 0x80) {
        put(c);
        return;
    }
    if (c < 0x800) {
        put(0xC0 | c >> 6);
    } else {
        if (c < 0x10000) {
            put(0xE0 | c >> 12);
        } else {
            put(0xF0 | c >> 18);
            put(0x80 | (c >> 12 & 0x3F));
        }
        put(0x80 | (c >> 6 & 0x3F));
    }
    put(0x80 | (c & 0x3F));
}

}  // namespace

std::string Utf8FromUtf16(std::string_view bytes, uint64_t *pairs)
{
    const auto unit = [&](size_t at) {
        return static_cast<uint32_t>(static_cast<uint8_t>(bytes[at]) |
                                     static_cast<uint8_t>(bytes[at + 1]) << 8);
    };
    std::string text;
    text.reserve(bytes.size());
    for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const uint32_t c = unit(at);
        if ((c & 0xFC00) == 0xD800 && at + 3 < bytes.size() && (unit(at + 2) & 0xFC00) == 0xDC00) {
            AppendUtf8(text, 0x10000 + ((c & 0x3FF) << 10) + (unit(at + 2) & 0x3FF));
            if (pairs != nullptr)
                ++*pairs;
            at += 2;
        } else {
            AppendUtf8(text, (c & 0xF800) == 0xD800 ? 0xFFFD : c);
        }
    }
    return text;
}

}  // namespace fenwire
