// pm/index/record_index.h - records of a block found and cut in one pass, before they are asked for.
//
// A window is a stretch of a file's I/O buffer that begins with a record. One pass over it (a kernel,
// by vectors of the machine at hand) marks the bytes that matter and leaves, for every record that lies
// whole in the window:
//
//     record_end      where its end-of-record mark begins
//     field_end       where each of its fields ends in packed, kQuotedField added for one in quotes
//     packed          the data of all fields without delimiters, marks and quotes: rows, back to back
//
// A second pass makes rows of these: offsets, lengths and NULL indicators, ready to be handed over. The
// I/O buffer itself is not changed. A window that can't prove that the literal reader and scanner would
// find the same leaves the record to them:
//
//     broken window   a quote mark that neither opens a field nor follows a closing one, a closing one
//                     that no delimiter, record end or quote mark follows, the quote escape anywhere:
//                     quotes can't be told by parity any more, the window ends before that record
//     odd record      another count of fields than columns, a field that is too long, a delimiter
//                     escape, a byte of a multi-byte character where the set needs care, an unquoted
//                     field where quotes are required: the record's end is good, the scanner cuts it
//
// The window dies with the next refill, and whenever the file's position is not where it left it.

#ifndef FENWIRE_PM_INDEX_RECORD_INDEX_H
#define FENWIRE_PM_INDEX_RECORD_INDEX_H

#include <cstdint>

#include "pm/pm_file.h"

// The job's marks, as the kernels look for them. All of them are different bytes.
struct IndexMarks {
    uint8_t delimiter;
    uint8_t quote;             // opens and closes; meaningless without quotes
    uint8_t escapes[2];        // of delimiter and quote mark; the delimiter where there is none
    bool quotes;               // a delimiter or record end inside of quotes is data
    bool only_quoted;          // a field that is not empty must be quoted
    bool escape;               // escapes[0] makes its record odd
    bool quote_escape;         // escapes[1] breaks a window
    bool high_is_odd;          // a byte from 0x80 on makes its record odd
    bool empty_is_null;        // an empty field without quotes is NULL
    int32_t columns;           // of a row; 0: no window is ever built
    const uint32_t *maximums;  // bytes of each column, 0 for none
};

inline constexpr uint32_t kWordBytes = 64;  // what a kernel looks at in one step
inline constexpr uint32_t kWindowLimit = 32 << 10;
inline constexpr uint32_t kFieldLimit = 4 << 10;  // of a window; a word may go beyond it
inline constexpr uint32_t kQuotedField = 1U << 31;

// What a kernel is given and what it leaves. Every array has a vector of slack behind its last entry;
// record_fields and field_end have one before their first, which is 0.
struct IndexWork {
    const uint8_t *data;  // readable for a word behind length
    uint32_t length;
    uint8_t eor[2];  // the file's end-of-record mark, twice the same byte when it has one
    bool eor_of_two;
    const IndexMarks *marks;
    const uint32_t *limits;  // marks->maximums with 0 replaced, and slack

    uint32_t *record_end;     // from data
    uint32_t *record_fields;  // fields up to the record's end, of the whole window
    uint32_t *field_end;
    uint32_t *odd;  // offsets of bytes that make their record odd
    uint8_t *packed;
    uint32_t *offsets, *lengths;
    uint8_t *indicators;
    uint8_t *regular;  // of each record: its row is what the scanner would make of it; 0: odd

    uint32_t records, fields, odds;
};

// A record's row.
struct ReadyRow {
    uint32_t first;   // its first field, in offsets, lengths and indicators
    uint32_t packed;  // where it begins
    uint32_t length;  // bytes
};

inline ReadyRow RowOf(const IndexWork &work, uint32_t record)
{
    const uint32_t first = (work.record_fields + record)[-1], behind = work.record_fields[record];
    const uint32_t packed = (work.field_end + first)[-1] & ~kQuotedField;
    return {first, packed, ((work.field_end + behind)[-1] & ~kQuotedField) - packed};
}

// Both fill IndexWork up to the records' rows: all vectors of the machine, or byte by byte.
void BuildIndexByVectors(IndexWork &work);
void BuildIndexByBytes(IndexWork &work);

// The window at hand.
struct RecordIndex {
    pmFile *file = nullptr;  // null: no window
    uint32_t base = 0;       // of the window in the file's buffer
    uint32_t position = 0;   // in the buffer, of the record behind the settled ones
    uint32_t next = 0;       // record to be served
    uint32_t settled = 0;    // next, as the file's position and count know it
    uint32_t served = 0;     // 1: the record that pmRead served last is next - 1
    uint32_t pause = 0;      // records before the next attempt, after one that was in vain
    IndexWork work = {};
};

// The job's marks, before the first record; columns 0 turns the index off. False: no memory.
bool SetIndexMarks(const IndexMarks &marks);
void FreeIndex();

// Whether the record at the file's position lies in a window, which is built if there is none. length:
// of the record.
bool FindIndexed(pmFile *file, uint32_t *length);

#endif
