// host/streams/row_inlet.cpp

#include "host/streams/row_inlet.h"

#include <fmt/format.h>
#include <stdexcept>

namespace fenwire {

namespace {

constexpr size_t kBatchBytes = 256 << 10;  // small enough to be in the cache still
constexpr uint32_t kNoLengths = 0;  // rows in the job's layout have no lengths in their records

}  // namespace

RowInlet::RowInlet(const Job &job, Board &board, std::vector<RowRing> &rings, int receiver)
    : layout_(job.columns), board_(board), mine_(board.Receiver(receiver)),
      bell_(board.BellOf(receiver)), indicators_(job.columns.size()), offsets_(job.columns.size()),
      lengths_(job.columns.size())
{
    const StreamPlan plan = {job.readers(), job.writers()};
    for (const int ring : plan.RingsOfReceiver(receiver))
        readers_.emplace_back(rings[static_cast<size_t>(ring)]);
}

// The rings are looked at in turns, so that none waits for another to run dry.
bool RowInlet::NextBatch()
{
    if (batch_.start != batch_.end)
        readers_[of_].Release(batch_);
    batch_ = {};
    at_ = nullptr;
    TellCounts();
    seen_ = bell_.rung.load(std::memory_order_seq_cst);
    bool all_ended = true;
    for (size_t i = 0; i < readers_.size(); ++i) {
        const size_t ring = (turn_ + i) % readers_.size();
        const bool ended = readers_[ring].Ended();
        batch_ = readers_[ring].Next(kNoLengths, kBatchBytes);
        if (batch_.start != batch_.end) {
            at_ = batch_.start;
            of_ = ring;
            turn_ = ring + 1;
            return true;
        }
        at_ = batch_.end;
        all_ended = all_ended && ended;
    }
    ended_ = all_ended;
    return ended_;
}

void RowInlet::Wait(int milliseconds) { WaitForDoorbell(bell_, seen_, milliseconds); }

void RowInlet::TellCounts() { mine_.rows.store(rows_, std::memory_order_release); }

void RowInlet::Damaged(uint32_t column) const
{
    throw std::runtime_error(fmt::format(
        "row {} of the stream does not fit the job's columns: {}", rows_ + 1,
        column > layout_.columns() ? "bytes are left over"
                                   : fmt::format("column {} ends outside of it", column)));
}

RowInlet::Result RowInlet::Next(InletRow &row)
{
    uint32_t bad = 0;
    if (!Ready())
        return Result::NotYet;
    if (at_ == batch_.end)
        return Result::End;
    const RowRecord record = {at_};
    const uint8_t *bytes = record.data(kNoLengths);
    if (!layout_.Walk(bytes, record.data_bytes(), indicators_.data(), offsets_.data(),
                      lengths_.data(), &bad)) [[unlikely]]
        Damaged(bad);
    row = {bytes, record.data_bytes(), indicators_.data(), offsets_.data(), lengths_.data()};
    at_ += record.bytes();
    ++rows_;
    return Result::Row;
}

}  // namespace fenwire
