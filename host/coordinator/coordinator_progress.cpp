// host/coordinator/coordinator_progress.cpp - how far a job is, as it can be seen from outside.

#include <algorithm>
#include <cstring>

#include "host/coordinator/coordinator.h"
#include "host/coordinator/file_progress.h"

namespace fenwire {

namespace {

uint64_t SizeOf(const PxFileNamesEntry &file)
{
    return static_cast<uint64_t>(std::max<int64_t>(file.size, 0));
}

bool InWork(const PxFileNamesEntry &file, const StepRun &step)
{
    return file.status == PX_FILE_InProcess && file.instance >= 1 && file.instance <= step.count;
}

}  // namespace

std::string Coordinator::CurrentFile(const StepRun &step, int instance)
{
    for (const PxFileNamesEntry &file : step.objects.Files()) {
        if (file.status == PX_FILE_InProcess && file.instance == instance)
            return NameOf(file);
    }
    return {};
}

void Coordinator::AddInstances(const StepRun &step, JobSnapshot &shot) const
{
    static constexpr const char *kStates[] = {"starting", "loading", "waiting", "finished",
                                              "failed"};
    const bool writes = step.side == Side::Writing;
    for (int i = 1; i <= step.count; ++i) {
        InstanceSnapshot of;
        const InstanceBoard &board = BoardOf(step, i);
        const auto state = static_cast<size_t>(board.state.load(std::memory_order_relaxed));
        of.step = writes ? "consumer" : job_.has_source() ? "source" : "producer";
        of.instance = i;
        of.state = state < std::size(kStates) ? kStates[state] : "?";
        of.rows = board.rows.load(std::memory_order_relaxed);
        (writes ? shot.written_rows : shot.rows) += of.rows;
        shot.instances.push_back(std::move(of));
    }
}

void Coordinator::AddReadFiles(JobSnapshot &shot) const
{
    for (const PxFileNamesEntry &file : reading().objects.Files()) {
        ++shot.files;
        shot.total_bytes += SizeOf(file);
        if (file.status == PX_FILE_Finished) {
            ++shot.files_done;
            shot.read_bytes += SizeOf(file);
        }
        if (!InWork(file, reading()))
            continue;
        InstanceSnapshot &of = shot.instances[static_cast<size_t>(file.instance - 1)];
        of.file = NameOf(file);
        of.file_bytes = SizeOf(file);
        of.file_read =
            std::min(SizeOf(file), FilePosition(reading().Of(file.instance).pid(), of.file));
        shot.read_bytes += of.file_read;
    }
}

void Coordinator::AddWrittenFiles(JobSnapshot &shot) const
{
    for (const PxFileNamesEntry &file : writing()->objects.Files()) {
        if (!InWork(file, *writing())) {
            shot.written_bytes += SizeOf(file);
            continue;
        }
        InstanceSnapshot &of =
            shot.instances[static_cast<size_t>(reading().count + file.instance - 1)];
        of.file = NameOf(file);
        of.file_bytes = FilePosition(writing()->Of(file.instance).pid(), of.file);
        shot.written_bytes += of.file_bytes;
    }
}

JobSnapshot Coordinator::Snapshot() const
{
    JobSnapshot shot;
    const Method method = reading().phases.method();
    shot.seconds = Seconds();
    shot.phase = method == Method::Initiate  ? "starting"
                 : method == Method::Execute ? "loading"
                                             : "finishing";
    for (const auto &step : steps_)
        AddInstances(*step, shot);
    shot.refused = rejects_.left_out();
    AddReadFiles(shot);
    if (checkpoint_.resumable) {
        shot.checkpoint = checkpoint_.generation;
        shot.checkpoint_age = std::chrono::duration<double>(Clock::now() - last_round_).count();
    }
    shot.writes = writing() != nullptr;
    if (shot.writes)
        AddWrittenFiles(shot);
    return shot;
}

}  // namespace fenwire
