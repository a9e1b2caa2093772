// attributes/attributes_state.h - the values of the job's attributes.
//
// Written in initiate phase 1 and constant from then on.

#ifndef FENWIRE_ATTRIBUTES_ATTRIBUTES_STATE_H
#define FENWIRE_ATTRIBUTES_ATTRIBUTES_STATE_H

#include <cstdint>

inline constexpr int32_t kNone = -1, kNo = 0, kYes = 1, kOptional = 2, kYesWithoutLog = 3;
inline constexpr uint32_t kMaxPath = 4096;

// A delimiter, quote mark, escape or trim character, in the bytes of the data's character set.
struct SpecialCharValue {
    int32_t length = 0;  // bytes; 0: not set. Negative in a default: converted already
    uint8_t value[100 + 4] = {};
};

// ---- Service ----------------------------------------------------------------------------------
// Writers: attributes/attribute_table.cpp attributes/yes_no.cpp attributes/text_values.cpp
inline int32_t PX_Len = 0;           // length of the value that was read last
inline uint32_t bAttributeSeen = 0;  // the last FW_GetYN found a value of legal length

// ---- Logs -------------------------------------------------------------------------------------
// Writers: attributes/operator_attributes.cpp
inline char OperatorNameText[kMaxPath + 1] = "";  // SYSTEM_OperatorName
inline char PrivateLogName[kMaxPath + 1] = "";    // as given or made up, without the instance

// ---- General attributes -----------------------------------------------------------------------
// Writers: attributes/operator_attributes.cpp rows/write_row.cpp
inline char SG_LatencyOn = 0;  // 'Y': rows of the record error file reach the disk at once
inline int32_t MaxBytesToDump = 4096;
inline uint32_t RowsPerInstanceLimit = 0xFFFFFFFF;  // all ones: no limit
inline uint32_t SkipRows = 0;
inline int32_t bSkipRowsEveryFile = 0;
inline int32_t EndianFlip = 0;
inline int32_t SG_IndicatorData = 0;
inline int32_t bNullColumns = 1;          // an empty delimited field is NULL
inline char SG_CharSetName[32] = "";      // SYSTEM_CharSetId, upper case
inline uint32_t FW_TimeOutSeconds = 0;    // 0: wait for ever
inline uint32_t FIFO_TimeOutSeconds = 0;  // 0: wait for ever

// ---- Attributes of the file set ---------------------------------------------------------------
// Writers: attributes/fileset_attributes.cpp operator/initiate.cpp fileset/build.cpp fileset/scan.cpp
inline char DirectoryPath[kMaxPath + 2] = "";  // as given, then with its closing separator
inline uint32_t bDirectoryPathGiven = 0;
inline int32_t bFileList = 0;
inline int32_t bAllowMultiInstanceRead = 0;
inline int32_t MaxRecordsPerInstance = -1;
inline int32_t bEnableScan = 0;
inline int32_t bArchiveFatal = 1;  // a file that can't be archived ends the job
inline uint32_t Archiving = 0;

// ---- File attributes --------------------------------------------------------------------------
// Writers: attributes/file_attributes.cpp attributes/delimited_attributes.cpp operator/file_info.cpp schema/establish.cpp
inline char FW_FileName[kMaxPath + 1] = "";
inline uint16_t FW_OpenMode = 65535;  // 1 read, 2 write, 3 write-append
inline uint32_t FileFormat = 0;   // 1 TEXT and DELIMITED, 2 BINARY, 3 FORMATTED ... 8 UNFORMATTED
inline char FormatWord[24] = "";  // as given, upper case
inline char OpenModeWord[16] = "";
inline int32_t BufferSize = -1;
inline uint32_t Valid_UTFX = 0;     // ValidUTF8: 0 absent, 1 "UTF8", 2 "UTFX"
inline uint32_t bTruncateUTF8 = 0;  // a column over its length is cut between characters
inline char ReplacementUTF8Char[2] = "";
inline int32_t bAcceptEOFasEOR = 1;
inline int32_t bAppendDelimiter = 0;
inline int32_t bWriteBOM = 0;
inline int32_t SG_AcceptExcessColumns = 0;  // kNo, kYes, kYesWithoutLog
inline int32_t SG_AcceptMissingColumns = 0;
inline int32_t TruncateColumnsOpt = 0;
inline char SG_RowErrFileName[kMaxPath + 1] = "";
inline char SystemLogDirectory[kMaxPath + 1] = "";  // of the temporary record error files
inline int32_t SG_ErrorRowLimit = -1;
inline int32_t RowErrorVerbosity = 0;

// ---- Special characters -----------------------------------------------------------------------
// Writers: attributes/delimited_attributes.cpp attributes/special_chars.cpp attributes/parsing_case.cpp
inline int32_t bQuotedData = 0;  // kNo, kYes, kOptional
inline SpecialCharValue TextDelimiter, EscapeTextCharacter;
inline SpecialCharValue OpenQuoteMark, CloseQuoteMark, EscapeQuoteCharacter;
inline SpecialCharValue TrimLeadingChar, TrimTrailingChar, RowErrFilePrefixChar;
inline int32_t TrimLeadingNchars = 0, TrimTrailingNchars = 0;  // no attribute sets them
inline uint32_t bTrimLeadingBlanks = 0, bTrimTrailingBlanks = 0;
inline uint32_t bUsingDelimiterEscCharacter = 0, bUsingQuoteEscCharacter = 0;
inline uint32_t bUsingSingleByteDelimiter = 0;
inline uint32_t bUsingSingleTrimLeadingChar = 0, bUsingSingleTrimTrailingChar = 0;
inline uint8_t cDelimiter = 0, cEscapeTextCharacter = 0;
inline uint8_t cOpenQuoteMark = 0, cCloseQuoteMark = 0, cEscapeQuoteCharacter = 0;
inline uint8_t cTrimLeadingChar = 0, cTrimTrailingChar = 0;
inline int32_t bUseGeneralUDDIcase = 0;  // every record runs the general scanner
inline int32_t UDDI_ParsingCase = 0;
inline uint32_t bValidateParsingCase = 0;  // the number was composed

// ---- Quote recognition of the text reader -----------------------------------------------------
// Writers: delimited/validate_case.cpp
inline uint32_t bLongOpenQuote = 0;   // the open quote mark is longer than one byte
inline uint32_t bSameQuoteMarks = 0;  // both marks set, with the same bytes

#endif
