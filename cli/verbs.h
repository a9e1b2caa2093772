// cli/verbs.h - what the program can be asked to do: one function and one file a verb.
//
// A verb returns the exit status of the program: 0 all is well, 2 the command line or the job file is
// wrong and nothing was started; run has more (docs/job-file.md). It throws what it can't help;
// main prints that. To add a verb: its options and its function here, a file, and a row in main.cpp.

#ifndef FENWIRE_CLI_VERBS_H
#define FENWIRE_CLI_VERBS_H

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/console/report.h"
#include "host/coordinator/run.h"
#include "host/job/job.h"

namespace fenwire {

inline constexpr int kExitGood = 0, kExitRefused = 2, kExitFailed = 12;

struct JobOptions {
    std::string file;
    std::string instances;              // as given; empty: not
    std::vector<std::string> settings;  // step.Name=value
};

struct RunOptions {
    JobOptions job;
    std::string progress = "auto";
    bool json = false;
    bool fresh = false;  // forgets a checkpoint instead of refusing to begin
};

struct ResumeOptions {
    RunOptions run;
    bool accept_changed = false;
};

struct StatusOptions {
    JobOptions job;
    bool json = false;
};

struct GuessOptions {
    std::vector<std::string> files;
    std::string output;            // empty: standard output
    std::string header = "guess";  // or yes, no
    bool force = false;            // output may replace a file
};

struct RejectsOptions {
    RunOptions run;
    int64_t limit = -1;  // records that are shown; -1: not given
    bool anyway = false, no_remarks = false;
};

struct PreviewOptions {
    JobOptions job;
    uint32_t rows = 10;
};

int RunVerb(const RunOptions &options);
int ResumeVerb(const ResumeOptions &options);
int StatusVerb(const StatusOptions &options);
int PreviewVerb(const PreviewOptions &options);
int GuessVerb(const GuessOptions &options);
int CheckVerb(const JobOptions &options);
int ExplainVerb(const std::string &subject);
int ListVerb(const std::string &subject);
int DocsVerb(const std::string &page);
int VersionVerb();
int RejectsShowVerb(const RejectsOptions &options);
int RejectsRetryVerb(const RejectsOptions &options);

// ---- For the verbs ----------------------------------------------------------------------------

// The command line asks for what can't be had.
struct UsageError : std::runtime_error {
    UsageError(const std::string &what, std::string likely)
        : std::runtime_error(what), hint(std::move(likely))
    {
    }
    std::string hint;
    std::vector<std::string> details;  // a line each, between what and hint
};

// Runs the job with the console that the options ask for.
JobReport RunWithConsole(const Job &job, const RunOptions &options, RunPlan plan);
// With json, what keeps a job from starting is told as an object, too, before it is thrown on.
int WithRefusals(bool json, const std::function<int()> &run);

// "fenwire: error: ..", with the details and the hint below it when there is one.
void PrintError(const std::string &what, const std::string &hint = {},
                const std::vector<std::string> &details = {});

void Say(const std::string &text);  // a line on standard error

std::vector<Override> Overrides(const JobOptions &options);  // UsageError for a bad --set

}  // namespace fenwire

#endif
