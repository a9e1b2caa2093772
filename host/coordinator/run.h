// host/coordinator/run.h - a job from start to end.

#ifndef FENWIRE_HOST_COORDINATOR_RUN_H
#define FENWIRE_HOST_COORDINATOR_RUN_H

#include "host/console/report.h"
#include "host/job/job.h"

namespace fenwire {

// Runs the job: starts the target process and the instances, carries it through its phases, and ends
// every process it started. The report is complete, also for a failed job; the console has had it.
// Throws only what keeps a job from starting at all (std::runtime_error with words for the user).
JobReport RunJob(const Job &job, Console &console);

}  // namespace fenwire

#endif
