// fileset/wildcard.h - file name patterns: literal pieces with stars between them.

#ifndef FENWIRE_FILESET_WILDCARD_H
#define FENWIRE_FILESET_WILDCARD_H

#include <cstdint>

#include "attributes/attributes_state.h"
#include "infrastructure/infrastructure.h"

struct WildcardPattern {
    static constexpr int kMaxFields = 32;

    char copy[kMaxPath + 1];         // the pattern with its stars turned into zeros
    const char *fields[kMaxFields];  // the pieces, in copy; the last may be empty
    int last;                        // of fields
    bool leading_star;
};

// Splits a pattern. 0; 48 when it has too many pieces (19144).
PxStatus SplitPattern(const char *text, WildcardPattern *pattern);

bool MatchesPattern(const WildcardPattern &pattern, const char *name);

#endif
