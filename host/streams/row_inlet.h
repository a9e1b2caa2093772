// host/streams/row_inlet.h - where a consumer's rows come in: the rings of one receiver.

#ifndef FENWIRE_HOST_STREAMS_ROW_INLET_H
#define FENWIRE_HOST_STREAMS_ROW_INLET_H

#include <vector>

#include "host/streams/row_layout.h"
#include "host/streams/row_ring.h"
#include "host/streams/stream_plan.h"

namespace fenwire {

// A row as it lies in the ring, until the next call.
struct InletRow {
    const uint8_t *bytes = nullptr;
    uint32_t size = 0;
    const uint8_t *indicators = nullptr;  // by column, 0 or 1
    const uint32_t *offsets = nullptr, *lengths = nullptr;
};

class RowInlet {
public:
    RowInlet(const Job &job, Board &board, std::vector<RowRing> &rings, int receiver);

    // Whether a row, or the end of all rows, is at hand. What was handed out is gone.
    bool Ready() { return at_ != end_ || NextRing(); }

    // Sleeps until Ready may say otherwise, at most so long.
    void Wait(int milliseconds);

    enum class Result : uint8_t { Row, End, NotYet };
    // Rows are checked against the layout: one that does not fit throws std::runtime_error.
    Result Next(InletRow &row);
    uint64_t rows() const { return rows_; }
    void TellCounts();  // to the board
    uint32_t columns() const { return layout_.columns(); }

private:
    bool NextRing();
    void GiveBack();
    [[noreturn]] void Damaged(uint32_t column) const;

    const RowLayout layout_;
    InstanceBoard &mine_;
    Doorbell &bell_;
    std::vector<RingReader> readers_;
    size_t ring_ = 0;  // that rows are taken from; the next one is looked at first
    const uint8_t *kept_ = nullptr, *at_ = nullptr,
                  *end_ = nullptr;  // not given back, next, behind all
    uint32_t seen_ = 0;             // the doorbell before the last look
    uint64_t rows_ = 0;
    std::vector<uint8_t> indicators_;
    std::vector<uint32_t> offsets_, lengths_;
};

}  // namespace fenwire

#endif
