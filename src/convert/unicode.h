// convert/unicode.h - conversions through the Unicode library, which is bound when first needed.
//
// The library is not linked: a job without conversions runs where there is none. Its names carry its
// version on most systems ("ucnv_open_72"), which is found out when it is loaded. The px_ functions
// forward to the library's functions of the same name, with their arguments. Where there is no library,
// or none of that name in it, they answer null, 0 or, for a status, kUnicodeMissing.

#ifndef FENWIRE_CONVERT_UNICODE_H
#define FENWIRE_CONVERT_UNICODE_H

#include <cstdint>

struct UConverter;
struct UNormalizer2;
struct UConverterToUnicodeArgs;
struct UConverterFromUnicodeArgs;
using UErrorCode = int32_t;  // above 0: a failure
using UConverterCallbackReason = int32_t;
using UConverterToUCallback = void (*)(const void *context, UConverterToUnicodeArgs *args,
                                       const char *units, int32_t length,
                                       UConverterCallbackReason reason, UErrorCode *status);
using UConverterFromUCallback = void (*)(const void *context, UConverterFromUnicodeArgs *args,
                                         const char16_t *units, int32_t length, int32_t point,
                                         UConverterCallbackReason reason, UErrorCode *status);

inline constexpr char kNoUnicodeLibrary[] = "NVICU Library Not Found";
inline constexpr UErrorCode kUnicodeMissing = 4;

int32_t px_nvicu_init();  // 0: loaded; 1: no library, which is traced once
int32_t px_nvicu_term();  // 0; 2: the library could not be given back. A later call loads it anew

const char *px_nvicuversion();  // "72.1", or kNoUnicodeLibrary
const char *px_pxicuversion();  // of this layer

UConverter *px_ucnv_open(const char *name, UErrorCode *status);
void px_ucnv_close(UConverter *converter);
void px_ucnv_setToUCallBack(UConverter *converter, UConverterToUCallback action,
                            const void *context, UConverterToUCallback *old,
                            const void **old_context, UErrorCode *status);
void px_ucnv_setFromUCallBack(UConverter *converter, UConverterFromUCallback action,
                              const void *context, UConverterFromUCallback *old,
                              const void **old_context, UErrorCode *status);
int32_t px_ucnv_toUChars(UConverter *converter, char16_t *target, int32_t capacity,
                         const char *source, int32_t length, UErrorCode *status);
int32_t px_ucnv_fromUChars(UConverter *converter, char *target, int32_t capacity,
                           const char16_t *source, int32_t length, UErrorCode *status);
char16_t *px_u_strcpy(char16_t *target, const char16_t *source);
char16_t *px_u_strncpy(char16_t *target, const char16_t *source, int32_t count);
char16_t *px_u_strstr(const char16_t *text, const char16_t *part);
char16_t *px_u_strcat(char16_t *target, const char16_t *source);
int32_t px_u_strlen(const char16_t *text);
const char *px_u_errorName(UErrorCode status);
const UNormalizer2 *px_unorm2_getInstance(const char *package, const char *name, int32_t mode,
                                          UErrorCode *status);
int32_t px_unorm2_normalize(const UNormalizer2 *normalizer, const char16_t *source, int32_t length,
                            char16_t *target, int32_t capacity, UErrorCode *status);

// Callbacks that end a conversion at the first character that can't be converted.
void px_UCNV_TO_U_CALLBACK_STOP(const void *context, UConverterToUnicodeArgs *args,
                                const char *units, int32_t length, UConverterCallbackReason reason,
                                UErrorCode *status);
void px_UCNV_FROM_U_CALLBACK_STOP(const void *context, UConverterFromUnicodeArgs *args,
                                  const char16_t *units, int32_t length, int32_t point,
                                  UConverterCallbackReason reason, UErrorCode *status);

// Converts to UTF-16 in the machine's byte order. Answers the bytes in target; 0 or less when the text
// is malformed, needs more than capacity bytes, or there is no library (traced).
int32_t UTF8toUTF16(const uint8_t *source, int32_t length, uint8_t *target, int32_t capacity);

#endif
