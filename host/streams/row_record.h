// host/streams/row_record.h - a row on its way from one process to another.
//
//     u32 bytes        of the whole record, a multiple of 8
//     u32 data_bytes   of the columns together
//     u32 length[n]    of each column; kNullColumn for NULL (and no bytes)
//     data             the columns in order, without gaps
//     padding          up to bytes
//
// n, the number of columns, is the job's and stands in no record. Little-endian, 8-byte aligned. On the
// way to a consumer a record has no lengths (n is 0), and its data is a row in the job's row layout
// (row_layout.h).

#ifndef FENWIRE_HOST_STREAMS_ROW_RECORD_H
#define FENWIRE_HOST_STREAMS_ROW_RECORD_H

#include <cstdint>
#include <cstring>
#include <string_view>

namespace fenwire {

inline constexpr uint32_t kNullColumn = 0xFFFFFFFF;
inline constexpr size_t kRecordHead =
    8;  // bytes before the lengths, or before the data where there are none

struct RowRecord {
    const uint8_t *start;

    uint32_t bytes() const { return Word(0); }
    uint32_t data_bytes() const { return Word(1); }
    uint32_t length(uint32_t column) const { return Word(2 + column); }
    const uint8_t *data(uint32_t columns) const { return start + 4 * (2 + columns); }

private:
    uint32_t Word(uint32_t i) const
    {
        uint32_t word;
        memcpy(&word, start + 4 * i, sizeof word);
        return word;
    }
};

// A run of records, one behind the other.
struct RowBatch {
    const uint8_t *start = nullptr;
    const uint8_t *end = nullptr;
    uint32_t columns = 0;

    // row(const RowRecord &) for each record, in order.
    template <class Row>
    void ForEach(Row &&row) const
    {
        for (const uint8_t *at = start; at < end; at += RowRecord{at}.bytes())
            row(RowRecord{at});
    }
};

}  // namespace fenwire

#endif
