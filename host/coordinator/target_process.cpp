// host/coordinator/target_process.cpp

#include "host/coordinator/target_process.h"

#include <memory>
#include <string_view>

#include "host/targets/target.h"

namespace fenwire {

namespace {

constexpr size_t kBatchBytes = 256 << 10;  // small enough to be in the cache still
constexpr int kLookAgainMs = 500;

class TargetProcess {
public:
    TargetProcess(const TargetSetup &setup, Channel &channel)
        : setup_(setup), board_(setup.board), bell_(setup.board.BellOf(1)), channel_(channel),
          readers_(setup.rings.begin(), setup.rings.end()),
          columns_(static_cast<uint32_t>(setup.job.columns.size())), target_(MakeTarget(setup.job)),
          only_counts_(TargetOnlyCounts(setup.job)), counted_(setup.rings.size())
    {
    }

    void Serve()
    {
        target_->Open(setup_.again ? Target::Start::Again : Target::Start::Anew);
        open_ = true;
        channel_.Send(
            OutMessage(MessageKind::Opened).Put(std::string_view(target_->WhyNotExactlyOnce())));
        while (Step()) {
        }
    }

    void Undo() noexcept
    {
        if (open_)
            target_->Abort();
        open_ = false;
    }

private:
    // A batch from each ring. False: there was nothing.
    bool TakeRows()
    {
        bool any = false;
        for (size_t i = 0; i < readers_.size(); ++i) {
            const RowBatch batch = readers_[i].Next(columns_, kBatchBytes);
            if (batch.start == batch.end)
                continue;
            if (open_)
                target_->Put(static_cast<int>(i) + 1, batch);
            readers_[i].Release(batch);
            any = true;
        }
        return any;
    }

    // False: the process is to end.
    bool Step()
    {
        const uint32_t seen = bell_.rung.load(std::memory_order_seq_cst);
        InMessage message;
        switch (channel_.TryReceive(message)) {
        case Channel::Result::Gone:
            Undo();
            return false;
        case Channel::Result::Got:
            return Obey(message);
        default:
            break;
        }
        if (!TakeRows())
            WaitForDoorbell(bell_, seen, kLookAgainMs);
        return true;
    }

    bool Obey(InMessage &message)
    {
        switch (message.kind()) {
        case MessageKind::Drain:
            return Drain();
        case MessageKind::Commit:
            Commit(message);
            return true;
        case MessageKind::Abort:
            // Rows that still come are taken and dropped, so that no instance waits for room in vain.
            Undo();
            return channel_.Send(OutMessage(MessageKind::Aborted));
        default:
            throw ProtocolError("an unexpected message");
        }
    }

    bool Drain()
    {
        while (TakeRows()) {
        }
        const uint64_t rows = RowsThere(), refused = open_ ? target_->Settle() : 0;
        return channel_.Send(OutMessage(MessageKind::Drained).Put(rows).Put(refused));
    }

    // What a generation is stored under is the job's; what it holds comes along.
    void Commit(InMessage &message)
    {
        const bool goes_on = message.U32() != 0;
        StoredGeneration generation;
        generation.number = message.U64();
        const uint64_t bytes = message.U64();
        if (bytes != 0) {
            generation.run = message.Text();
            generation.job = setup_.job.name;
            generation.job_file = setup_.job.file.string();
            generation.bytes = ContentOf(message.TakeFd(), bytes);
        }
        const TargetReport report = target_->Commit(bytes != 0 ? &generation : nullptr);
        open_ = goes_on;
        channel_.Send(OutMessage(MessageKind::Committed)
                          .Put(report.rows)
                          .Put(report.refused)
                          .Put(report.bytes)
                          .Put(std::string_view(report.note))
                          .Put(std::string_view(report.warning)));
        if (goes_on)
            target_->GoOn();
    }

    // Rows in all rings so far, and those that were only counted.
    uint64_t RowsThere()
    {
        uint64_t rows = 0;
        for (size_t i = 0; i < readers_.size(); ++i) {
            rows += readers_[i].rows();
            if (!only_counts_ || !open_)
                continue;
            const InstanceBoard &instance = board_.Sender(static_cast<int>(i) + 1);
            Counted now;
            now.rows = instance.rows.load(std::memory_order_acquire);
            now.bytes = instance.counted_bytes.load(std::memory_order_acquire);
            target_->Count(now.rows - counted_[i].rows, now.bytes - counted_[i].bytes);
            counted_[i] = now;
            rows += now.rows;
        }
        return rows;
    }

    struct Counted {
        uint64_t rows = 0, bytes = 0;
    };
    const TargetSetup &setup_;
    Board &board_;
    Doorbell &bell_;
    Channel &channel_;
    std::vector<RingReader> readers_;
    const uint32_t columns_;
    std::unique_ptr<Target> target_;
    const bool only_counts_;
    std::vector<Counted> counted_;  // of each ring's sender: what the target was told
    bool open_ = false;
};

}  // namespace

int RunTarget(const TargetSetup &setup, Channel channel)
{
    try {
        TargetProcess process(setup, channel);
        try {
            process.Serve();
            return 0;
        } catch (const std::exception &) {
            process.Undo();
            throw;
        }
    } catch (const std::exception &failure) {
        channel.Send(OutMessage(MessageKind::TargetFailed).Put(std::string_view(failure.what())));
        return 1;
    }
}

}  // namespace fenwire
