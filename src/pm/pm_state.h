// pm/pm_state.h - what the access layer shares with the layers above it.

#ifndef FENWIRE_PM_PM_STATE_H
#define FENWIRE_PM_PM_STATE_H

#include <cstdint>

#include "pm/pm.h"

// ---- Handles ----------------------------------------------------------------------------------
// Writers: operator/access.cpp operator/end_of_file.cpp operator/terminate.cpp
inline pmToken pmHandle = 0;  // the attached module
inline pmToken pmfp = 0;      // the current data file
inline uint32_t bIOviaAccessModule = 0;
inline uint32_t bTakeAMcheckpoint = 1;

// ---- Record error file ------------------------------------------------------------------------
// Writers: delimited/record_error_setup.cpp delimited/record_error_merge.cpp
inline pmToken pmHandleErrors = 0;  // the module that serves it, apart from the data's
inline pmToken SG_pmFpErrors = 0;   // this instance's file; 0: none in use

// ---- Current record ---------------------------------------------------------------------------
// Writers: rows/write_row.cpp rows/read_row.cpp rows/verdicts.cpp rows/date_columns.cpp delimited/extract.cpp delimited/trim_blanks.cpp delimited/raw_record.cpp delimited/create.cpp
inline pmRecord pmBuffer = {};
inline pmRecord pmBufferOrig = {};  // the same as it was read, whatever the scan did to it

// ---- Character set ----------------------------------------------------------------------------
// Writers: pm/char_sets.cpp pm/char_lengths.cpp pm/utf8_validation.cpp delimited/characters.cpp pm/formats/text_discovery.cpp
// A character-length function stores the bytes of the character and answers 1; it answers 0 when the
// byte stands alone. It may read three bytes beyond the first.
using CharLengthRoutine = int32_t (*)(const uint8_t *at, uint32_t *bytes);
enum : int32_t { kFamilyOrdinary = 0, kFamilyUtf16 = 2, kFamilyUtf8 = 3 };
int32_t CharLengthSingleByte(const uint8_t *at, uint32_t *bytes);
inline CharLengthRoutine CharLengthFn = CharLengthSingleByte;
inline int32_t CharSetFamily = kFamilyOrdinary;
inline uint32_t UsingSingleByteCharSet = 1;
inline uint32_t bUnsupportedCharacterSet = 0;
enum : uint32_t { kBigEndian = 1, kLittleEndian = 2 };
inline uint32_t DataEndian = kLittleEndian;  // of UTF-16 data; files in the other order are refused
inline char SG_CharsetName[32] = "";  // as established; the attribute's text is SG_CharSetName
inline uint8_t badmbcs = 0;           // set by a length function: the character is malformed
inline uint8_t fourByteUTF = 0;       // set by the UTF-16 function: a surrogate pair
inline int32_t OptMBCerr = 1;         // 0 would switch the length functions off; nothing clears it

// ---- Replacement of malformed UTF-8 -----------------------------------------------------------
// Writers: pm/utf8_validation.cpp
inline uint8_t UTF8Replacement[4] = {0xE2, 0x96, 0xA1};
inline uint32_t UTF8ReplacementLength = 3;
inline uint32_t ByteFixTable[128] =
    {};  // bytes 0x80 to 0xFF of Windows-1252 as UTF-8, first byte lowest

#endif
