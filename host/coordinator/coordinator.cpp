// host/coordinator/coordinator.cpp - start, loop and end of a job.

#include "host/coordinator/coordinator.h"

#include <poll.h>

#include "host/coordinator/run.h"
#include "host/coordinator/target_process.h"
#include "host/instance/instance_process.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

constexpr int kTickMs = 200;      // progress display
constexpr int kGoodbyeMs = 5000;  // a child that was told to end

std::string DescribeTarget(const Job &job)
{
    std::string text = job.target_type;
    for (const Setting &setting : job.target) {
        if (const auto *value = std::get_if<std::string>(&setting.value);
            value != nullptr && (setting.key == "file" || setting.key == "table"))
            text += (text == job.target_type ? " " : ", ") + setting.key + " " + *value;
    }
    return text;
}

}  // namespace

Coordinator::Coordinator(const Job &job, Console &console)
    : job_(job), console_(console), count_(job.producer.instances), folder_(job.state),
      public_log_(job.state / "logs" / "public.log"),
      board_block_(MakeSharedBlock("fenwire-board", Board::Bytes(count_))),
      board_map_(board_block_), board_(*reinterpret_cast<Board *>(board_map_.data())),
      rings_(static_cast<size_t>(count_)), objects_(board_), phases_(count_), ledger_(count_),
      rejects_(job), last_bad_(static_cast<size_t>(count_))
{
}

void Coordinator::Start()
{
    const auto library = FindOperatorLibrary();
    MakeTarget(job_)->Check();
    rejects_.Open();
    target_ = std::make_unique<Child>(
        "target",
        [&](Channel channel) {
            return RunTarget({job_, board_, rings_}, std::move(channel));
        },
        [&] { signals_.Close(); });
    for (int i = 1; i <= count_; ++i) {
        // A child keeps no other child's channel: an end of file there must mean that child's end.
        instances_.push_back(std::make_unique<Child>(
            "instance-" + std::to_string(i),
            [&, i](Channel channel) {
                const InstanceSetup setup = {
                    job_, i, library, board_, rings_[static_cast<size_t>(i - 1)], rejects_.fd()};
                return RunInstance(setup, std::move(channel));
            },
            [&] {
                signals_.Close();
                target_->channel().Close();
                for (auto &other : instances_)
                    other->channel().Close();
            }));
    }
}

bool Coordinator::Over() const
{
    const bool settled = settling_ == Settling::Settled || settling_ == Settling::Undone;
    return phases_.done() && (settled || !target_->running());
}

void Coordinator::CallInstances()
{
    if (!target_open_ && !phases_.failed())
        return;  // nobody starts before the rows have somewhere to go
    const MethodCall call = phases_.Next();
    if (call.method == Method::Execute)
        rejects_.Begin();
    for (const int instance : call.instances) {
        Of(instance).channel().Send(OutMessage(MessageKind::Call)
                                        .Put(static_cast<uint32_t>(call.method))
                                        .Put(call.phase)
                                        .Put(phases_.failed() ? 0U : 1U));
    }
    if (call.method == Method::Terminate)
        recall_until_.reset();
}

// Between execute and terminate; and, after a failure, at once.
void Coordinator::SettleRows()
{
    const auto tell_target = [&](MessageKind kind) {
        target_->channel().Send(OutMessage(kind));
        RingDoorbell(board_);
    };
    if (phases_.failed() && settling_ < Settling::Committing) {
        settling_ = target_->running() ? Settling::Undoing : Settling::Undone;
        if (target_->running())
            tell_target(MessageKind::Abort);
    } else if (phases_.at_rows_end() && settling_ == Settling::NotYet) {
        settling_ = Settling::Draining;
        tell_target(MessageKind::Drain);
    }
}

void Coordinator::Wait()
{
    std::vector<pollfd> fds = {{signals_.fd(), POLLIN, 0}, {target_->channel().fd(), POLLIN, 0}};
    for (const auto &instance : instances_)
        fds.push_back({instance->channel().fd(), POLLIN, 0});
    if (poll(fds.data(), fds.size(), kTickMs) < 0 && errno != EINTR)
        ThrowErrno("poll");
    if (fds[0].revents != 0)
        OnSignals();
    if (fds[1].revents != 0)
        OnTarget();
    for (int i = 1; i <= count_; ++i) {
        if (fds[static_cast<size_t>(i) + 1].revents != 0)
            OnInstance(i);
    }
}

void Coordinator::Loop()
{
    auto next_tick = Clock::now();
    while (!Over()) {
        CallInstances();
        SettleRows();
        if (Over())
            break;
        Wait();
        KillStragglers();
        if (Clock::now() >= next_tick) {
            console_.Progress(Snapshot());
            if (console_.Enough() && !ledger_.failing())
                Fail("stopped: enough was seen");
            next_tick = Clock::now() + std::chrono::milliseconds(kTickMs);
        }
    }
}

void Coordinator::End()
{
    for (int i = 1; i <= count_ && i <= static_cast<int>(instances_.size()); ++i) {
        Of(i).Reap(kGoodbyeMs);
        ledger_.SetProcess(i, Of(i).peak_memory(), Of(i).cpu_seconds());
    }
    if (target_ == nullptr)
        return;
    target_->channel().Close();
    RingDoorbell(board_);  // so that it sees the closed channel at once
    target_->Reap(kGoodbyeMs);
}

JobReport Coordinator::Run()
{
    try {
        Start();
        Loop();
    } catch (const std::exception &failure) {
        // Children that still run are killed below; a target that was not told to commit rolls back.
        ledger_.AddReason(failure.what());
    }
    if (ledger_.failing())
        GiveUpRows();
    End();
    FinishRejects();

    JobReport report;
    report.job = job_.name;
    report.target = DescribeTarget(job_);
    report.log = public_log_.path().string();
    report.rows_limit = job_.producer.Number("RowsPerInstance", -1);
    ledger_.Write(report);
    rejects_.Write(report);
    const TargetKind *kind = FindTargetKind(job_.target_type);
    if (kind != nullptr && !ledger_.committed() && !commit_in_doubt_)
        report.target_note = kind->after_failure(job_);
    const std::string private_log = job_.producer.Text("PrivateLogName", kPrivateLogName);
    for (InstanceReport &instance : report.instances) {
        const auto log =
            PrivateLogPath(job_, private_log + "-" + std::to_string(instance.instance));
        std::error_code none;
        if (std::filesystem::exists(log, none))
            instance.private_log = log.string();
    }
    report.seconds = Seconds();
    console_.Finish(report);
    return report;
}

JobReport RunJob(const Job &job, Console &console) { return Coordinator(job, console).Run(); }

}  // namespace fenwire
