// pm/char_sets.cpp - from the name or number of a character set to the way its text is walked.
//
// To add a set, add a row to kCharSets and, if it is multi-byte, its function to char_lengths.cpp.

#include <cctype>
#include <cstdio>
#include <cstring>

#include "operator/messages.h"
#include "pm/char_lengths.h"
#include "pm/pm_trace.h"

namespace {

struct CharSet {
    const char *name;
    uint32_t number;  // accepted in place of the name; 0: none
    CharLengthRoutine length;
    int32_t family;
};

// clang-format off
constexpr CharSet kCharSets[] = {
    {"ASCII",                 0, CharLengthSingleByte, kFamilyOrdinary},
    {"UTF8",                 63, CharLengthUtf8,       kFamilyUtf8    },
    {"UTF16",                62, CharLengthUtf16,      kFamilyUtf16   },
    {"UCS-2",                 0, CharLengthUtf16,      kFamilyUtf16   },
    {"SCHINESE936_6R0",       0, CharLengthChinese936, kFamilyOrdinary},
    {"SCHGB2312_1T0",       121, CharLengthGb2312,     kFamilyOrdinary},
    {"KANJIEUC_0U",         118, CharLengthEuc,        kFamilyOrdinary},
    {"SDKANJIEUC_1U3",       91, CharLengthEuc,        kFamilyOrdinary},
    {"KANJISJIS_0S",        119, CharLengthShiftJis,   kFamilyOrdinary},
    {"SDKANJISJIS_1S3",      92, CharLengthShiftJis,   kFamilyOrdinary},
    {"KANJI932_1S0",          0, CharLengthShiftJis,   kFamilyOrdinary},
    {"TCHBIG5_1R0",         122, CharLengthBig5,       kFamilyOrdinary},
    {"SDTCHBIG5_3R0",        95, CharLengthBig5,       kFamilyOrdinary},
    {"HANGULKSC5601_2R4",   120, CharLengthKsc5601,    kFamilyOrdinary},
    {"SDHANGULKSC5601_4R4",  93, CharLengthKsc5601,    kFamilyOrdinary},
};
// clang-format on
constexpr const CharSet &kAscii = kCharSets[0];

constexpr int kUnknownSet = 100, kUcs2 = 101, kNumberTooHigh = 102;
constexpr uint32_t kHighestNumber = 255;
constexpr size_t kLongestName = sizeof SG_CharsetName - 2;

void Install(const CharSet &set)
{
    CharLengthFn = set.length;
    CharSetFamily = set.family;
    UsingSingleByteCharSet = set.length == CharLengthSingleByte;
}

void StoreName(const char *name)
{
    size_t length = strlen(name);
    while (length > 0 && isspace(static_cast<unsigned char>(name[length - 1])) != 0)
        --length;
    for (size_t i = 0; i < length; ++i)
        SG_CharsetName[i] = static_cast<char>(toupper(static_cast<unsigned char>(name[i])));
    SG_CharsetName[length] = '\0';
}

// LATIN1_0A and the like: an "A" behind the first character after the underscore.
bool IsNamedAsSingleByte(const char *name)
{
    const char *underscore = strchr(name, '_');
    return underscore != nullptr && underscore[1] != '\0' && strchr(underscore + 2, 'A') != nullptr;
}

int Init_MBCS(const char *name)
{
    const size_t length = strlen(name);
    if (length > kLongestName) {
        FW_ERROR("String length overflow in function '%.*s'%c", 9, __func__, '.');
        FW_ERROR("Required length is %d.  Max length is %d.", static_cast<int>(length),
                 static_cast<int>(kLongestName + 1));
        return FW_Fatal<19014>(__func__, static_cast<int64_t>(length),
                               static_cast<int64_t>(kLongestName + 1));
    }
    StoreName(name);
    bUnsupportedCharacterSet = 0;
    for (const CharSet &set : kCharSets) {
        PM_TRACE(2, "comparing: '%s' with '%s'", SG_CharsetName, set.name);
        if (strcmp(SG_CharsetName, set.name) != 0)
            continue;
        PM_TRACE(1, "Established character set %s", set.name);
        Install(set);
        return strcmp(set.name, "UCS-2") == 0 ? kUcs2 : pmrcOk;
    }
    Install(kAscii);
    if (IsNamedAsSingleByte(SG_CharsetName)) {
        PM_TRACE(1, "Established character set %s", SG_CharsetName);
        return pmrcOk;
    }
    bUnsupportedCharacterSet = 1;
    PM_TRACE(1, "Requested character set not recognized.");
    PM_TRACE(1, "Using generic, single-byte processing.");
    return kUnknownSet;
}

bool IsNumber(const char *text)
{
    return *text != '\0' && text[strspn(text, "0123456789")] == '\0';
}

// Above 255 it matters no more how far.
uint32_t NumberOf(const char *digits)
{
    uint32_t number = 0;
    for (; *digits != '\0' && number <= kHighestNumber; ++digits)
        number = number * 10 + static_cast<uint32_t>(*digits - '0');
    return number;
}

int SetByNumber(uint32_t number)
{
    PM_TRACE(1, "Numeric CSNum=%u", number);
    if (number > kHighestNumber) {
        PM_TRACE(1, "Invalid numeric character set value");
        (void)Init_MBCS(kAscii.name);
        bUnsupportedCharacterSet = 1;
        return kNumberTooHigh;
    }
    for (const CharSet &set : kCharSets) {
        if (set.number == number && number != 0) {
            (void)Init_MBCS(set.name);
            return pmrcOk;
        }
    }
    (void)Init_MBCS(kAscii.name);
    return kUnknownSet;
}

int SetByName(const char *name)
{
    PM_TRACE(1, "Alphabetic CSName=%s", name);
    return Init_MBCS(name[0] != '\0' ? name : kAscii.name);
}

}  // namespace

int pmSetCharSet(const char *name)
{
    PM_TRACE(1, "Initializing with CharSet = '%s'.", name);
    const int code = IsNumber(name) ? SetByNumber(NumberOf(name)) : SetByName(name);
    PM_TRACE(1, "%s-byte character set in use", UsingSingleByteCharSet != 0 ? "Single" : "Multi");
    return code;
}
