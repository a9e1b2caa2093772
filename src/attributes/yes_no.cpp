// attributes/yes_no.cpp - FW_GetYN: a yes/no attribute with up to two more answers.

#include <cstdio>
#include <cstring>
#include <iterator>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "operator/messages.h"

namespace {

constexpr int32_t kLongestAnswer = 15;

// By the value; then every spelling that counts. No other abbreviation does.
constexpr const char *kFullWords[] = {"NO", "YES", "OPTIONAL", "YESWITHOUTLOG"};
constexpr AttrWord kSpellings[] = {
    {"Y", kYes},
    {"N", kNo},
    {"O", kOptional},
    {"NO", kNo},
    {"YES", kYes},
    {"YESW", kYesWithoutLog},
    {"OPTIONAL", kOptional},
    {"YESWITHOUTLOG", kYesWithoutLog},
};

// By the mode: what 19205 and the log offer.
constexpr const char *kValidAnswers[] = {
    "Y[es] or N[o]",
    "Y[es], N[o] or O[ptional]",
    "Y[es], N[o] or YesW[ithoutLog]",
};

bool ModeAllows(int32_t mode, int32_t value)
{
    return value == kNo || value == kYes || (value == kOptional && mode == 1) ||
           (value == kYesWithoutLog && mode == 2);
}

void EchoAnswer(const char *name, const char *word, int32_t value, int32_t boxed)
{
    char line[128];
    snprintf(line, sizeof line, "%s: '%s' (=%d)", name, word, value);
    if (boxed != 0)
        BoxLine(__func__, 1, line);
    else
        FW_STATS("%s", line);
}

int32_t TakeDefault(const char *name, int32_t *result, int32_t echo, int32_t absent, int32_t mode)
{
    *result = absent;
    if (absent == kNone)
        return 0;
    char word[32] = "";
    if (!ModeAllows(mode, absent)) {
        RaiseExitCode(12);  // a mistake of the caller, which the job's user can't mend: it goes on
        FW_Message<19243>(name);
    } else if (absent == kYesWithoutLog) {
        snprintf(word, sizeof word, "%s (default)", kFullWords[absent]);  // Kept: not "defaulted"
    } else {
        snprintf(word, sizeof word, "%s (defaulted)", kFullWords[absent]);
    }
    EchoAnswer(name, word, absent, echo);
    return 0;
}

}  // namespace

int32_t FW_GetYN(const char *name, int32_t *result, int32_t echo, int32_t absent, int32_t mode)
{
    const void *value = nullptr;
    char given[kLongestAnswer + 1], upper[kLongestAnswer + 1];

    bAttributeSeen = 0;
    if (mode != 1 && mode != 2)
        mode = 0;
    const PxStatus status = FetchAttribute(name, &value);
    if (status == PXSTC_NotFound)
        return TakeDefault(name, result, echo, absent, mode);
    if (status != PXSTC_Success || CheckLength(name, kLongestAnswer) != PXSTC_Success)
        return PXSTC_FatalError;
    *result = kNone;
    bAttributeSeen = 1;
    memcpy(given, value, static_cast<size_t>(PX_Len));
    given[PX_Len] = '\0';
    CopyUpper(upper, sizeof upper, value, PX_Len);
    for (const AttrWord &spelling : kSpellings) {
        if (strcmp(spelling.word, upper) == 0 && ModeAllows(mode, spelling.value))
            *result = spelling.value;
    }
    if (*result != kNone) {
        EchoAnswer(name, kFullWords[*result], *result, echo);
        return 0;
    }
    FW_ERROR("%s: '%s'", name, given);
    FW_TRACE(1, "'%s' is an invalid value for %s.", given, name);
    FW_TRACE(1, "Valid values are %s", kValidAnswers[mode]);
    FW_AttributeMessage<19205>(name, static_cast<const char *>(given), kValidAnswers[mode]);
    return 1;
}
