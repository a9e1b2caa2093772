// delimited/scan_state.h - where the scan of one record stands.
//
// Escapes and doubled quotes are taken out of the record in place. The record is read at the cursor
// and lies compacted up to cursor - gap, where gap counts the bytes taken out so far:
//
//     begin ...... settled - gap | (stale) | settled ...... cursor ...... end
//     compacted                            to be moved down by gap        not read yet
//
// A stretch of data is moved once, when the next escape behind it is taken out or when somebody has
// to look at it (Settle). A record without escapes is never moved. Before the first byte is taken out,
// the record is copied (raw_record.h).

#ifndef FENWIRE_DELIMITED_SCAN_STATE_H
#define FENWIRE_DELIMITED_SCAN_STATE_H

#include <cstdint>
#include <cstring>

#include "delimited/raw_record.h"
#include "delimited/verdict.h"

// The schema's arrays, so that a store into one of them doesn't make the compiler read all of the
// others' addresses again.
struct ColumnArrays {
    int32_t count;
    uint32_t *offsets, *lengths, *lengths_orig;
    const uint32_t *lengths_base;
    uint8_t *indicators;
    bool empty_is_null;  // bNullColumns
};

struct ScanState {
    uint8_t *begin, *cursor, *end;
    uint8_t *settled;
    uint32_t gap = 0;
    uint32_t offset = 0;          // of the open field, in the compacted record
    uint32_t opening = 0;         // bytes of its open quote mark, which stand before the data
    bool quoted = false;          // the open column is quoted; an empty one is no NULL then
    bool unclosed = false;        // the record ended inside quotes
    bool excess_ignored = false;  // it went on behind the last column, which is not in column

    int32_t column = 0;           // columns closed so far, excess ones too
    int32_t overflow_column = 0;  // the first one that was too long; 0: none
    int32_t wide_column = 0;      // the first one with a four-byte character; 0: none
    Verdict verdict = RowComplete;

    // Characters of the open column, when somebody may ask for them (characters.h).
    bool counting = false;    // a trim or a truncation may ask
    bool special = false;     // not every character is what CharLengthFn makes of its bytes
    uint32_t characters = 0;  // entries in CharacterLength
    uint32_t entered = 0;     // lazily: bytes of the column that the entries stand for

    ColumnArrays columns;
};

// Bytes of data in the open field.
inline uint32_t FieldLength(const ScanState &s)
{
    return static_cast<uint32_t>(s.cursor - s.begin) - s.gap - s.offset - s.opening;
}

// Begins a field at the cursor.
inline void OpenField(ScanState &s)
{
    s.offset = static_cast<uint32_t>(s.cursor - s.begin) - s.gap;
    s.opening = 0;
    s.quoted = false;
    s.special = false;
    s.characters = s.entered = 0;
}

// Moves what was read up to a place to where it belongs in the compacted record.
inline void Settle(ScanState &s, uint8_t *upto)
{
    if (s.gap == 0 || upto <= s.settled)
        return;
    memmove(s.settled - s.gap, s.settled, static_cast<size_t>(upto - s.settled));
    s.settled = upto;
}

// Takes the bytes at the cursor out of the record.
inline void TakeOut(ScanState &s, uint32_t bytes)
{
    if (s.gap == 0)
        KeepRawRecord();
    Settle(s, s.cursor);
    s.cursor += bytes;
    s.settled = s.cursor;
    s.gap += bytes;
}

inline bool Stop(ScanState &s, Verdict verdict)
{
    s.verdict = verdict;
    return false;
}

#endif
