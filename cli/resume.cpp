// cli/resume.cpp - `fenwire resume`: goes on from the last checkpoint of a run that did not end.

#include "cli/going_on.h"
#include "cli/verbs.h"

namespace fenwire {

int ResumeVerb(const ResumeOptions &options)
{
    return WithRefusals(options.run.json, [&] {
        const Job job = LoadJob(options.run.job.file, Overrides(options.run.job));
        return RunWithConsole(job, options.run, PlanResume(job, options.accept_changed)).exit_code;
    });
}

}  // namespace fenwire
