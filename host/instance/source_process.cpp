// host/instance/source_process.cpp

#include "host/instance/source_process.h"

#include <algorithm>
#include <filesystem>

#include "host/coordinator/phases.h"
#include "host/instance/instance_process.h"
#include "host/sources/source.h"
#include "host/streams/ring_outlet.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

namespace {

class SourcePart {
public:
    SourcePart(const SourceSetup &setup, Channel &channel)
        : setup_(setup), channel_(channel), mine_(setup.board.Sender(setup.part)),
          outlet_(setup.job, setup.board, setup.rings, setup.part), source_(MakeSource(setup.job))
    {
    }

    void Serve()
    {
        InMessage message;
        while (channel_.Receive(message) && message.kind() == MessageKind::Call) {
            const int32_t status = Run(message);
            channel_.Send(OutMessage(MessageKind::Answer).Put(status));
        }
    }

private:
    int32_t Run(InMessage &call)
    {
        const auto method = static_cast<Method>(call.U32());
        (void)call.U32(), (void)call.U32();  // phase, whether execute passed
        switch (method) {
        case Method::Initiate:
            source_->Open(setup_.part, setup_.job.source_instances);
            return PXSTC_EndMethod;
        case Method::Restart:
            source_->GoTo(call.Text());
            return PXSTC_EndMethod;
        case Method::Execute:
            return HandOverRows(call.U64());
        case Method::Checkpoint:
            return TellPosition();
        default:
            return PXSTC_EndMethod;
        }
    }

    // behind: so many rows a checkpoint is due.
    int32_t HandOverRows(uint64_t behind)
    {
        mine_.state.store(InstanceState::Loading, std::memory_order_relaxed);
        const uint64_t due = outlet_.rows() + std::min(behind, UINT64_MAX - outlet_.rows());
        int32_t status = PXSTC_EndMethod;
        while (status == PXSTC_EndMethod && source_->Read(outlet_)) {
            if (setup_.board.stop.load(std::memory_order_relaxed) & (kStopAll | kStopSenders))
                status = kStopped;
            else if (outlet_.rows() >= due)
                status = kRowsDue;
        }
        outlet_.Publish();
        mine_.state.store(status == PXSTC_EndMethod ? InstanceState::Finished
                                                    : InstanceState::Waiting,
                          std::memory_order_relaxed);
        TellRows();
        return status;
    }

    void TellRows()
    {
        channel_.Send(OutMessage(MessageKind::SourceRows)
                          .Put(outlet_.rows())
                          .Put(std::string_view(source_->Warning())));
    }

    int32_t TellPosition()
    {
        if (const std::optional<std::string> position = source_->Position())
            channel_.Send(OutMessage(MessageKind::SourcePosition).Put(std::string_view(*position)));
        return PXSTC_EndMethod;
    }

    const SourceSetup &setup_;
    Channel &channel_;
    InstanceBoard &mine_;
    RingOutlet outlet_;
    std::unique_ptr<Source> source_;
};

}  // namespace

int RunSource(const SourceSetup &setup, Channel channel)
{
    try {
        std::filesystem::current_path(setup.job.folder);
        SourcePart(setup, channel).Serve();
        return 0;
    } catch (const std::exception &failure) {
        channel.Send(OutMessage(MessageKind::Trouble).Put(std::string_view(failure.what())));
        return 1;
    }
}

}  // namespace fenwire
