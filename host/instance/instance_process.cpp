// host/instance/instance_process.cpp

#include "host/instance/instance_process.h"

#include <cstdlib>
#include <string_view>

#include <dlfcn.h>
#include <unistd.h>

#include "host/coordinator/phases.h"
#include "host/services/operator_services.h"
#include "host/system/futex.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

namespace {

constexpr int kWaitMs = 100;  // after 68
constexpr std::string_view kInterfaceVersion = "16.10.";

// The library stays loaded until the process ends.
const PxMethods &LoadOperator(const std::filesystem::path &path)
{
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error(std::string("the operator library can't be loaded: ") + dlerror());
    using Entry = PxStatus (*)(PxMethods **);
    const auto entry = reinterpret_cast<Entry>(dlsym(library, "PX_GetOperatorMethods"));
    PxMethods *methods = nullptr;
    if (entry == nullptr || entry(&methods) != PXSTC_Success || methods == nullptr)
        throw std::runtime_error(path.string() + " is no operator library");
    if (methods->interface_version == nullptr || methods->initiate == nullptr ||
        methods->execute == nullptr || methods->terminate == nullptr ||
        std::string_view(methods->interface_version).rfind(kInterfaceVersion, 0) != 0)
        throw std::runtime_error(path.string() + " has another interface version than " +
                                 std::string(kInterfaceVersion) + "x");
    return *methods;
}

class Instance {
public:
    Instance(const InstanceSetup &setup, Channel channel)
        : board_(setup.board),
          mine_(setup.role == Role::Consumer ? setup.board.Receiver(setup.instance)
                                             : setup.board.Sender(setup.instance)),
          link_(std::move(channel), setup.board)
    {
        if (setup.role == Role::Consumer)
            in_ = std::make_unique<RowInlet>(setup.job, board_, setup.rings, setup.instance);
        else
            out_ = std::make_unique<RingOutlet>(setup.job, board_, setup.rings, setup.instance);
        services_ = std::make_unique<OperatorServices>(setup.job, setup.instance, link_, out_.get(),
                                                       in_.get(), setup.checkpoints, setup.rejects);
    }

    void Serve(const std::filesystem::path &library)
    {
        const PxMethods &methods = LoadOperator(library);
        link_.Tell(OutMessage(MessageKind::Hello)
                       .Put(std::string_view(
                           methods.operator_version != nullptr ? methods.operator_version : "")));
        InMessage message;
        while (link_.Next(message) && message.kind() == MessageKind::Call) {
            const auto method = static_cast<Method>(message.U32());
            const uint32_t phase = message.U32();
            services_->SetExecutePassed(message.U32() != 0);
            if (method == Method::Execute && in_ == nullptr)
                rows_due_ = message.U64();
            const int32_t status = Run(methods, method, phase);
            Publish();
            services_->TellBadRecords();
            link_.Tell(OutMessage(MessageKind::Answer).Put(status));
        }
    }

    void Trouble(const char *words)
    {
        link_.Tell(OutMessage(MessageKind::Trouble).Put(std::string_view(words)));
    }

private:
    using Routine = PxStatus (*)(PxOperator *, uint32_t);

    int32_t Run(const PxMethods &methods, Method method, uint32_t phase)
    {
        switch (method) {
        case Method::Initiate:
            return Repeat(methods.initiate, phase, PXSTC_SamePhase, UINT64_MAX);
        case Method::Execute: {
            mine_.state.store(InstanceState::Loading, std::memory_order_relaxed);
            const int32_t status = in_ != nullptr
                                       ? RepeatWithRows(methods.execute, phase)
                                       : Repeat(methods.execute, phase, PXSTC_Success, rows_due_);
            mine_.state.store(status == PXSTC_NextPhase ? InstanceState::Waiting
                                                        : InstanceState::Finished,
                              std::memory_order_relaxed);
            return status;
        }
        case Method::Terminate:
            return methods.terminate(services_->handle(), phase);
        case Method::Checkpoint:
            return Optional(methods.checkpoint, "checkpoint", phase);
        case Method::Restart:
            return Optional(methods.restart, "restart", phase);
        default:
            throw ProtocolError("a call of an unknown method");
        }
    }

    int32_t Optional(Routine routine, const char *method, uint32_t phase)
    {
        if (routine == nullptr)
            throw std::runtime_error(std::string("the operator library has no method ") + method);
        return routine(services_->handle(), phase);
    }

    // Calls until the answer is worth a word, or so many rows are out. again: counts as "call again"
    // besides 43.
    int32_t Repeat(Routine routine, uint32_t phase, PxStatus again, uint64_t left)
    {
        PxOperator *const handle = services_->handle();
        for (;;) {
            const PxStatus status = routine(handle, phase);
            if (status != PXSTC_SamePhase && status != again && status != PXSTC_WaitTimeout)
                return status;
            if (StopsAt(kStopAll | kStopSenders)) [[unlikely]]
                return kStopped;
            if (status == PXSTC_WaitTimeout) [[unlikely]]
                Wait();
            else if (--left == 0) [[unlikely]]
                return kRowsDue;
        }
    }

    bool StopsAt(uint32_t bits) const
    {
        return (board_.stop.load(std::memory_order_relaxed) & bits) != 0;
    }

    // A consumer's execute.
    int32_t RepeatWithRows(Routine routine, uint32_t phase)
    {
        PxOperator *const handle = services_->handle();
        for (;;) {
            while (!in_->Ready())
                [[unlikely]]
                {
                    if (StopsAt(kStopAll | kStopReceivers))
                        return kStopped;
                    in_->Wait(kWaitMs);
                }
            const PxStatus status = routine(handle, phase);
            if (status != PXSTC_SamePhase && status != PXSTC_Success) [[unlikely]]
                return status;
            if (StopsAt(kStopAll)) [[unlikely]]
                return kStopped;
        }
    }

    void Publish()
    {
        if (out_ != nullptr)
            out_->Publish();
        else
            in_->TellCounts();
    }

    void Wait()
    {
        Publish();
        const InstanceState before = mine_.state.exchange(InstanceState::Waiting);
        FutexWait(board_.stop, board_.stop.load(std::memory_order_relaxed), kWaitMs);
        mine_.state.store(before, std::memory_order_relaxed);
    }

    Board &board_;
    InstanceBoard &mine_;
    Link link_;
    uint64_t rows_due_ = UINT64_MAX;   // until a checkpoint is due
    std::unique_ptr<RingOutlet> out_;  // a producer's
    std::unique_ptr<RowInlet> in_;     // a consumer's
    std::unique_ptr<OperatorServices> services_;
};

}  // namespace

std::filesystem::path FindOperatorLibrary()
{
    if (const char *given = getenv("FENWIRE_OPERATOR"); given != nullptr && *given != '\0')
        return std::filesystem::absolute(given);
    const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const auto &path : {program / "libfenwire.so", program / "../lib/libfenwire.so"}) {
        if (access(path.c_str(), R_OK) == 0)
            return path;
    }
    throw std::runtime_error("libfenwire.so is neither beside the program (" + program.string() +
                             ") nor in ../lib; FENWIRE_OPERATOR may name it");
}

int RunInstance(const InstanceSetup &setup, Channel channel)
{
    try {
        // Paths in the job count from the job file's folder.
        std::filesystem::current_path(setup.job.folder);
        Instance instance(setup, std::move(channel));
        try {
            instance.Serve(setup.library);
            return 0;
        } catch (const LinkLost &) {
            return 1;
        } catch (const std::exception &failure) {
            instance.Trouble(failure.what());
            return 1;
        }
    } catch (const std::exception &) {
        return 1;
    }
}

}  // namespace fenwire
