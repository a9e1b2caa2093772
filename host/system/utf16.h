// host/system/utf16.h - little-endian UTF-16 as UTF-8, for looking at.

#ifndef FENWIRE_HOST_SYSTEM_UTF16_H
#define FENWIRE_HOST_SYSTEM_UTF16_H

#include <cstdint>
#include <string>
#include <string_view>

namespace fenwire {

// A single surrogate becomes U+FFFD, and a last odd byte is left out. pairs, when given, goes up by
// the number of surrogate pairs.
std::string Utf8FromUtf16(std::string_view bytes, uint64_t *pairs = nullptr);

}  // namespace fenwire

#endif
