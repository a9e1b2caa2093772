// cli/status.cpp - `fenwire status`: what became of a job, without touching it.
//
//     orders: stopped at 2026-11-21 20:16:03 UTC: interrupted by Ctrl-C
//       checkpoint  7 of 2026-11-21 20:16:03 UTC: 1,234,567 rows are in, 12 were refused
//       files       3 done, 1 open, 4 pending
//                   in/orders_4.csv  open, instance 2
//       next        fenwire resume orders.toml

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/going_on.h"
#include "cli/verbs.h"
#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/run_state.h"
#include "host/console/figures.h"
#include "host/job/command.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

using Json = nlohmann::ordered_json;
using Outcome = RunState::Outcome;

constexpr const char *kFileStates[] = {"pending", "open", "done"};

const char *FileState(const FileIdentity &file)
{
    return kFileStates[std::min<size_t>(file.status, std::size(kFileStates) - 1)];
}

struct Status {
    std::string state;  // "new", "running", "killed", "stopped", "failed", "finished"
    int process = 0;    // of a running one
    RunState run;
    std::optional<Generation> generation;
    std::string no_generation;  // why it can't be told
    std::string next;           // the command that goes on
};

std::string StateWord(const Status &status, bool known)
{
    if (status.process != 0)
        return "running";
    if (!known)
        return status.generation ? "killed" : "new";
    static constexpr const char *kWords[] = {"killed", "stopped", "failed", "finished"};
    return kWords[static_cast<size_t>(status.run.outcome)];
}

std::string NextCommand(const Job &job, const Status &status)
{
    if (status.process != 0)
        return {};
    if (!status.no_generation.empty())
        return JobCommand("run --fresh", job);
    return JobCommand(status.generation ? "resume" : "run", job);
}

Status LookAt(const Job &job)
{
    Status status;
    status.process = RunningProcess(job.state);
    const std::optional<RunState> run = ReadRunState(job);
    if (run)
        status.run = *run;
    try {
        status.generation = FindGeneration(job, {}, status.process != 0);
        if (const auto moved = status.generation ? std::nullopt : MovedAway(job))
            status.no_generation = moved->what();
    } catch (const std::exception &failure) {
        status.no_generation = failure.what();
    }
    // A job that holds nothing yet begins anew all the same.
    if (status.generation && status.process == 0 && !IsUnfinished(job, *status.generation))
        status.generation.reset();
    status.state = StateWord(status, run.has_value());
    status.next = NextCommand(job, status);
    return status;
}

// ---- For a person -----------------------------------------------------------------------------

std::string Verdict(const Status &status)
{
    const RunState &run = status.run;
    if (status.state == "new")
        return "has not been run";
    if (status.state == "running")
        return fmt::format("running as process {}{}", status.process,
                           run.process == status.process ? " since " + UtcWords(run.began) : "");
    if (status.state == "killed")
        return run.began.empty()
                   ? "a run of it was cut short; its state folder is gone"
                   : fmt::format("begun at {} and cut short: killed, or the machine went down",
                                 UtcWords(run.began));
    return fmt::format("{} at {}{}", status.state, UtcWords(run.changed),
                       run.reason.empty() ? "" : ": " + Escaped(run.reason));
}

void Line(const char *label, const std::string &text) { fmt::print("  {:<10}  {}\n", label, text); }

void PrintCheckpoint(const Generation &generation)
{
    Line("checkpoint",
         fmt::format("{} of {}: {} in, {} refused{}", generation.number,
                     UtcWords(generation.saved_at), Amount(generation.rows, "row is", "rows are"),
                     Grouped(generation.refused),
                     generation.rows_ended ? "; only the end of the job is missing" : ""));
}

void PrintFiles(const std::vector<FileIdentity> &files)
{
    constexpr size_t kShown = 20;
    if (files.empty())
        return;
    const auto count = [&](uint32_t status) {
        return Grouped(
            static_cast<uint64_t>(std::ranges::count(files, status, &FileIdentity::status)));
    };
    Line("files", fmt::format("{} done, {} open, {} pending", count(2), count(1), count(0)));
    size_t open = 0;
    for (const FileIdentity &file : files) {
        if (file.status == 1 && ++open <= kShown)
            Line("", fmt::format("{}  open, instance {}", Escaped(file.path), file.instance));
    }
    if (open > kShown)
        Line("", fmt::format("and {} more", open - kShown));
}

void Print(const Job &job, const Status &status)
{
    fmt::print("{}: {}\n", job.name, Verdict(status));
    if (status.generation) {
        PrintCheckpoint(*status.generation);
        PrintFiles(status.generation->inputs);
    } else if (!status.no_generation.empty()) {
        Line("checkpoint", "can't be used: " + Escaped(status.no_generation));
    } else if (status.state != "new" && status.state != "finished") {
        Line("checkpoint", "none");
    }
    if (!status.next.empty())
        Line("next", status.next);
}

// ---- For a program ----------------------------------------------------------------------------

Json CheckpointObject(const Generation &generation)
{
    return {{"generation", generation.number},
            {"saved_at", generation.saved_at},
            {"rows", generation.rows},
            {"refused", generation.refused},
            {"rows_ended", generation.rows_ended}};
}

void PrintJson(const Job &job, const Status &status)
{
    Json files = Json::array(), outputs = Json::array();
    if (status.generation) {
        for (const FileIdentity &file : status.generation->inputs)
            files.push_back({{"name", file.path},
                             {"state", FileState(file)},
                             {"instance", file.instance},
                             {"bytes", file.size}});
        for (const FileIdentity &file : status.generation->outputs)
            outputs.push_back(
                {{"name", file.path}, {"instance", file.instance}, {"bytes", file.size}});
    }
    const Json object = {
        {"job", job.name},
        {"state", status.state},
        {"process", status.process},
        {"run", status.run.run},
        {"began", status.run.began},
        {"changed", status.run.changed},
        {"reason", status.run.reason},
        {"checkpoint", status.generation ? CheckpointObject(*status.generation) : Json()},
        {"checkpoint_failure", status.no_generation},
        {"files", files},
        {"outputs", outputs},
        {"next", status.next}};
    fmt::print("{}\n", object.dump(2, ' ', true, Json::error_handler_t::replace));
}

}  // namespace

int StatusVerb(const StatusOptions &options)
{
    return WithRefusals(options.json, [&] {
        const Job job = LoadJob(options.job.file, Overrides(options.job));
        const Status status = LookAt(job);
        options.json ? PrintJson(job, status) : Print(job, status);
        return kExitGood;
    });
}

}  // namespace fenwire
