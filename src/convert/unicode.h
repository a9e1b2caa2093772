// convert/unicode.h - conversions through the Unicode library, which is bound when first needed.
//
// The library is not linked: a job without conversions runs where there is none. Its names carry its
// version on most systems ("ucnv_open_72"), which is found out when it is loaded.

#ifndef FENWIRE_CONVERT_UNICODE_H
#define FENWIRE_CONVERT_UNICODE_H

#include <cstdint>

inline constexpr char kNoUnicodeLibrary[] = "NVICU Library Not Found";

// "72.1", or kNoUnicodeLibrary.
const char *px_nvicuversion();

// Converts to UTF-16 in the machine's byte order. Answers the bytes in target; 0 or less when the text
// is malformed, needs more than capacity bytes, or there is no library (traced).
int32_t UTF8toUTF16(const uint8_t *source, int32_t length, uint8_t *target, int32_t capacity);

// Gives the library back. May be called again, and a later conversion loads it anew.
void px_nvicu_term();

#endif
