// cli/going_on.h - what `run`, `resume` and `status` know of an earlier run of the job.

#ifndef FENWIRE_CLI_GOING_ON_H
#define FENWIRE_CLI_GOING_ON_H

#include <optional>
#include <string>

#include "cli/verbs.h"
#include "host/checkpoint/generation.h"
#include "host/coordinator/run.h"

namespace fenwire {

// Both take the state folder's lock before they look, and throw UsageError with nothing touched where the
// job may not begin, or not go on.
RunPlan PlanRun(const Job &job, bool fresh);
RunPlan PlanResume(const Job &job, bool accept_changed);

// Whether a run from the start would do again what the generation holds.
bool IsUnfinished(const Job &job, const Generation &generation);
// A job whose folder was moved looks as if it had stored nothing, while its rows may be in the target:
// they would come twice. None: it was not moved, or can begin anew.
std::optional<UsageError> MovedAway(const Job &job);
bool AddsToFiles(const Job &job);  // rather than to begin them anew

std::string
CheckpointWords(const Generation &generation);  // "checkpoint 7 of 2026-11-21 20:15:00 UTC"

}  // namespace fenwire

#endif
