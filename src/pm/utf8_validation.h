// pm/utf8_validation.h - what malformed UTF-8 is to be replaced with.
//
// Set up for the scanners, whose CharacterStep is the place where it will be put in. No length function
// calls a character of UTF-8 malformed so far: a byte that begins none is a character of its own.

#ifndef FENWIRE_PM_UTF8_VALIDATION_H
#define FENWIRE_PM_UTF8_VALIDATION_H

#include <cstdint>

// The default replacement, and, for data that may hold bytes of Windows-1252, ByteFixTable.
void SetupUTF8Validation(bool windows_1252);

// Takes another replacement, one character at value, which a zero byte ends. required_length: the bytes
// it must have; 0: any. 1; 0 and badmbcs: it is no such character, and the former one stays.
int32_t SetUTF8Replacement(const uint8_t *value, uint32_t required_length);

#endif
