// cli/run.cpp - `fenwire run`: load, check, move the rows, report.

#include "host/coordinator/run.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/going_on.h"
#include "cli/verbs.h"
#include "host/console/report.h"
#include "host/coordinator/signals.h"

namespace fenwire {

namespace {

ProgressMode Progress(const std::string &word)
{
    return word == "off"    ? ProgressMode::Off
           : word == "line" ? ProgressMode::Line
                            : ProgressMode::Auto;
}

// Whoever reads the object gets one for a job that was never started, too.
void PrintRefusal(const char *status, int exit_code, const std::string &what,
                  const std::vector<Complaint> &complaints = {},
                  const std::vector<std::string> &details = {}, const std::string &hint = {})
{
    nlohmann::ordered_json object = {
        {"status", status}, {"exit_code", exit_code}, {"failure", what}};
    if (!details.empty())
        object["details"] = details;
    if (!hint.empty())
        object["hint"] = hint;
    for (const Complaint &complaint : complaints)
        object["complaints"].push_back({{"line", complaint.at.line},
                                        {"column", complaint.at.line > 0 ? complaint.at.column : 0},
                                        {"what", complaint.what},
                                        {"hint", complaint.hint}});
    fmt::print("{}\n", object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

bool PrintsToStandardOutput(const Job &job)
{
    const auto is_file = [](const Setting &setting) { return setting.key == "file"; };
    return job.target_type == "print" &&
           std::none_of(job.target.begin(), job.target.end(), is_file);
}

}  // namespace

JobReport RunWithConsole(const Job &job, const RunOptions &options, RunPlan plan)
{
    if (options.json && PrintsToStandardOutput(job))
        throw UsageError("--json and rows on standard output don't go together",
                         "give the print target a file");
    const std::unique_ptr<Console> console = MakeConsole(Progress(options.progress), options.json);
    Signals::HoldUntilExit();
    return RunJob(job, *console, std::move(plan));
}

int WithRefusals(bool json, const std::function<int()> &run)
{
    try {
        return run();
    } catch (const JobError &error) {
        if (json)
            PrintRefusal("refused", kExitRefused, error.what(), error.complaints);
        throw;
    } catch (const UsageError &error) {
        if (json)
            PrintRefusal("refused", kExitRefused, error.what(), {}, error.details, error.hint);
        throw;
    } catch (const std::exception &error) {
        if (json)
            PrintRefusal("failed", kExitFailed, error.what());
        throw;
    }
}

int RunVerb(const RunOptions &options)
{
    return WithRefusals(options.json, [&] {
        const Job job = LoadJob(options.job.file, Overrides(options.job));
        return RunWithConsole(job, options, PlanRun(job, options.fresh)).exit_code;
    });
}

}  // namespace fenwire
