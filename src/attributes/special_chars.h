// attributes/special_chars.h - the two rules that only delimiters and escapes have.

#ifndef FENWIRE_ATTRIBUTES_SPECIAL_CHARS_H
#define FENWIRE_ATTRIBUTES_SPECIAL_CHARS_H

#include "attributes/attributes_state.h"
#include "infrastructure/infrastructure.h"

// Puts a tab for each "TAB" in the value, however the value was spelled.
void ReplaceTabWords(const char *name, SpecialCharValue *value);

// 0, or 48 after 19205, when every byte of the value is zero.
PxStatus RefuseAllZero(const char *name, const SpecialCharValue &value);

#endif
