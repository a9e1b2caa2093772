// host/streams/board.h - the words that all processes of a job see at any time.
//
// The coordinator makes the board before it forks. Counters are written by one process each and read by
// the coordinator for the progress display. Those of rows are the count itself only for a target that has
// the rows counted where they are read: an instance writes them before it answers that it is done.

#ifndef FENWIRE_HOST_STREAMS_BOARD_H
#define FENWIRE_HOST_STREAMS_BOARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace fenwire {

enum class InstanceState : uint32_t { Starting, Loading, Waiting, Finished, Failed };

struct alignas(64) InstanceBoard {
    std::atomic<uint64_t> rows;           // handed over, published in steps
    std::atomic<uint64_t> counted_bytes;  // of rows that were only counted
    std::atomic<InstanceState> state;     // for people
};

struct alignas(64) Board {
    std::atomic<uint32_t> stop;                  // instances: come back between two calls
    std::atomic<uint32_t> abort;                 // everybody: the job has failed, wait for nobody
    std::atomic<uint32_t> variables_generation;  // a global variable or block went away
    alignas(64) std::atomic<uint32_t> doorbell;  // rung for the target: rows, or a message
    std::atomic<uint32_t> target_waiting;        // the target sleeps on the doorbell

    // The instances' parts lie behind the board.
    static size_t Bytes(int instances)
    {
        return sizeof(Board) + sizeof(InstanceBoard) * static_cast<size_t>(instances);
    }
    InstanceBoard &Of(int instance)
    {
        return reinterpret_cast<InstanceBoard *>(this + 1)[instance - 1];
    }
};

}  // namespace fenwire

#endif
