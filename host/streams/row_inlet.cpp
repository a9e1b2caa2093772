// host/streams/row_inlet.cpp

#include "host/streams/row_inlet.h"

#include <fmt/format.h>
#include <stdexcept>

namespace fenwire {

namespace {

constexpr ptrdiff_t kGiveBackBytes = 256 << 10;
constexpr uint32_t kNoLengths = 0;  // rows in the job's layout have no lengths in their records

}  // namespace

RowInlet::RowInlet(const Job &job, Board &board, std::vector<RowRing> &rings, int receiver)
    : layout_(job.columns), mine_(board.Receiver(receiver)), bell_(board.BellOf(receiver)),
      indicators_(job.columns.size()), offsets_(job.columns.size()), lengths_(job.columns.size())
{
    const StreamPlan plan = {job.readers(), job.writers()};
    for (const int ring : plan.RingsOfReceiver(receiver))
        readers_.emplace_back(rings[static_cast<size_t>(ring)]);
}

// Their bytes may be written again.
void RowInlet::GiveBack()
{
    readers_[ring_].Take(static_cast<size_t>(at_ - kept_));
    kept_ = at_;
    TellCounts();
}

// The rings are looked at in turns, so that none waits for another to run dry. The doorbell and the ends
// are looked at first: what comes behind that look rings, or was there already.
bool RowInlet::NextRing()
{
    if (at_ != kept_)
        GiveBack();
    seen_ = bell_.rung.load(std::memory_order_seq_cst);
    bool all_ended = true;
    for (size_t i = 1; i <= readers_.size(); ++i) {
        const size_t ring = (ring_ + i) % readers_.size();
        const bool ended = readers_[ring].Ended();
        const RowBatch rows = readers_[ring].Published();
        if (rows.start != rows.end) {
            ring_ = ring;
            kept_ = at_ = rows.start;
            end_ = rows.end;
            return true;
        }
        all_ended = all_ended && ended;
    }
    return all_ended;
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

// Hot.
RowInlet::Result RowInlet::Next(InletRow &row)
{
    uint32_t bad = 0;
    if (!Ready())
        return Result::NotYet;
    if (at_ == end_)
        return Result::End;
    if (at_ - kept_ >= kGiveBackBytes) [[unlikely]]
        GiveBack();
    const RowRecord record = {at_};
    const size_t left = static_cast<size_t>(end_ - at_), size = record.bytes();
    const uint32_t bytes = record.data_bytes();
    if (size > left || size % 8 != 0 || size < kRecordHead + bytes) [[unlikely]]
        throw std::runtime_error("a row record in the ring of a consumer is damaged");
    const uint8_t *start = record.data(kNoLengths);
    if (!layout_.Walk(start, bytes, indicators_.data(), offsets_.data(), lengths_.data(), &bad))
        [[unlikely]]
        Damaged(bad);
    row = {start, bytes, indicators_.data(), offsets_.data(), lengths_.data()};
    at_ += size;
    ++rows_;
    return Result::Row;
}

}  // namespace fenwire
