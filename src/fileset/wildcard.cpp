// fileset/wildcard.cpp

#include "fileset/wildcard.h"

#include <cstdio>
#include <cstring>

#include "operator/messages.h"

namespace {

// Whether field can be found at the very end of the name, at found or behind.
bool EndsWithField(const char *found, const char *field)
{
    const size_t length = strlen(field);
    while (found != nullptr && strlen(found) != length)
        found = strstr(found + 1, field);
    return found != nullptr;
}

}  // namespace

PxStatus SplitPattern(const char *text, WildcardPattern *pattern)
{
    snprintf(pattern->copy, sizeof pattern->copy, "%s", text);
    pattern->leading_star = text[0] == '*';
    pattern->fields[0] = pattern->copy;
    pattern->last = 0;
    for (char *at = strchr(pattern->copy, '*'); at != nullptr; at = strchr(at + 1, '*')) {
        *at = '\0';
        // An empty field is taken over: a run of stars is one star, and a leading one has no field.
        if (*pattern->fields[pattern->last] != '\0')
            ++pattern->last;
        if (pattern->last == WildcardPattern::kMaxFields) {
            FW_ERROR("Too many wildcard fields in '%s'", text);
            return FW_Fatal<19144>("33", "32");
        }
        pattern->fields[pattern->last] = at + 1;
    }
    return PXSTC_Success;
}

bool MatchesPattern(const WildcardPattern &pattern, const char *name)
{
    const char *from = name;
    for (int i = 0; i <= pattern.last; ++i) {
        const char *field = pattern.fields[i];
        if (*field == '\0')
            continue;
        const char *found = strstr(from, field);
        if (found == nullptr || (i == 0 && !pattern.leading_star && found != name))
            return false;
        if (i == pattern.last && !EndsWithField(found, field))
            return false;
        // Kept: the search goes on at the match, not behind it, so fields may overlap: ab*ba takes
        // aba. Jobs select their files by it.
        from = found;
    }
    return true;
}
