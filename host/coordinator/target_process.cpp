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
        : board_(setup.board), bell_(setup.board.BellOf(1)), channel_(channel),
          readers_(setup.rings.begin(), setup.rings.end()),
          columns_(static_cast<uint32_t>(setup.job.columns.size())), target_(MakeTarget(setup.job)),
          only_counts_(TargetOnlyCounts(setup.job))
    {
    }

    void Serve()
    {
        target_->Open(Target::Start::Anew);
        open_ = true;
        channel_.Send(OutMessage(MessageKind::Opened));
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
            return Obey(message.kind());
        default:
            break;
        }
        if (!TakeRows())
            WaitForDoorbell(bell_, seen, kLookAgainMs);
        return true;
    }

    bool Obey(MessageKind kind)
    {
        if (kind == MessageKind::Drain) {
            while (TakeRows()) {
            }
            return channel_.Send(OutMessage(MessageKind::Drained).Put(RowsThere()));
        }
        if (kind == MessageKind::Commit) {
            const TargetReport report = target_->Commit(nullptr);
            open_ = false;
            channel_.Send(OutMessage(MessageKind::Committed)
                              .Put(report.rows)
                              .Put(report.refused)
                              .Put(report.bytes)
                              .Put(std::string_view(report.note))
                              .Put(std::string_view(report.warning)));
            return true;
        }
        if (kind != MessageKind::Abort)
            throw ProtocolError("an unexpected message");
        // Rows that still come are taken and dropped, so that no instance waits for room in vain.
        Undo();
        return channel_.Send(OutMessage(MessageKind::Aborted));
    }

    uint64_t RowsThere()
    {
        uint64_t rows = 0;
        for (size_t i = 0; i < readers_.size(); ++i) {
            rows += readers_[i].rows();
            if (!only_counts_ || !open_)
                continue;
            const InstanceBoard &instance = board_.Sender(static_cast<int>(i) + 1);
            const uint64_t counted = instance.rows.load(std::memory_order_acquire);
            target_->Count(counted, instance.counted_bytes.load(std::memory_order_acquire));
            rows += counted;
        }
        return rows;
    }

    Board &board_;
    Doorbell &bell_;
    Channel &channel_;
    std::vector<RingReader> readers_;
    const uint32_t columns_;
    std::unique_ptr<Target> target_;
    const bool only_counts_;
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
