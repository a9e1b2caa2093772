// attributes/attributes.h - what the methods and the other subsystems call to have attributes read.

#ifndef FENWIRE_ATTRIBUTES_ATTRIBUTES_H
#define FENWIRE_ATTRIBUTES_ATTRIBUTES_H

#include <cstdint>

#include "attributes/attributes_state.h"
#include "infrastructure/infrastructure.h"

// ---- Groups of attributes, each read once in initiate phase 1, in this order. 0, 16, 19 or 48;
// failures are reported.

PxStatus
ReadInstanceAttributes();          // instance number, instance count, operator type: before any log
PxStatus ReadLogAttributes();      // operator name, trace level, name of the private log
PxStatus ReadGeneralAttributes();  // TraceFunction to NamedPipeTimeOut
PxStatus ReadFilesetAttributes();  // DirectoryPath to VigilSortField
PxStatus ReadFileAttributes();     // FileName to SYSTEM_LOGDIRECTORY; composes the parsing case
PxStatus
ReadErrorFileAttributes();  // ErrorLimit to RecordErrorVerbosity: the file is open, or isn't

// ---- Single values

// Yes/no with up to two extensions. mode: 0 yes and no, 1 also optional, 2 also yes-without-log, -1 as
// 0. absent: the value without the attribute, kNone for none. echo: non-zero writes a box line.
// 0: stored; 1: invalid, reported; 48: reported.
int32_t FW_GetYN(const char *name, int32_t *result, int32_t echo, int32_t absent, int32_t mode);

// A special character, plain or hexadecimal. 0: a value; 5: absent without a default; 48: reported.
int32_t GetSpecialChars(const char *plain, const char *hexadecimal, SpecialCharValue *value,
                        const SpecialCharValue *absent);

// Decodes the PX_Len hexadecimal digits in value, which has room for one byte more, in place; PX_Len
// becomes the number of bytes. Non-zero: not hexadecimal, reported.
int32_t ConvertHEX(char *value, const char *name);

// x'0D0A' for traces, valid until the next call.
const char *pHEXvalue(const uint8_t *bytes, uint32_t length);

// Copies a text into a slot that owns it. 0, or 19 when there is no memory (reported).
PxStatus SetStrAttribute(char **slot, const char *source, uint32_t length);

// Composes UDDI_ParsingCase from the special characters, bUseGeneralUDDIcase and the character set.
void ComposeParsingCase();

bool is_it_a_number(const char *text);  // every byte a decimal digit; true for an empty text

#endif
