// host/coordinator/coordinator.cpp - start, loop and end of a job.

#include "host/coordinator/coordinator.h"

#include <poll.h>

#include <unistd.h>

#include "host/coordinator/run.h"
#include "host/coordinator/target_process.h"
#include "host/instance/instance_process.h"
#include "host/instance/source_process.h"
#include "host/job/command.h"
#include "host/sources/source.h"
#include "host/targets/target.h"
#include "operator/message_table.h"

namespace fenwire {

namespace {

constexpr int kTickMs = 200;      // progress display
constexpr int kGoodbyeMs = 5000;  // a child that was told to end

// "sqlite file orders.db, table orders"
std::string Describe(const std::string &type, const Settings &settings)
{
    std::string text = type;
    for (const Setting &setting : settings) {
        if (const auto *value = std::get_if<std::string>(&setting.value);
            value != nullptr && (setting.key == "file" || setting.key == "table"))
            text += (text == type ? " " : ", ") + setting.key + " " + *value;
    }
    return text;
}

// Where a person sees one step only, its processes are the job's instances.
std::vector<std::unique_ptr<StepRun>> MakeSteps(const Job &job, Board &board, bool restarts)
{
    std::vector<std::unique_ptr<StepRun>> steps;
    const char *word = job.has_source() ? "source" : job.has_target() ? "instance" : "producer";
    steps.push_back(std::make_unique<StepRun>(Side::Reading, word, job.readers(), board, restarts));
    if (!job.has_target())
        steps.push_back(
            std::make_unique<StepRun>(Side::Writing, "consumer", job.writers(), board, restarts));
    return steps;
}

bool WantsStdin(const Job &job)
{
    const SourceKind *kind = FindSourceKind(job.source_type);
    return kind != nullptr && kind->wants_stdin;
}

}  // namespace

Coordinator::Coordinator(const Job &job, Console &console, RunPlan plan)
    : job_(job), console_(console), plan_(std::move(plan)),
      public_log_(job.state / "logs" / "public.log"),
      board_block_(MakeSharedBlock("fenwire-board", Board::Bytes(job.readers(), job.writers()))),
      board_map_(board_block_),
      board_(Board::Make(board_map_.data(), job.readers(), job.writers())),
      rings_(static_cast<size_t>(StreamPlan{job.readers(), job.writers()}.rings())),
      steps_(MakeSteps(job, board_, plan_.from.has_value())),
      ledger_(job.readers(), job.has_target() ? 0 : job.writers()), rejects_(job),
      place_(plan_.keeps_checkpoints ? PlaceOfCheckpoints(job) : CheckpointPlace::None),
      keeps_(place_ != CheckpointPlace::None)
{
}

void Coordinator::StartTarget()
{
    target_ = std::make_unique<Child>(
        "target",
        [&](Channel channel) {
            return RunTarget({job_, board_, rings_, plan_.from.has_value()}, std::move(channel));
        },
        [&] { signals_.Close(); });
}

// In the child.
int Coordinator::RunChild(const StepRun &step, int instance, const std::filesystem::path &library,
                          Channel channel)
{
    if (step.side == Side::Reading && job_.has_source())
        return RunSource({job_, instance, board_, rings_}, std::move(channel));
    const bool reads = step.side == Side::Reading;
    return RunInstance({job_,
                        reads ? Role::Producer : Role::Consumer,
                        instance,
                        library,
                        board_,
                        rings_,
                        {keeps_, plan_.from.has_value()},
                        reads ? rejects_.fd() : -1},
                       std::move(channel));
}

void Coordinator::StartStep(StepRun &step)
{
    const bool source = step.side == Side::Reading && job_.has_source();
    const auto library = source ? std::filesystem::path() : FindOperatorLibrary();
    const auto input = source && WantsStdin(job_) ? Child::Input::Kept : Child::Input::None;
    for (int i = 1; i <= step.count; ++i) {
        // A child keeps no other child's channel: an end of file there must mean that child's end.
        step.children.push_back(std::make_unique<Child>(
            step.word + "-" + std::to_string(i),
            [&, i](Channel channel) { return RunChild(step, i, library, std::move(channel)); },
            [&] {
                signals_.Close();
                if (target_ != nullptr)
                    target_->channel().Close();
                for (auto &other : steps_) {
                    for (auto &child : other->children)
                        child->channel().Close();
                }
            },
            input));
    }
}

// Which run this is, and what it did before. That comes first of all, so that a failure of whatever comes behind
// is told of this run, and the later one still finds where the job stands.
void Coordinator::TakeOver()
{
    run_.run = plan_.from ? plan_.from->run : NewRunId();
    run_.began = run_.changed = UtcNow();
    run_.process = getpid();
    run_.keeps_checkpoints = keeps_;
    run_.job_file = job_.file.string();
    if (!plan_.from)
        return;
    ledger_.Restore(plan_.from->ledger);
    generation_.inputs = plan_.from->inputs;
    drained_before_ = ledger_.target_rows() + ledger_.target_refused();
    checkpoint_.resumable = true;
    checkpoint_.generation = checkpoint_.resumed_from = plan_.from->number;
    checkpoint_.rows = plan_.from->rows;
    checkpoint_.saved_at = plan_.from->saved_at;
}

// Before anything moves.
void Coordinator::BeginRun()
{
    if (keeps_ && place_ == CheckpointPlace::Beside)
        store_ = std::make_unique<CheckpointStore>(job_);
    std::string warning;
    if (plan_.from)
        warning = rejects_.Restore(plan_.from->rejects);
    else
        rejects_.Open();
    if (!warning.empty())
        PublicLine(Warning, warning);
    NoteRun();
}

// A retry of bad records is no run of the job, of which this tells.
void Coordinator::NoteRun() const
{
    if (job_.retry_of.empty())
        WriteRunState(job_, run_);
}

void Coordinator::Start()
{
    TakeOver();
    if (!job_.has_source() || !job_.has_target())
        (void)FindOperatorLibrary();  // before anything is touched
    if (job_.has_source())
        MakeSource(job_)->Check();
    if (job_.has_target())
        MakeTarget(job_)->Check();
    BeginRun();
    if (job_.has_target())
        StartTarget();
    for (auto &step : steps_)
        StartStep(*step);
}

bool Coordinator::Over() const
{
    const bool settled = settling_ == Settling::Settled || settling_ == Settling::Undone;
    for (const auto &step : steps_) {
        if (!step->phases.done())
            return false;
    }
    return settled || (target_ != nullptr && !target_->running());
}

void Coordinator::CallInstances()
{
    for (auto &step : steps_)
        CallInstances(*step);
}

void Coordinator::CallInstances(StepRun &step)
{
    if (target_ != nullptr && !target_open_ && !Failed())
        return;  // nobody starts before the rows have somewhere to go
    const MethodCall call = step.phases.Next();
    if (call.method == Method::Execute && step.side == Side::Reading)
        rejects_.Begin();
    Call(step, call);
}

void Coordinator::Call(StepRun &step, const MethodCall &call)
{
    for (const int instance : call.instances) {
        OutMessage message(MessageKind::Call);
        message.Put(static_cast<uint32_t>(call.method)).Put(call.phase).Put(Failed() ? 0U : 1U);
        if (call.method == Method::Restart && step.side == Side::Reading && job_.has_source())
            message.Put(std::string_view(PositionOf(instance)));
        if (call.method == Method::Execute && step.side == Side::Reading)
            message.Put(RowsUntilDue());
        step.Of(instance).channel().Send(message);
    }
}

void Coordinator::TellTarget(const OutMessage &message, const UniqueFd *fd)
{
    target_->channel().Send(message, fd);
    RingDoorbell(board_.BellOf(1));
}

void Coordinator::Wait()
{
    std::vector<pollfd> fds = {{signals_.fd(), POLLIN, 0}};
    const auto add = [&](Child &child) { fds.push_back({child.channel().fd(), POLLIN, 0}); };
    if (target_ != nullptr)
        add(*target_);
    for (auto &step : steps_) {
        for (auto &child : step->children)
            add(*child);
    }
    if (poll(fds.data(), fds.size(), Timeout()) < 0 && errno != EINTR)
        ThrowErrno("poll");
    size_t at = 0;
    const auto ready = [&] { return fds[at++].revents != 0; };
    if (ready())
        OnSignals();
    if (target_ != nullptr && ready())
        OnTarget();
    for (auto &step : steps_) {
        for (int i = 1; i <= step->count; ++i) {
            if (ready())
                OnInstance(*step, i);
        }
    }
}

void Coordinator::Loop()
{
    auto next_tick = Clock::now();
    while (!Over()) {
        CallInstances();
        AdvanceRound();
        UndoRows();
        CallInstances();  // a round that is over lets them go on, and no message would wake Wait for it
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
    for (auto &step : steps_) {
        for (int i = 1; i <= static_cast<int>(step->children.size()); ++i) {
            Child &child = step->Of(i);
            child.Reap(kGoodbyeMs);
            ledger_.SetProcess(step->side, i, child.peak_memory(), child.cpu_seconds());
        }
    }
    if (target_ == nullptr)
        return;
    target_->channel().Close();
    RingDoorbell(board_.BellOf(1));  // so that it sees the closed channel at once
    target_->Reap(kGoodbyeMs);
}

void Coordinator::FillReport(JobReport &report)
{
    report.job = job_.name;
    report.source = Describe(job_.source_type, job_.source);
    report.target = Describe(job_.target_type, job_.target);
    report.log = public_log_.path().string();
    report.rows_limit = job_.producer.Number("RowsPerInstance", -1);
    ledger_.Write(report);
    for (FileReport &file : report.outputs)  // where they are, not only what they are called
        file.name =
            (std::filesystem::path(job_.consumer.Text("DirectoryPath")) / file.name).string();
    rejects_.Write(report);
    const TargetKind *kind = FindTargetKind(job_.target_type);
    if (kind != nullptr && !ledger_.committed() && !commit_in_doubt_)
        report.target_note = kind->after_failure(job_);
    for (InstanceReport &instance : report.instances) {
        const Role role = instance.step == "consumer" ? Role::Consumer : Role::Producer;
        const Step &step = role == Role::Consumer ? job_.consumer : job_.producer;
        const std::string name = step.Text("PrivateLogName", PrivateLogName(role));
        const auto log = PrivateLogPath(job_, name + "-" + std::to_string(instance.instance));
        std::error_code none;
        if (instance.step != "source" && std::filesystem::exists(log, none))
            instance.private_log = log.string();
    }
    FillCheckpoint(report);
    if (!job_.retry_of.empty())
        report.retry = JobCommand("rejects retry", job_);
    report.seconds = Seconds();
}

// Only what did not come to its end can go on.
void Coordinator::FillCheckpoint(JobReport &report) const
{
    report.checkpoint = checkpoint_;
    report.checkpoint.resumable = checkpoint_.resumable && !ended_well_;
    if (report.checkpoint.resumable)
        report.checkpoint.resume = JobCommand("resume", job_);
}

// False: it could not be written.
bool Coordinator::NoteOutcome(RunState::Outcome outcome)
{
    run_.outcome = outcome;
    run_.reason = ledger_.reason();
    run_.changed = UtcNow();
    try {
        NoteRun();
        return true;
    } catch (const std::exception &failure) {
        PublicLine(Warning, failure.what());
        return false;
    }
}

// Behind the last process. A job that is killed in here goes on from its last checkpoint and ends again, so
// that is forgotten last; and behind the outcome, lest a job without a checkpoint is taken for one that
// has stored nothing yet.
void Coordinator::Finish()
{
    using Outcome = RunState::Outcome;
    const char *const undone = "the rows are in, but the job's end could not be noted: ";
    bool good = !ledger_.failing() && ledger_.exit_code() < Ledger::kFatal && ledger_.committed();
    try {
        if (good)
            rejects_.Complete();
    } catch (const std::exception &failure) {
        good = false;
        ledger_.AddReason(std::string(undone) + failure.what());
    }
    FinishRejects(good);
    const bool noted = NoteOutcome(good                    ? Outcome::Finished
                                   : ledger_.interrupted() ? Outcome::Stopped
                                                           : Outcome::Failed);
    if (good && keeps_ && !noted) {
        ledger_.AddReason(std::string(undone) + "run.json can't be written");
        return;
    }
    try {
        if (good && keeps_) {
            ForgetGeneration(job_, run_.run);
            rejects_.Forget();
        }
        ended_well_ = good;
    } catch (const std::exception &failure) {
        // The outcome stays: a server that breaks off may have forgotten the checkpoint all the same.
        ledger_.AddReason(std::string(undone) + failure.what());
    }
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
    Finish();

    JobReport report;
    FillReport(report);
    console_.Finish(report);
    return report;
}

JobReport RunJob(const Job &job, Console &console, RunPlan plan)
{
    if (plan.folder == nullptr)
        plan.folder = std::make_unique<StateFolder>(job.state);
    return Coordinator(job, console, std::move(plan)).Run();
}

}  // namespace fenwire
