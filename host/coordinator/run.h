// host/coordinator/run.h - a job from start to end.

#ifndef FENWIRE_HOST_COORDINATOR_RUN_H
#define FENWIRE_HOST_COORDINATOR_RUN_H

#include <memory>
#include <optional>

#include "host/checkpoint/generation.h"
#include "host/console/report.h"
#include "host/coordinator/state_folder.h"
#include "host/job/job.h"

namespace fenwire {

// How a job is to begin, besides what its file says.
struct RunPlan {
    std::unique_ptr<StateFolder>
        folder;                      // locked by who looked for generations; null: RunJob locks it
    bool keeps_checkpoints = true;   // false for a look at rows and for a retry of bad records
    std::optional<Generation> from;  // go on from here
};

// Runs the job: starts the target process and the instances, carries it through its phases, and ends
// every process it started. The report is complete, also for a failed job; the console has had it.
// Throws only what keeps a job from starting at all (std::runtime_error with words for the user).
JobReport RunJob(const Job &job, Console &console, RunPlan plan = {});

}  // namespace fenwire

#endif
