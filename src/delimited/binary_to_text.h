// delimited/binary_to_text.h - binary values of a row as text, for delimited records.

#ifndef FENWIRE_DELIMITED_BINARY_TO_TEXT_H
#define FENWIRE_DELIMITED_BINARY_TO_TEXT_H

#include <cstdint>

#include "convert/number.h"

// One for each column, when ConvertDelimitedData is set. 308 bytes.
struct DelimitedConvertRec {
    uint32_t length;   // bytes of text, of the current row
    uint32_t convert;  // 1: the text stands in place of the column's value
    char text[300];    // zero-terminated
};

// Writers: delimited/binary_to_text.cpp
inline DelimitedConvertRec *ConvertRecs = nullptr;  // null: no column of the schema is converted
inline NumberValue ConvertNumber;  // what NUMBER and long DECIMAL values are read into

// Makes the records for the schema and flags their columns. 0; 4: no memory, which is traced.
int32_t PrepareConversion();
void FreeConversion();  // may be called again

// Converts the flagged columns of a row whose indicator is 0; columns is at most SG_ColCount. Answers by
// how many bytes the texts together are longer than the values, which may be below 0. A value shorter
// than its type asks for gets an empty text.
int64_t BinaryToText(int32_t columns, const uint8_t *row, const uint32_t *offsets,
                     const uint8_t *indicators, const uint32_t *lengths);

#endif
