// delimited/delimited.h - the delimited-text engine as the row path sees it.

#ifndef FENWIRE_DELIMITED_DELIMITED_H
#define FENWIRE_DELIMITED_DELIMITED_H

#include <cstdint>

// Checks UDDI_ParsingCase and sizes the work buffers for the schema. 0; 4: no memory; 7: refused.
int32_t ValidateUDDIcase();

// Cuts the record in pmBuffer into columns and packs them into a row. Answers a Verdict; on 0 pmBuffer
// and the column arrays describe the row, else ExtractErrMsg says what is wrong.
int32_t ExtractDelimitedText();

void FreeDelimitedBuffers();  // may be called again

// Trims the columns of the record in pmBuffer in place, by bTrimLeadingBlanks and bTrimTrailingBlanks
// and their characters. The scanners trim by themselves; this is for callers that scan no columns.
void TrimBlanks();

#endif
