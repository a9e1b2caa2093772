// host/streams/row_ring.h - rows from one process to another, through shared memory.
//
// One writer, one reader; see stream_plan.h for who has which. The ring's bytes are mapped twice behind
// each other, so a record never wraps and a batch is one run of bytes. Positions only grow; position modulo
// the size is the place.
//
// The writer keeps its position to itself and publishes it every kPublishBytes; a sleeping reader is
// woken for kWakeBytes only, since waking costs as much as some hundred rows. The writer hands over the
// rest whenever it has nothing to do. A full ring puts the writer to sleep; the reader wakes it once half
// the ring is free. An empty set of rings puts the reader to sleep on its doorbell. Whoever goes
// to sleep raises its flag first, so that no wake-up is lost; sleeps are bounded all the same, and a
// writer's ends when the job is aborted.

#ifndef FENWIRE_HOST_STREAMS_ROW_RING_H
#define FENWIRE_HOST_STREAMS_ROW_RING_H

#include <atomic>
#include <cstdint>

#include "host/streams/board.h"
#include "host/streams/row_record.h"
#include "host/system/shared_memory.h"

namespace fenwire {

struct RingWords {
    alignas(64) std::atomic<uint64_t> written;  // published by the writer
    alignas(64) std::atomic<uint64_t> taken;    // published by the reader
    std::atomic<uint32_t> writer_waiting;
    std::atomic<uint32_t> writer_bell;
    std::atomic<uint32_t> ended;  // nothing comes behind what is written
};

class RowRing {
public:
    static constexpr size_t kBytes = 4 << 20;
    // Half the ring: so a record always fits once the reader has caught up.
    static constexpr size_t kMaxRecordBytes = kBytes / 2;
    RowRing();
    RingWords &words() const { return *reinterpret_cast<RingWords *>(words_.data()); }
    // The reader sees nothing of what this process writes from now on.
    void CutOff()
    {
        words_.CutOff();
        bytes_.CutOff();
    }
    uint8_t *At(uint64_t position) const { return bytes_.data() + position % kBytes; }

private:
    Mapping words_, bytes_;
};

class RingWriter {
public:
    // mine: of the process that writes; bell: of the receiver.
    RingWriter(RowRing &ring, Board &board, InstanceBoard &mine, Doorbell &bell);

    // Room for a record of that many bytes (a multiple of 8, at most kMaxRecordBytes), to be filled
    // before Append. Once the job is aborted what is written goes nowhere.
    uint8_t *Reserve(size_t bytes)
    {
        if (position_ + bytes - taken_ > RowRing::kBytes) [[unlikely]]
            WaitForRoom(bytes);
        return ring_.At(position_);
    }

    void Append(size_t bytes)
    {
        position_ += bytes;
        ++rows_;
        if (position_ - published_ >= kPublishBytes) [[unlikely]]
            Advance();
    }

    // A row that is not carried, because the target only counts.
    void Count(uint64_t bytes)
    {
        counted_bytes_ += bytes;
        if ((++rows_ & (kTellRows - 1)) == 0) [[unlikely]]
            TellCounts();
    }

    void Publish();  // everything appended becomes visible, and the receiver sees to it
    uint64_t rows() const { return rows_; }
    uint64_t position() const { return position_; }
    uint64_t Backlog() const  // bytes that the receiver has not taken
    {
        return position_ - ring_.words().taken.load(std::memory_order_relaxed);
    }

private:
    static constexpr uint64_t kPublishBytes = 64 << 10;
    static constexpr uint64_t kWakeBytes = 512 << 10;
    static constexpr uint64_t kTellRows = 1 << 16;
    void Advance();
    void TellRows();
    void TellCounts();
    void WaitForRoom(size_t bytes);
    RowRing &ring_;
    Board &board_;
    InstanceBoard &mine_;
    Doorbell &bell_;
    uint64_t position_ = 0, published_ = 0, rung_ = 0, taken_ = 0, rows_ = 0;
    uint64_t told_rows_ = 0, counted_bytes_ = 0;
};

class RingReader {
public:
    explicit RingReader(RowRing &ring) : ring_(ring) {}

    // What is there, at most about most bytes, in whole records; empty when nothing is. The records
    // are checked: a size that can't be throws std::runtime_error.
    RowBatch Next(uint32_t columns, size_t most);
    void Release(const RowBatch &batch);     // its bytes may be written again
    uint64_t rows() const { return rows_; }  // in all batches so far

    // Another way to read: what was published and not taken, unchecked; then how much of it was taken.
    RowBatch Published() const;
    void Take(size_t bytes);

    // Whether nothing comes behind what is written. Ask before the look that finds nothing.
    bool Ended() const { return ring_.words().ended.load(std::memory_order_acquire) != 0; }

private:
    RowRing &ring_;
    uint64_t position_ = 0, rows_ = 0;
};

}  // namespace fenwire

#endif
