// cli/rejects.cpp - `fenwire rejects show` and `fenwire rejects retry`: the bad records of the last run.

#include <algorithm>
#include <fmt/format.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/going_on.h"
#include "cli/verbs.h"
#include "host/console/figures.h"
#include "host/coordinator/run.h"
#include "host/job/words.h"
#include "host/rejects/reject_list.h"
#include "host/rejects/reject_table.h"
#include "host/rejects/retry.h"

namespace fenwire {

namespace {

constexpr uint64_t kShownInTable = 100;

size_t ScreenWidth()
{
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void PrintTable(const std::vector<RejectEntry> &entries, uint64_t all, uint64_t left_out)
{
    if (!entries.empty())
        for (const std::string &line : RejectTableLines(entries, ScreenWidth()))
            fmt::print("{}\n", line);
    if (all > entries.size())
        fmt::print("... {} more; --limit N shows N\n", Grouped(all - entries.size()));
    fmt::print("{}: {} left out, {} loaded all the same\n",
               Amount(all, "bad record", "bad records"), Grouped(left_out),
               Grouped(all - left_out));
}

void SayWhatIsLeftAside(const Retry &retry)
{
    const SortedRecords &records = retry.records;
    if (records.loaded > 0)
        Say(Amount(records.loaded, "record is", "records are") +
            " left aside: the rows were loaded when the records were found bad");
    if (records.missing > records.repaired)
        Say(Amount(records.missing - records.repaired, "record is", "records are") +
            " no longer in the file and will not be loaded");
    for (const Column &column : retry.job.columns) {
        if (column.file_name)
            Say(fmt::format("column {} takes the name of the record error file; the names of the "
                            "files that the records came from are in {}",
                            column.name, RejectListOf(retry.file).string()));
    }
}

// The target leaves out rows by its own rules, and no file keeps those.
std::string RefusedAgain(const JobReport &report)
{
    const uint64_t again = report.rejects.left_out;
    std::string text = again == 0 ? "none refused"
                                  : fmt::format("{} refused again and kept in {}", Grouped(again),
                                                report.rejects.file);
    if (report.refused > again)
        text += fmt::format(", {} left out by the target and kept nowhere",
                            Grouped(report.refused - again));
    return text;
}

int RunRetry(const RejectsOptions &options)
{
    const Job job = LoadJob(options.run.job.file, Overrides(options.run.job));
    const Retry retry = PlanRetry(job, {options.anyway, options.no_remarks});
    SayWhatIsLeftAside(retry);
    if (retry.records.load.empty()) {
        Say(fmt::format("{} holds nothing that waits to be loaded", retry.file.string()));
        return kExitGood;
    }
    RunPlan plan;
    plan.keeps_checkpoints = false;
    const JobReport report = RunWithConsole(retry.job, options.run, std::move(plan));
    const std::string of = retry.file.string();
    const std::optional<RejectState> now = ReadRejectState(job);
    if (report.conserved || report.loaded > 0)
        Say(fmt::format("retry of {}: {} loaded, {}", of, Amount(report.loaded, "row", "rows"),
                        RefusedAgain(report)));
    else if (now && now->outcome == RejectState::Outcome::Loaded)
        Say(fmt::format("retry of {}: nothing was loaded; its records wait as before", of));
    else
        Say(fmt::format("retry of {}: it is not known whether its rows are in the target", of));
    return report.exit_code;
}

}  // namespace

int RejectsShowVerb(const RejectsOptions &options)
{
    const Job job = LoadJob(options.run.job.file, Overrides(options.run.job));
    const uint64_t limit = options.limit >= 0 ? static_cast<uint64_t>(options.limit)
                           : options.run.json ? UINT64_MAX
                                              : kShownInTable;
    std::vector<RejectEntry> shown;
    uint64_t all = 0, left_out = 0;
    const auto take = [&](RejectEntry &&entry) {
        ++all;
        left_out += entry.left_out ? 1 : 0;
        if (all > limit)
            return;
        if (options.run.json)
            fmt::print("{}\n", entry.line);
        else
            shown.push_back(std::move(entry));
    };
    try {
        ReadRejectList(RejectListOf(WaitingErrorFile(job)), take);
    } catch (const RetryRefused &refused) {
        throw UsageError(refused.what(), refused.hint);
    } catch (const std::runtime_error &) {
        if (all > 0 && !options.run.json)
            PrintTable(shown, all, left_out);
        throw;
    }
    if (!options.run.json)
        PrintTable(shown, all, left_out);
    const std::optional<RejectState> state = ReadRejectState(job);
    if (state && state->outcome == RejectState::Outcome::Unfinished)
        Say(fmt::format("the job is not finished: fenwire resume {} goes on with it",
                        job.file.string()));
    return kExitGood;
}

int RejectsRetryVerb(const RejectsOptions &options)
{
    return WithRefusals(options.run.json, [&] {
        try {
            return RunRetry(options);
        } catch (const RetryRefused &refused) {
            throw UsageError(refused.what(), refused.hint);
        }
    });
}

}  // namespace fenwire
