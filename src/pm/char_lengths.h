// pm/char_lengths.h - how many bytes the character at a place takes, for each character set.
//
// Each function stores the character's bytes and answers 1, or answers 0 when the byte stands alone,
// whatever it has stored. badmbcs says that the bytes are no character of the set. A function may
// read three bytes beyond the first.

#ifndef FENWIRE_PM_CHAR_LENGTHS_H
#define FENWIRE_PM_CHAR_LENGTHS_H

#include "pm/pm_state.h"

int32_t CharLengthUtf8(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthUtf16(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthChinese936(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthGb2312(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthEuc(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthShiftJis(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthBig5(const uint8_t *at, uint32_t *bytes);
int32_t CharLengthKsc5601(const uint8_t *at, uint32_t *bytes);

#endif
