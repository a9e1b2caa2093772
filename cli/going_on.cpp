// cli/going_on.cpp - what `run` and `resume` find of an earlier run, before anything is touched.
//
//     the state folder's lock      nobody else runs the job, and what is found stays as it is
//     the job's generation         none: there is nothing to go on from
//     the job, then and now        what differs is named, and nothing is started
//     its files, then and now      likewise

#include "cli/going_on.h"

#include <algorithm>
#include <fmt/format.h>

#include "cli/verbs.h"
#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/fingerprint.h"
#include "host/checkpoint/run_state.h"
#include "host/console/figures.h"
#include "host/job/command.h"
#include "host/job/settings.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

// What becomes of the rows that the earlier run has stored, when the job begins anew.
std::string WhatStays(const Job &job, uint64_t rows)
{
    if (rows == 0 || job.target_type == "null")
        return {};
    if (!job.has_target())
        return AddsToFiles(job) ? "; what the output files hold stays in them"
                                : "; the output files are begun anew";
    return SettingOr<bool>(job.target, "replace", false)
               ? "; the table is emptied first"
               : fmt::format("; the {} that are in stay in the table", Amount(rows, "row", "rows"));
}

void RefuseUnfinished(const Job &job, const Generation &found)
{
    UsageError refusal(fmt::format("an earlier run of {} did not come to its end, and can go on "
                                   "from {}",
                                   job.name, CheckpointWords(found)),
                       {});
    const std::string resume = JobCommand("resume", job), anew = JobCommand("run --fresh", job);
    const size_t width = std::max(resume.size(), anew.size());
    refusal.details = {
        fmt::format("{:<{}}  goes on from there", resume, width),
        fmt::format("{:<{}}  begins anew{}", anew, width, WhatStays(job, found.rows))};
    throw refusal;
}

struct Earlier {
    Job job;
    std::string run;
};

// The last run, when the job file lay elsewhere then, and its folders have come along.
std::optional<Earlier> BeforeMove(const Job &job)
{
    const std::optional<RunState> state = ReadRunState(job);
    if (!state || state->job_file.empty() || state->job_file == job.file.string())
        return std::nullopt;
    Earlier earlier = {job, state->run};
    earlier.job.file = state->job_file;
    return earlier;
}

// A copy leaves the checkpoint to the job file that still lies there.
void ForgetBeforeMove(const Job &job)
{
    std::error_code none;
    if (const auto before = BeforeMove(job); before && !exists(before->job.file, none))
        ForgetGeneration(before->job, before->run);
}

void ForgetEarlierRun(const Job &job)
{
    ForgetBeforeMove(job);
    std::optional<Generation> found;
    try {
        found = FindGeneration(job, {});
    } catch (const std::exception &) {
        // It is to go anyway; a store that nothing can be removed from stops ForgetGeneration.
        const bool adds =
            job.has_target() ? !SettingOr<bool>(job.target, "replace", false) : AddsToFiles(job);
        Say(fmt::format("{}: a checkpoint that can't be read is forgotten{}", job.name,
                        adds ? "; rows that the earlier run has stored stay" : ""));
    }
    ForgetGeneration(job, {});
    if (found && found->number > 0)
        Say(fmt::format("{}: {} is forgotten{}", job.name, CheckpointWords(*found),
                        WhatStays(job, found->rows)));
}

void RefuseDifferences(const Job &job, const Generation &found)
{
    UsageError refusal(fmt::format("{} is no longer the job that took {}", job.file.string(),
                                   CheckpointWords(found)),
                       fmt::format("put back what it said then; or {} begins anew{}",
                                   JobCommand("run --fresh", job), WhatStays(job, found.rows)));
    refusal.details = DifferencesFrom(found.fingerprint, job);
    if (!refusal.details.empty())
        throw refusal;
}

void RefuseLostFiles(const Job &job, const Generation &found)
{
    UsageError refusal(
        fmt::format("output files do not hold what {} counts on", CheckpointWords(found)),
        fmt::format("put them back; or {} begins anew", JobCommand("run --fresh", job)));
    refusal.details = LostFiles(job, found);
    if (!refusal.details.empty())
        throw refusal;
}

void RefuseChangedFiles(const Job &job, const Generation &found)
{
    UsageError refusal(fmt::format("input files have changed since {}", CheckpointWords(found)),
                       fmt::format("put them back; or, when what was read of them is as it was, {}",
                                   JobCommand("resume --accept-changed", job)));
    refusal.details = ChangedFiles(job, found);
    if (!refusal.details.empty())
        throw refusal;
}

// Without them the job could only fail, and behind a pipe in their place it could not stop again.
void RefuseMissingFiles(const Job &job, const Generation &found)
{
    UsageError refusal(fmt::format("input files are gone, or no plain files any more, that {} "
                                   "needs",
                                   CheckpointWords(found)),
                       fmt::format("put them back; or {} begins anew{}",
                                   JobCommand("run --fresh", job), WhatStays(job, found.rows)));
    for (const FileIdentity &file : found.inputs) {
        if (file.status != FileIdentity::kFinished && IdentityOf(job, file.path).size < 0)
            refusal.details.push_back(Escaped(file.path));
    }
    if (!refusal.details.empty())
        throw refusal;
}

// From here on they are compared with what they are now.
void AcceptFiles(const Job &job, Generation &found)
{
    RefuseMissingFiles(job, found);
    for (const std::string &change : ChangedFiles(job, found))
        Say(change + ": accepted");
    for (FileIdentity &file : found.inputs) {
        if (file.status == FileIdentity::kFinished)
            continue;
        const FileIdentity now = IdentityOf(job, file.path);
        file.device = now.device;
        file.inode = now.inode;
        file.size = now.size;
        file.time_ns = now.time_ns;
    }
}

void RefuseMoved(const Job &job)
{
    if (const auto moved = MovedAway(job))
        throw *moved;
}

// What can be done without a generation: begin, or nothing.
void CheckThatItBegan(const Job &job)
{
    const std::optional<RunState> state = ReadRunState(job);
    if (!state)
        throw UsageError(fmt::format("nothing to resume: {} has not been run", job.name),
                         JobCommand("run", job) + " runs it");
    if (state->outcome == RunState::Outcome::Finished)
        throw UsageError(fmt::format("nothing to resume: the last run of {} came to its end at {}",
                                     job.name, UtcWords(state->changed)),
                         JobCommand("run", job) + " runs it again");
    if (!state->keeps_checkpoints)
        throw UsageError(fmt::format("nothing to resume: the last run of {} took no checkpoints, "
                                     "since it read or wrote what is no plain file",
                                     job.name),
                         JobCommand("run", job) + " runs it from its start");
    Say(fmt::format("{}: no checkpoint is stored, so it starts from the beginning", job.name));
}

void SayWhereFrom(const Job &job, const Generation &found)
{
    if (found.rows_ended)
        Say(fmt::format("{}: goes on from {}: all rows are in, only the end of the job is missing",
                        job.name, CheckpointWords(found)));
    else
        Say(fmt::format("{}: goes on from {}: {} in", job.name, CheckpointWords(found),
                        Amount(found.rows, "row is", "rows are")));
}

}  // namespace

std::string CheckpointWords(const Generation &generation)
{
    return fmt::format("checkpoint {} of {}", generation.number, UtcWords(generation.saved_at));
}

bool AddsToFiles(const Job &job)
{
    return !job.has_target() && SameWord(job.consumer.Text("OpenMode"), "WriteAppend");
}

bool IsUnfinished(const Job &job, const Generation &generation)
{
    return generation.number > 0 || AddsToFiles(job);
}

std::optional<UsageError> MovedAway(const Job &job)
{
    const auto before = BeforeMove(job);
    const auto found = before ? FindGeneration(before->job, before->run) : std::nullopt;
    if (!found || !IsUnfinished(job, *found))
        return std::nullopt;
    return UsageError(
        fmt::format("the last run of {} was of {} and did not come to its end; {}, with {}, is "
                    "kept for that path",
                    job.name, before->job.file.string(), CheckpointWords(*found),
                    Amount(found->rows, "row", "rows")),
        fmt::format("put the folder back to go on from there; or {} begins anew{}",
                    JobCommand("run --fresh", job), WhatStays(job, found->rows)));
}

RunPlan PlanRun(const Job &job, bool fresh)
{
    RunPlan plan;
    if (PlaceOfCheckpoints(job) == CheckpointPlace::None)
        return plan;
    plan.folder = std::make_unique<StateFolder>(job.state);
    if (fresh) {
        ForgetEarlierRun(job);
    } else if (const auto found = FindGeneration(job, {})) {
        if (IsUnfinished(job, *found))
            RefuseUnfinished(job, *found);
        ForgetGeneration(job, found->run);
    } else {
        RefuseMoved(job);
    }
    return plan;
}

RunPlan PlanResume(const Job &job, bool accept_changed)
{
    if (PlaceOfCheckpoints(job) == CheckpointPlace::None)
        throw UsageError(fmt::format("{} can't be resumed: {}", job.name, WhyNotResumable(job)),
                         JobCommand("run", job) + " runs it from its start");
    RunPlan plan;
    plan.folder = std::make_unique<StateFolder>(job.state);
    plan.from = FindGeneration(job, {});
    if (!plan.from) {
        RefuseMoved(job);
        CheckThatItBegan(job);
        return plan;
    }
    RefuseDifferences(job, *plan.from);
    RefuseLostFiles(job, *plan.from);
    if (accept_changed)
        AcceptFiles(job, *plan.from);
    else
        RefuseChangedFiles(job, *plan.from);
    SayWhereFrom(job, *plan.from);
    return plan;
}

}  // namespace fenwire
