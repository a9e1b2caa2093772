// convert/unicode.cpp - binding the Unicode library and the conversions that use it.

#include "convert/unicode.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include <dlfcn.h>

#include "operator/messages.h"

namespace {

struct Converter;
using ErrorCode = int32_t;  // above 0: a failure

// The library's entries, in the order of kEntryNames.
struct Entries {
    Converter *(*open)(const char *name, ErrorCode *status);
    void (*set_to_callback)(Converter *, void (*action)(), const void *context, void (**old)(),
                            const void **old_context, ErrorCode *status);
    void (*set_from_callback)(Converter *, void (*action)(), const void *context, void (**old)(),
                              const void **old_context, ErrorCode *status);
    void (*to_stop)();
    void (*from_stop)();
    int32_t (*to_uchars)(Converter *, char16_t *target, int32_t capacity, const char *source,
                         int32_t length, ErrorCode *status);
    void (*close)(Converter *);
    void (*get_version)(uint8_t version[4]);
};
constexpr const char *kEntryNames[] = {
    "ucnv_open",
    "ucnv_setToUCallBack",
    "ucnv_setFromUCallBack",
    "UCNV_TO_U_CALLBACK_STOP",
    "UCNV_FROM_U_CALLBACK_STOP",
    "ucnv_toUChars",
    "ucnv_close",
    "u_getVersion",
};
static_assert(sizeof(Entries) == std::size(kEntryNames) * sizeof(void *));

constexpr int kNewestVersion = 99, kOldestVersion = 44;
constexpr int kUnversioned = 0;

struct Library {
    void *handle = nullptr;
    Entries entries = {};
} library;

bool Bind(void *handle, int version, Entries *entries)
{
    void *found[std::size(kEntryNames)] = {};
    for (size_t i = 0; i < std::size(kEntryNames); ++i) {
        char name[48];
        snprintf(name, sizeof name, version == kUnversioned ? "%s" : "%s_%d", kEntryNames[i],
                 version);
        found[i] = dlsym(handle, name);
        if (found[i] == nullptr)
            return false;
    }
    memcpy(entries, found, sizeof found);
    return true;
}

// The plain name belongs to a development installation, whose entries may have any version.
bool TryLibrary(int version)
{
    char name[32];
    snprintf(name, sizeof name, version == kUnversioned ? "libicuuc.so" : "libicuuc.so.%d",
             version);
    void *handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        return false;
    bool bound = Bind(handle, kUnversioned, &library.entries);
    for (int v = kNewestVersion; v >= kOldestVersion && !bound; --v)
        bound = (version == kUnversioned || v == version) && Bind(handle, v, &library.entries);
    if (!bound) {
        dlclose(handle);
        return false;
    }
    library.handle = handle;
    return true;
}

bool Loaded()
{
    for (int version = kNewestVersion; version >= kOldestVersion && library.handle == nullptr;
         --version)
        TryLibrary(version);
    if (library.handle == nullptr)
        TryLibrary(kUnversioned);
    return library.handle != nullptr;
}

bool Failed(const char *what, ErrorCode status)
{
    if (status <= 0)
        return false;
    FW_ERROR(" %s, status=%d", what, status);
    return true;
}

}  // namespace

const char *px_nvicuversion()
{
    static char text[16];
    if (!Loaded())
        return kNoUnicodeLibrary;
    uint8_t version[4] = {};
    library.entries.get_version(version);
    snprintf(text, sizeof text, "%d.%d", version[0], version[1]);
    return text;
}

int32_t UTF8toUTF16(const uint8_t *source, int32_t length, uint8_t *target, int32_t capacity)
{
    constexpr int32_t kMostUnits = 256;
    char16_t units[kMostUnits];
    ErrorCode status = 0;

    if (!Loaded()) {
        FW_ERROR("%s", kNoUnicodeLibrary);
        return 0;
    }
    const Entries &icu = library.entries;
    Converter *converter = icu.open("UTF8", &status);
    if (converter == nullptr || status > 0) {
        FW_ERROR("Unable to open converter for UTF8");
        return 0;
    }
    int32_t made = 0;
    void (*old)() = nullptr;
    const void *old_context = nullptr;
    icu.set_to_callback(converter, icu.to_stop, nullptr, &old, &old_context, &status);
    if (!Failed("px_ucnv_setToUCallBack failed", status)) {
        icu.set_from_callback(converter, icu.from_stop, nullptr, &old, &old_context, &status);
        if (!Failed("px_ucnv_setFromUCallBack failed", status)) {
            const int32_t room = capacity / 2 < kMostUnits ? capacity / 2 : kMostUnits;
            made = icu.to_uchars(converter, units, room, reinterpret_cast<const char *>(source),
                                 length, &status);
            if (Failed("UTF8 to UTF16 conversion failed", status))
                made = 0;
        }
    }
    icu.close(converter);
    memcpy(target, units, static_cast<size_t>(made) * 2);
    return made * 2;
}

void px_nvicu_term()
{
    if (library.handle != nullptr)
        dlclose(library.handle);
    library = {};
}
