// delimited/delimited_state.h - what the column scan works with and what it leaves for the row path.

#ifndef FENWIRE_DELIMITED_DELIMITED_STATE_H
#define FENWIRE_DELIMITED_DELIMITED_STATE_H

#include <cstddef>
#include <cstdint>

#include "pm/pm.h"

inline constexpr char UDDI_FeatureName[] = "UDDI";
inline constexpr uint32_t kMaxColumnBytes = 0x10000;  // of any column, whatever the schema says

// A delimiter, quote mark or escape as the scanners compare it. The bytes lie in its setting.
struct MarkText {
    const uint8_t *bytes = nullptr;
    uint32_t length = 0;  // 0: not set
    uint8_t first = 0;    // bytes[0]; decides nearly every comparison
};

struct ScannerView {
    MarkText delimiter, escape, open_quote, close_quote, quote_escape, trim_leading, trim_trailing;
};

struct ScanState;
using ScanRoutine = void (*)(ScanState &);

// How a row is put down as a record (outgoing_row.h).
struct OutgoingRow;
struct WrittenRecord;
using RowWriter = WrittenRecord (*)(const OutgoingRow &, uint8_t *);

// Which records may take the fast twin of a scanner that walks characters.
enum class FastRoad : uint8_t { Never, Always, AsciiRecords };

// ---- Outcome of a record ----------------------------------------------------------------------
// Writers: delimited/extract.cpp delimited/verdict.cpp delimited/raw_record.cpp rows/date_columns.cpp operator/file_info.cpp
inline uint32_t bUnclosedQuote = 0;  // the record ended inside quotes
inline uint32_t bExcessIgnored = 0;  // it went on behind the last column, which nobody counted
inline uint32_t bScanStopped = 0;    // the scan ended before the record did
inline uint32_t bUsingUDDI = 0;  // the parsing case was validated; extraction refuses to run before
inline int32_t ActualColumnCount = 0;  // columns found in the record
inline int32_t VerdictColumn = 0;      // the column at fault, from 1; 0: no single one
inline char ExtractErrMsg[4096] = "";  // the verdict in words

// ---- Bad records ------------------------------------------------------------------------------
// Writers: delimited/record_error_setup.cpp delimited/record_error_write.cpp delimited/record_error_merge.cpp
inline int32_t SG_ContinueOnRowError = 0;  // 0 no file; 1 bad records are left out; 2 limit reached
inline uint32_t bErrorsTostderr = 0;       // bad records go to standard error; nothing sets it
inline uint64_t ErrorFileLines = 0;        // records written to the named file, remarks included

// ---- Settled when the parsing case is validated -----------------------------------------------
// Writers: delimited/validate_case.cpp
inline ScannerView Marks;
inline ScanRoutine ExactScanner = nullptr;  // walks as the parsing case says
inline ScanRoutine FastScanner = nullptr;   // its twin that looks at marks only; null: none
inline FastRoad FastScannerFor = FastRoad::Never;
inline uint8_t *TargetBuffer = nullptr;  // the packed row
inline size_t TargetBufferSize = 0;      // without the slack behind it

// ---- Copy of a record that the scan changes ------------------------------------------------------
// Writers: delimited/raw_record.cpp
inline uint8_t *RawCopy = nullptr;
inline size_t RawCopySize = 0;

// ---- A record that is written ------------------------------------------------------------------
// Writers: delimited/create.cpp
inline RowWriter FastWriter = nullptr;  // null: there is none
inline uint8_t *CreatedText = nullptr;
inline uint64_t CreatedTextSize = 0;  // without the slack behind it

// ---- What a written file has lost ---------------------------------------------------------------
// Writers: delimited/create.cpp rows/changed_rows.cpp
struct WrittenRows {
    uint64_t records = 0;         // that have bytes
    uint64_t without_record = 0;  // rows that left no byte
    uint64_t not_read_back = 0;   // records that are read as another row than was written
    uint64_t first_without_record = 0, first_not_read_back = 0;  // from 1
};
inline WrittenRows FileRowsWritten;  // of the current file

// ---- Character lengths of the open column -----------------------------------------------------
// Writers: delimited/characters.cpp
inline uint32_t *CharacterLength = nullptr;  // bytes of each character, in order
inline uint32_t CharacterLengthSize = 0;     // entries that there is room for

// ---- Version ----------------------------------------------------------------------------------
// Writers:
inline pmVersion fwuddiVersion = {"FWUDDI", "16.10.00.09", nullptr};

#endif
