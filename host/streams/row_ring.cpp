// host/streams/row_ring.cpp

#include "host/streams/row_ring.h"

#include <stdexcept>

#include "host/system/futex.h"

namespace fenwire {

namespace {

constexpr int kLookAgainMs = 200;  // a lost peer is noticed after this time at the latest
constexpr size_t kBytesAhead = 1024, kLinesAhead = 3;  // fetched while a row is looked at

}  // namespace

RowRing::RowRing()
    : words_(MakeSharedBlock("fenwire-ring", sizeof(RingWords))),
      bytes_(MakeSharedBlock("fenwire-rows", kBytes), kBytes, 2)
{
}

void WaitForDoorbell(Doorbell &bell, uint32_t seen, int milliseconds)
{
    bell.waiting.store(1, std::memory_order_seq_cst);
    FutexWait(bell.rung, seen, milliseconds);
    bell.waiting.store(0, std::memory_order_relaxed);
}

void RingDoorbell(Doorbell &bell)
{
    bell.rung.fetch_add(1, std::memory_order_seq_cst);
    if (bell.waiting.load(std::memory_order_seq_cst) != 0)
        FutexWake(bell.rung);
}

RingWriter::RingWriter(RowRing &ring, Board &board, InstanceBoard &mine, Doorbell &bell)
    : ring_(ring), board_(board), mine_(mine), bell_(bell)
{
}

void RingWriter::Advance()
{
    published_ = position_;
    ring_.words().written.store(published_, std::memory_order_release);
    TellRows();
    if (published_ - rung_ < kWakeBytes)
        return;
    rung_ = published_;
    RingDoorbell(bell_);
}

// A process may have several rings, whose rows add up. Nobody else writes the sum.
void RingWriter::TellRows()
{
    const uint64_t others = mine_.rows.load(std::memory_order_relaxed) - told_rows_;
    told_rows_ = rows_;
    mine_.rows.store(others + rows_, std::memory_order_release);
}

void RingWriter::TellCounts()
{
    TellRows();
    mine_.counted_bytes.store(counted_bytes_, std::memory_order_release);
}

void RingWriter::Publish()
{
    TellCounts();
    if (position_ == rung_)
        return;
    Advance();
    if (rung_ == position_)
        return;
    rung_ = position_;
    RingDoorbell(bell_);
}

void RingWriter::WaitForRoom(size_t bytes)
{
    RingWords &words = ring_.words();
    Publish();
    for (;;) {
        taken_ = words.taken.load(std::memory_order_acquire);
        if (position_ + bytes - taken_ <= RowRing::kBytes)
            return;
        if (board_.abort.load(std::memory_order_relaxed) != 0) {
            // The instance is called back between two rows: until then it writes for nobody, least of
            // all over rows that a consumer has in work.
            ring_.CutOff();
            taken_ = position_;
            return;
        }
        const uint32_t seen = words.writer_bell.load(std::memory_order_acquire);
        words.writer_waiting.store(1, std::memory_order_seq_cst);
        if (position_ + bytes - words.taken.load(std::memory_order_seq_cst) > RowRing::kBytes)
            FutexWait(words.writer_bell, seen, kLookAgainMs);
        words.writer_waiting.store(0, std::memory_order_relaxed);
    }
}

RowBatch RingReader::Published() const
{
    const uint64_t written = ring_.words().written.load(std::memory_order_acquire);
    const uint64_t available = written - position_;
    if (available > RowRing::kBytes)
        throw std::runtime_error("the row ring of an instance is damaged");
    const uint8_t *start = ring_.At(position_);
    return {start, start + available, 0};
}

RowBatch RingReader::Next(uint32_t columns, size_t most)
{
    const RowBatch published = Published();
    const auto available = static_cast<uint64_t>(published.end - published.start);
    const uint8_t *start = published.start, *end = start;
    const uint32_t head = 8 + 4 * columns;
    const uint64_t limit = available < most ? available : most;
    // The first record goes out whatever its size: it fits into the ring.
    while (static_cast<uint64_t>(end - start) < limit) {
        // Each row's place depends on the one before, and another core has written it: without this every
        // step would wait for a line of that core's cache.
        for (size_t line = 0; line < kLinesAhead; ++line)
            __builtin_prefetch(end + kBytesAhead + line * 64);
        const RowRecord record = {end};
        const uint64_t left = available - static_cast<uint64_t>(end - start);
        const uint64_t bytes = record.bytes();
        if (bytes > left || bytes % 8 != 0 || bytes < uint64_t{head} + record.data_bytes())
            throw std::runtime_error("a row record in an instance's ring is damaged");
        end += bytes;
        ++rows_;
    }
    return {start, end, columns};
}

void RingReader::Release(const RowBatch &batch)
{
    Take(static_cast<size_t>(batch.end - batch.start));
}

void RingReader::Take(size_t bytes)
{
    RingWords &words = ring_.words();
    position_ += bytes;
    // Either this look sees the raised flag, or the writer's second look sees the new position.
    words.taken.store(position_, std::memory_order_seq_cst);
    if (words.writer_waiting.load(std::memory_order_seq_cst) == 0)
        return;
    // Half a ring of room is worth a wake-up; less only when there is nothing more to take.
    const uint64_t pending = words.written.load(std::memory_order_acquire) - position_;
    if (pending > RowRing::kBytes / 2)
        return;
    words.writer_bell.fetch_add(1, std::memory_order_release);
    FutexWake(words.writer_bell);
}

}  // namespace fenwire
