// host/streams/board.h - the words that all processes of a job see at any time.
//
// The coordinator makes the board before it forks. Rows go from senders (producer instances, or parts of a
// source) to receivers (the target, or consumer instances). Counters are written by one process each and
// read by the coordinator for the progress display. Those of rows are the count itself only for a target
// that has the rows counted where they are read: an instance writes them before it answers that it is done.

#ifndef FENWIRE_HOST_STREAMS_BOARD_H
#define FENWIRE_HOST_STREAMS_BOARD_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace fenwire {

enum class InstanceState : uint32_t { Starting, Loading, Waiting, Finished, Failed };

struct alignas(64) InstanceBoard {
    std::atomic<uint64_t> rows;           // sent or received, published in steps
    std::atomic<uint64_t> counted_bytes;  // of rows that were only counted
    std::atomic<InstanceState> state;     // for people
};

// Rung for one receiver: rows, their end, or a message.
struct alignas(64) Doorbell {
    std::atomic<uint32_t> rung;
    std::atomic<uint32_t> waiting;  // the receiver sleeps on it
};

// Bits of Board::stop: who is to come back from execute between two calls.
enum Stop : uint32_t {
    kStopAll = 1,        // everybody: the job has failed
    kStopSenders = 2,    // a checkpoint is due
    kStopReceivers = 4,  // consumers, once no row is at hand any more
};

struct alignas(64) Board {
    std::atomic<uint32_t> stop;                  // bits of Stop
    std::atomic<uint32_t> abort;                 // everybody: the job has failed, wait for nobody
    std::atomic<uint32_t> variables_generation;  // a global variable or block went away
    uint32_t senders, receivers;                 // set once, by the coordinator

    // Senders, receivers and doorbells lie behind the board.
    static size_t Bytes(int senders, int receivers)
    {
        return sizeof(Board) + sizeof(InstanceBoard) * static_cast<size_t>(senders + receivers) +
               sizeof(Doorbell) * static_cast<size_t>(receivers);
    }
    static Board &Make(void *zeroed, int senders, int receivers)
    {
        Board &board = *static_cast<Board *>(zeroed);
        board.senders = static_cast<uint32_t>(senders);
        board.receivers = static_cast<uint32_t>(receivers);
        return board;
    }
    // All count from 1.
    InstanceBoard &Sender(int instance) { return Instances()[instance - 1]; }
    InstanceBoard &Receiver(int instance)
    {
        return Instances()[static_cast<int>(senders) + instance - 1];
    }
    Doorbell &BellOf(int receiver)
    {
        return reinterpret_cast<Doorbell *>(Instances() + senders + receivers)[receiver - 1];
    }

private:
    InstanceBoard *Instances() { return reinterpret_cast<InstanceBoard *>(this + 1); }
};

// Sleeps until the doorbell is no longer as it was seen, at most so long. Load the doorbell before the
// look that found nothing to do: what comes after the look has rung it.
void WaitForDoorbell(Doorbell &bell, uint32_t seen, int milliseconds);
void RingDoorbell(Doorbell &bell);

}  // namespace fenwire

#endif
