// host/rejects/retry.cpp

#include "host/rejects/retry.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

#include "host/checkpoint/checkpoints.h"
#include "host/coordinator/state_folder.h"
#include "host/job/attribute_catalogue.h"
#include "host/job/words.h"
#include "host/rejects/reject_list.h"
#include "host/rejects/reject_reader.h"
#include "host/system/unique_fd.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using Outcome = RejectState::Outcome;

std::string Shown(const fs::path &path) { return Quoted(path.string()); }

// Words for a state from which no retry may start by itself; null: it may.
struct Obstacle {
    const char *what, *hint;
};
constexpr Obstacle kObstacles[] = {
    /* Running  */ {
        "the last run still goes on or was cut short, so it is not known whether its rows "
        "are in the target",
        "wait for its end, or run the job again; --anyway when the target holds its rows"},
    /* Loaded   */ {nullptr, nullptr},
    /* Failed   */
    {"the last run failed, so the rows of its good records are not in the target",
     "run the job again: it reads these records anew; --anyway loads them alone"},
    /* Retrying */
    {"a retry of these records still goes on or was cut short, so it is not known "
     "whether their rows are in the target",
     "look into the target; --anyway when it does not hold them"},
    /* Unfinished */ {nullptr, nullptr},  // see RefuseUnfinished
};

// Rows up to the checkpoint are in the target. The job that goes on reads the others, and writes the
// record error file on from there, so a retry in between would have no firm ground at all.
void RefuseUnfinished(const Job &job, const RejectState &state)
{
    const auto cut_short = [&] {
        const std::optional<Generation> last = FindGeneration(job, {});
        return last && last->number > 0;
    };
    if (state.outcome != Outcome::Unfinished && (state.outcome != Outcome::Running || !cut_short()))
        return;
    throw RetryRefused("the job is not finished: its rows are partly in the target",
                       fmt::format("fenwire resume {} goes on with it", Shown(job.file)));
}

// What somebody mended in a file whose records have moved on to the next one would wait for ever.
void RefuseMendedBefore(const fs::path &first, const RejectState &state)
{
    std::error_code none;
    const fs::file_time_type now = fs::last_write_time(state.file, none);
    for (int retry = 0; retry < state.retries && !none; ++retry) {
        const fs::path before = retry == 0 ? first : RetryErrorFile(first, retry);
        std::error_code gone;
        if (fs::last_write_time(before, gone) > now && !gone)
            throw RetryRefused(
                fmt::format("{} was changed, but it has been retried: the records that "
                            "still wait are in {}",
                            Shown(before), Shown(state.file)),
                fmt::format("mend them in {}; --anyway leaves the other file alone",
                            Shown(state.file)));
    }
}

RejectState Waiting(const Job &job, const RetryChoice &choice)
{
    const fs::path file = RecordErrorFile(job);
    if (file.empty())
        throw RetryRefused("the job keeps no bad records: it names no RecordErrorFileName",
                           "add RecordErrorFileName to [producer] and run the job");
    RejectState fresh = {file, Outcome::Loaded, 0, RemarksOf(job), {}, {}};
    std::optional<RejectState> state = ReadRejectState(job);
    if (state)
        RefuseUnfinished(job, *state);
    const char *what = nullptr, *hint = "";
    if (!state) {
        what = "no run of the job has kept bad records";
        hint = "run the job first";
    } else if (state->file != (state->retries > 0 ? RetryErrorFile(file, state->retries) : file)) {
        what = "the last run kept its bad records under another name than RecordErrorFileName";
        hint = "give the job the name that it had";
        state.reset();
    } else if (state->outputs.empty() || RunningProcess(job.state) != 0) {
        const Obstacle &obstacle = kObstacles[static_cast<size_t>(state->outcome)];
        what = obstacle.what;
        hint = obstacle.hint;
    }
    if (what != nullptr && !choice.anyway)
        throw RetryRefused(what, hint);
    if (what == nullptr && !choice.anyway)
        RefuseMendedBefore(file, *state);
    if (!state)
        state = fresh;
    if (choice.anyway)
        state->outputs = {};  // the user says so
    if (state->text.empty() || (state->outcome != Outcome::Loaded && state->outputs.empty())) {
        state->outcome = Outcome::Loaded;
        fs::create_directories(job.state);
        WriteRejectState(job, *state);
    }
    return *state;
}

std::string ReadWhole(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string bytes;
    if (in && fs::is_regular_file(path))
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    if (!in || in.bad() || !fs::is_regular_file(path))
        throw RetryRefused(fmt::format("the record error file {} can't be read", Shown(path)),
                           "it may have been moved; put it back, or run the job again");
    return bytes;
}

std::vector<KnownRecord> ReadKnown(const fs::path &error_file, const RetryChoice &choice)
{
    std::vector<KnownRecord> known;
    try {
        ReadRejectList(RejectListOf(error_file), [&](RejectEntry &&entry) {
            if (entry.in_error_file)
                known.push_back({std::move(entry.raw), entry.left_out});
        });
    } catch (const std::runtime_error &failure) {
        if (!choice.anyway)
            throw RetryRefused(fmt::format("{}; without it nobody can tell which records are "
                                           "loaded already",
                                           failure.what()),
                               "--anyway loads all that is not known to be loaded");
    }
    return known;
}

SortedRecords Sort(const Job &job, const RejectState &state, const RetryChoice &choice)
{
    const bool remarks = state.remarks.present && !choice.no_remarks;
    if (remarks && state.remarks.prefix.empty())
        throw RetryRefused(
            fmt::format(
                "{} holds lines of remarks, which nobody can tell from records: the job has "
                "RecordErrorVerbosity and no RecordErrorFilePrefix",
                Shown(state.file)),
            "take them out and add --no-remarks; give the job a RecordErrorFilePrefix for the next "
            "run");
    const std::vector<KnownRecord> known = ReadKnown(state.file, choice);
    const bool loaded = !std::ranges::all_of(known, &KnownRecord::left_out);
    const std::string file = ReadWhole(state.file);
    if (IsUtf16(job.charset)) {
        if (remarks || loaded)
            throw RetryRefused("in UTF-16 the record error file can't be sorted into records that "
                               "wait, records that are loaded already, and remarks",
                               "load it with a job of its own");
        SortedRecords all;
        all.load = file;
        return all;
    }
    SortedRecords sorted = SortRecords(file, known, remarks ? &state.remarks.prefix : nullptr);
    if (!sorted.Safe() && !choice.anyway)
        throw RetryRefused(
            sorted.alike
                ? std::string("records with the same bytes were both left out and loaded")
                : fmt::format("{} of the records in {} whose rows went on changed, and so are "
                              "loaded already, no longer stand there as they were read; {} other "
                              "lines were changed, and nobody can tell which are which",
                              sorted.missing_loaded, Shown(state.file), sorted.repaired),
            fmt::format("put them back, retry leaves them out by itself: \"left_out\":false in {}; "
                        "--anyway when you removed them",
                        Shown(RejectListOf(state.file))));
    return sorted;
}

void Set(Step &step, const std::string &name, const std::string &value)
{
    std::erase_if(step.attributes, [&](const Attribute &given) { return given.name == name; });
    step.attributes.push_back({name, value, {}});
}

// What says which files are read, how far, and by how many, is not for the record error file.
bool IsForTheFilesOnly(const Attribute &attribute)
{
    const AttributeInfo *info = FindAttribute(attribute.name);
    if (info == nullptr)
        return false;
    using enum AttributeGroup;
    constexpr AttributeGroup kGroups[] = {Files, Rows, Readers, Vigil, Archive, Modules, Hadoop};
    return std::ranges::find(kGroups, info->group) != std::end(kGroups);
}

constexpr std::string_view kStaging = "retry-";

// What retries that were killed have left: each has a folder named after its process.
void RemoveLeftStaging(const fs::path &state)
{
    std::error_code none;
    for (const auto &entry : fs::directory_iterator(state, none)) {
        const std::string name = entry.path().filename().string();
        pid_t process = 0;
        if (name.starts_with(kStaging))
            std::from_chars(name.data() + kStaging.size(), name.data() + name.size(), process);
        if (process > 0 && kill(process, 0) != 0 && errno == ESRCH)
            fs::remove_all(entry.path(), none);
    }
}

// Under the error file's own name, in a folder of this process.
void Stage(Retry &retry)
{
    const fs::path folder = retry.job.state / fmt::format("{}{}", kStaging, getpid());
    retry.staged.reset(new fs::path(folder));
    fs::remove_all(folder);
    fs::create_directories(folder);
    const fs::path path = folder / retry.file.filename();
    const UniqueFd fd(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        ThrowErrno(fmt::format("{} can't be made", Shown(path)));
    for (std::string_view left = retry.records.load; !left.empty();) {
        const ssize_t written = write(fd.get(), left.data(), left.size());
        if (written < 0 && errno != EINTR)
            ThrowErrno(fmt::format("{} can't be written", Shown(path)));
        left.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
    Set(retry.job.producer, "FileName", path.string());
}

}  // namespace

void FolderRemover::operator()(fs::path *folder) const
{
    std::error_code none;
    fs::remove_all(*folder, none);
    delete folder;
}

fs::path WaitingErrorFile(const Job &job)
{
    const fs::path file = RecordErrorFile(job);
    if (file.empty())
        throw RetryRefused("the job keeps no bad records: it names no RecordErrorFileName",
                           "add RecordErrorFileName to [producer] and run the job");
    const std::optional<RejectState> state = ReadRejectState(job);
    return state && state->retries > 0 && state->file == RetryErrorFile(file, state->retries)
               ? state->file
               : file;
}

Retry PlanRetry(const Job &job, const RetryChoice &choice)
{
    const RejectState state = Waiting(job, choice);
    RemoveLeftStaging(job.state);
    Retry retry;
    retry.file = state.file;
    retry.records = Sort(job, state, choice);
    retry.job = job;
    retry.job.retry_of = state.text;
    const TargetKind *target = FindTargetKind(job.target_type);
    if (target != nullptr && target->prepare_to_add != nullptr) {
        if (const std::string obstacle = target->prepare_to_add(retry.job); !obstacle.empty())
            throw RetryRefused(obstacle, "--set target.file=NAME names another");
    }
    if (!job.has_target())
        Set(retry.job.consumer, "OpenMode", "WriteAppend");  // behind the rows of the run before
    Step &step = retry.job.producer;
    step.instances = 1;
    std::erase_if(step.attributes, IsForTheFilesOnly);
    std::erase_if(step.attributes,
                  [](const Attribute &given) { return given.name == "RowErrFileName"; });
    Set(step, "FileName", state.file.string());
    Set(step, "EnableScan", "No");
    Set(step, "RecordErrorFileName",
        RetryErrorFile(RecordErrorFile(job), state.retries + 1).string());
    if (retry.records.loaded + retry.records.remarks > 0 && !retry.records.load.empty())
        Stage(retry);
    return retry;
}

}  // namespace fenwire
