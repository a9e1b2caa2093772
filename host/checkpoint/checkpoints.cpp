// host/checkpoint/checkpoints.cpp - asks the store that serves the job.

#include "host/checkpoint/checkpoints.h"

#include <fmt/format.h>

#include "host/checkpoint/checkpoint_store.h"
#include "host/job/words.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

std::optional<StoredGeneration> FindStored(const Job &job, const std::string &run, bool at_work)
{
    switch (PlaceOfCheckpoints(job)) {
    case CheckpointPlace::Within:
        return FindTargetKind(job.target_type)->find(job, run, at_work);
    case CheckpointPlace::Beside:
        return FindInStore(job, run);
    case CheckpointPlace::None:
        break;
    }
    return std::nullopt;
}

}  // namespace

CheckpointPlace PlaceOfCheckpoints(const Job &job)
{
    if (!job.retry_of.empty())
        return CheckpointPlace::None;
    if (job.has_source()) {
        const SourceKind *source = FindSourceKind(job.source_type);
        if (source == nullptr || !source->resumable)
            return CheckpointPlace::None;
    }
    if (!job.has_target())
        return CheckpointPlace::Beside;
    const TargetKind *target = FindTargetKind(job.target_type);
    return target != nullptr && target->place != nullptr ? target->place(job)
                                                         : CheckpointPlace::None;
}

std::optional<Generation> FindGeneration(const Job &job, const std::string &run, bool at_work)
{
    const auto stored = FindStored(job, run, at_work);
    if (!stored)
        return std::nullopt;
    try {
        Generation generation = DecodeGeneration(stored->bytes);
        if (generation.run != stored->run || generation.number != stored->number)
            throw DamagedCheckpoint("the checkpoint is not the one that it is kept as");
        return generation;
    } catch (const DamagedCheckpoint &damage) {
        throw DamagedCheckpoint(fmt::format("{}; to do without it and begin anew: fenwire run "
                                            "--fresh {}",
                                            damage.what(), Escaped(job.file.string())));
    }
}

void ForgetGeneration(const Job &job, const std::string &run)
{
    switch (PlaceOfCheckpoints(job)) {
    case CheckpointPlace::Within:
        return FindTargetKind(job.target_type)->forget(job, run);
    case CheckpointPlace::Beside:
        return ForgetStore(job);
    case CheckpointPlace::None:
        break;
    }
}

}  // namespace fenwire
