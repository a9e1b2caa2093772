// host/streams/ring_outlet.h - the rings of one sender as an outlet of rows.
//
// What goes into the rings depends on the receiver: row records for a target, rows in the job's layout for
// consumers, nothing but counts for a target that only counts.

#ifndef FENWIRE_HOST_STREAMS_RING_OUTLET_H
#define FENWIRE_HOST_STREAMS_RING_OUTLET_H

#include <vector>

#include "host/streams/row_outlet.h"
#include "host/streams/row_ring.h"
#include "host/streams/stream_plan.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

enum class RowForm : uint8_t { Records, Layout, CountsOnly };
RowForm FormOfRows(const Job &job);

class RingOutlet final : public RowOutlet {
public:
    RingOutlet(const Job &job, Board &board, std::vector<RowRing> &rings, int sender);

    uint8_t *Reserve() override;
    void Append(size_t row_bytes) override;
    const RowLayout &layout() const override { return layout_; }
    uint64_t rows() const override;

    RowForm form() const { return form_; }
    RingWriter &writer() { return *current_; }  // takes the next row
    void Publish();

    // A row in the job's layout. 0; 29: it is longer than a ring takes, or not of the layout.
    PxStatus PutLayout(const uint8_t *row, size_t bytes);

    // A row of columns that lie anywhere, for consumers. 0; 29: a column has not the length that its type
    // wants, or lies outside of the row.
    PxStatus PutColumns(const uint8_t *indicators, const uint32_t *offsets, const uint32_t *lengths,
                        const uint8_t *row, uint64_t size);

private:
    static constexpr uint64_t kTurnBytes = 128 << 10;
    static constexpr size_t kMostInPlace = 64 << 10;
    void TakeTurns();
    void MakeRecord(const uint8_t *row, size_t bytes);
    void AppendToRing(size_t row_bytes);

    const RowForm form_;
    const RowLayout layout_;
    std::vector<RingWriter> writers_;
    RingWriter *current_ = nullptr;
    uint64_t turn_began_ = 0;
    std::vector<uint8_t> row_;  // of a source, where it can't be built in the ring
    std::vector<uint8_t> indicators_;
    std::vector<uint32_t> offsets_, lengths_;
};

}  // namespace fenwire

#endif
