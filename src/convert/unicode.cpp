// convert/unicode.cpp - binding the Unicode library and the conversions that use it.
//
// kEntryNames holds the library's names; the entry of a name that is not found stays empty. To forward
// one more function, add its name and an Entry, and a line among the wrappers.

#include "convert/unicode.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include <dlfcn.h>

#include "operator/messages.h"

namespace {

enum Entry {
    kOpen,
    kSetToU,
    kSetFromU,
    kToUStop,
    kFromUStop,
    kToUChars,
    kFromUChars,
    kClose,
    kStrcpy,
    kStrncpy,
    kStrstr,
    kStrcat,
    kStrlen,
    kErrorName,
    kGetVersion,
    kGetNormalizer,
    kNormalize,
    kEntries
};
constexpr const char *kEntryNames[] = {
    "ucnv_open",
    "ucnv_setToUCallBack",
    "ucnv_setFromUCallBack",
    "UCNV_TO_U_CALLBACK_STOP",
    "UCNV_FROM_U_CALLBACK_STOP",
    "ucnv_toUChars",
    "ucnv_fromUChars",
    "ucnv_close",
    "u_strcpy",
    "u_strncpy",
    "u_strstr",
    "u_strcat",
    "u_strlen",
    "u_errorName",
    "u_getVersion",
    "unorm2_getInstance",
    "unorm2_normalize",
};
static_assert(std::size(kEntryNames) == kEntries);

constexpr int kNewestVersion = 99, kOldestVersion = 44;
constexpr int kUnversioned = 0;

struct Library {
    void *handle = nullptr;
    void *entries[kEntries] = {};
    bool missing = false;  // looked for, traced, and not there
};
Library library;

void *FindEntry(void *handle, Entry entry, int version)
{
    char name[48];
    snprintf(name, sizeof name, version == kUnversioned ? "%s" : "%s_%d", kEntryNames[entry],
             version);
    return dlsym(handle, name);
}

// The version that the library's names carry. Negative: this is no library of ours.
int VersionOfNames(void *handle, int version_of_file)
{
    if (FindEntry(handle, kOpen, kUnversioned) != nullptr)
        return kUnversioned;
    if (version_of_file != kUnversioned)
        return FindEntry(handle, kOpen, version_of_file) != nullptr ? version_of_file : -1;
    for (int version = kNewestVersion; version >= kOldestVersion; --version) {
        if (FindEntry(handle, kOpen, version) != nullptr)
            return version;
    }
    return -1;
}

// The plain file name belongs to a development installation, whose names may have any version.
bool TryLibrary(int version_of_file)
{
    char name[32];
    snprintf(name, sizeof name, version_of_file == kUnversioned ? "libicuuc.so" : "libicuuc.so.%d",
             version_of_file);
    void *handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        return false;
    const int version = VersionOfNames(handle, version_of_file);
    if (version < 0) {
        dlclose(handle);
        return false;
    }
    for (int entry = 0; entry < kEntries; ++entry)
        library.entries[entry] = FindEntry(handle, static_cast<Entry>(entry), version);
    library.handle = handle;
    return true;
}

// Function is the type of the library's function.
template <class Function>
Function *Bound(Entry entry)
{
    if (library.handle == nullptr && px_nvicu_init() != 0)
        return nullptr;
    Function *function = nullptr;
    memcpy(&function, &library.entries[entry], sizeof function);
    return function;
}

// Calls the entry with the wrapper's own arguments, or answers absent.
template <class Result, class... Params>
Result Forward(Entry entry, Result absent, Params... params)
{
    auto *function = Bound<Result(Params...)>(entry);
    return function != nullptr ? function(params...) : absent;
}

// Likewise for an entry without an answer, which reports through its status if it has one.
template <class... Params>
void ForwardCall(Entry entry, UErrorCode *status, Params... params)
{
    if (auto *function = Bound<void(Params...)>(entry))
        function(params...);
    else if (status != nullptr)
        *status = kUnicodeMissing;
}

bool Failed(const char *what, UErrorCode status)
{
    if (status <= 0)
        return false;
    FW_ERROR(" %s, status=%d", what, status);
    return true;
}

bool StopAtBadCharacters(UConverter *converter)
{
    UConverterToUCallback old_to = nullptr;
    UConverterFromUCallback old_from = nullptr;
    const void *old_context = nullptr;
    UErrorCode status = 0;

    px_ucnv_setToUCallBack(converter, px_UCNV_TO_U_CALLBACK_STOP, nullptr, &old_to, &old_context,
                           &status);
    if (Failed("px_ucnv_setToUCallBack failed", status))
        return false;
    px_ucnv_setFromUCallBack(converter, px_UCNV_FROM_U_CALLBACK_STOP, nullptr, &old_from,
                             &old_context, &status);
    return !Failed("px_ucnv_setFromUCallBack failed", status);
}

}  // namespace

// ---- Binding -----------------------------------------------------------------------------------

int32_t px_nvicu_init()
{
    for (int version = kNewestVersion; version >= kOldestVersion && library.handle == nullptr;
         --version)
        TryLibrary(version);
    if (library.handle != nullptr || TryLibrary(kUnversioned))
        return 0;
    if (!library.missing)
        FW_TRACE(1, "%s", kNoUnicodeLibrary);
    library.missing = true;
    return 1;
}

int32_t px_nvicu_term()
{
    void *handle = library.handle;
    library = {};
    return handle != nullptr && dlclose(handle) != 0 ? 2 : 0;
}

const char *px_nvicuversion()
{
    static char text[16];
    uint8_t version[4] = {};
    auto *get_version = Bound<void(uint8_t *)>(kGetVersion);
    if (get_version == nullptr)
        return kNoUnicodeLibrary;
    get_version(version);
    snprintf(text, sizeof text, "%d.%d", version[0], version[1]);
    return text;
}

const char *px_pxicuversion() { return "16.10.00.10"; }

// ---- Forwarding --------------------------------------------------------------------------------

UConverter *px_ucnv_open(const char *name, UErrorCode *status)
{
    return Forward<UConverter *>(kOpen, nullptr, name, status);
}

void px_ucnv_close(UConverter *converter) { ForwardCall(kClose, nullptr, converter); }

void px_ucnv_setToUCallBack(UConverter *converter, UConverterToUCallback action,
                            const void *context, UConverterToUCallback *old,
                            const void **old_context, UErrorCode *status)
{
    ForwardCall(kSetToU, status, converter, action, context, old, old_context, status);
}

void px_ucnv_setFromUCallBack(UConverter *converter, UConverterFromUCallback action,
                              const void *context, UConverterFromUCallback *old,
                              const void **old_context, UErrorCode *status)
{
    ForwardCall(kSetFromU, status, converter, action, context, old, old_context, status);
}

int32_t px_ucnv_toUChars(UConverter *converter, char16_t *target, int32_t capacity,
                         const char *source, int32_t length, UErrorCode *status)
{
    return Forward<int32_t>(kToUChars, 0, converter, target, capacity, source, length, status);
}

int32_t px_ucnv_fromUChars(UConverter *converter, char *target, int32_t capacity,
                           const char16_t *source, int32_t length, UErrorCode *status)
{
    return Forward<int32_t>(kFromUChars, 0, converter, target, capacity, source, length, status);
}

char16_t *px_u_strcpy(char16_t *target, const char16_t *source)
{
    return Forward<char16_t *>(kStrcpy, nullptr, target, source);
}

char16_t *px_u_strncpy(char16_t *target, const char16_t *source, int32_t count)
{
    return Forward<char16_t *>(kStrncpy, nullptr, target, source, count);
}

char16_t *px_u_strstr(const char16_t *text, const char16_t *part)
{
    return Forward<char16_t *>(kStrstr, nullptr, text, part);
}

char16_t *px_u_strcat(char16_t *target, const char16_t *source)
{
    return Forward<char16_t *>(kStrcat, nullptr, target, source);
}

int32_t px_u_strlen(const char16_t *text) { return Forward<int32_t>(kStrlen, 0, text); }

const char *px_u_errorName(UErrorCode status)
{
    return Forward<const char *>(kErrorName, nullptr, status);
}

const UNormalizer2 *px_unorm2_getInstance(const char *package, const char *name, int32_t mode,
                                          UErrorCode *status)
{
    return Forward<const UNormalizer2 *>(kGetNormalizer, nullptr, package, name, mode, status);
}

int32_t px_unorm2_normalize(const UNormalizer2 *normalizer, const char16_t *source, int32_t length,
                            char16_t *target, int32_t capacity, UErrorCode *status)
{
    return Forward<int32_t>(kNormalize, 0, normalizer, source, length, target, capacity, status);
}

void px_UCNV_TO_U_CALLBACK_STOP(const void *context, UConverterToUnicodeArgs *args,
                                const char *units, int32_t length, UConverterCallbackReason reason,
                                UErrorCode *status)
{
    ForwardCall(kToUStop, status, context, args, units, length, reason, status);
}

void px_UCNV_FROM_U_CALLBACK_STOP(const void *context, UConverterFromUnicodeArgs *args,
                                  const char16_t *units, int32_t length, int32_t point,
                                  UConverterCallbackReason reason, UErrorCode *status)
{
    ForwardCall(kFromUStop, status, context, args, units, length, point, reason, status);
}

// ---- Conversion --------------------------------------------------------------------------------

int32_t UTF8toUTF16(const uint8_t *source, int32_t length, uint8_t *target, int32_t capacity)
{
    constexpr int32_t kMostUnits = 4200;  // of the longest path
    char16_t units[kMostUnits];
    UErrorCode status = 0;
    int32_t made = 0;

    UConverter *converter = px_ucnv_open("UTF8", &status);
    if (converter == nullptr || status > 0) {
        FW_ERROR("Unable to open converter for UTF8");
        return 0;
    }
    if (StopAtBadCharacters(converter)) {
        const int32_t room = capacity / 2 < kMostUnits ? capacity / 2 : kMostUnits;
        made = px_ucnv_toUChars(converter, units, room, reinterpret_cast<const char *>(source),
                                length, &status);
        if (Failed("UTF8 to UTF16 conversion failed", status) || made < 0)
            made = 0;
    }
    px_ucnv_close(converter);
    memcpy(target, units, static_cast<size_t>(made) * 2);
    return made * 2;
}
