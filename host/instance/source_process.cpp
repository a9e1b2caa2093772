// host/instance/source_process.cpp

#include "host/instance/source_process.h"

#include <filesystem>

#include "host/coordinator/phases.h"
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
            const int32_t status = Run(static_cast<Method>(message.U32()));
            channel_.Send(OutMessage(MessageKind::Answer).Put(status));
        }
    }

private:
    int32_t Run(Method method)
    {
        if (method == Method::Initiate)
            source_->Open(setup_.part, setup_.job.source_instances);
        if (method == Method::Execute)
            return HandOverRows();
        return PXSTC_EndMethod;
    }

    // A part that is stopped tells its rows as well.
    int32_t HandOverRows()
    {
        mine_.state.store(InstanceState::Loading, std::memory_order_relaxed);
        int32_t status = PXSTC_EndMethod;
        while (status == PXSTC_EndMethod && source_->Read(outlet_)) {
            if (setup_.board.stop.load(std::memory_order_relaxed) != 0)
                status = kStopped;
        }
        outlet_.Publish();
        mine_.state.store(InstanceState::Finished, std::memory_order_relaxed);
        channel_.Send(OutMessage(MessageKind::SourceRows)
                          .Put(outlet_.rows())
                          .Put(std::string_view(source_->Warning())));
        return status;
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
