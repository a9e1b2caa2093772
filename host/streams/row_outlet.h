// host/streams/row_outlet.h - where a producer's or source's rows leave its process.
//
// An outlet has one ring, or, when there are more writers than readers, several, which it fills in turns
// by blocks. The order of the rows of one ring is the order in which they were appended.

#ifndef FENWIRE_HOST_STREAMS_ROW_OUTLET_H
#define FENWIRE_HOST_STREAMS_ROW_OUTLET_H

#include <cstddef>
#include <cstdint>

#include "host/streams/row_layout.h"

namespace fenwire {

class RowOutlet {
public:
    virtual ~RowOutlet() = default;

    // Room for a row in the job's row layout (of layout().most_bytes() at most), to be filled before
    // Append, which takes as many of its bytes as the row has. A row that is longer than the job can
    // carry: std::length_error.
    virtual uint8_t *Reserve() = 0;
    virtual void Append(size_t row_bytes) = 0;

    virtual const RowLayout &layout() const = 0;
    virtual uint64_t rows() const = 0;  // appended so far
};

}  // namespace fenwire

#endif
