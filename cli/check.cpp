// cli/check.cpp - `fenwire check`: all of a job but the start.
//
//     ok: job load-orders: 4 columns, 2 instances, character set UTF8
//     ok: input: 3 files, 1.2 MB, /data/in/*.csv
//     ok: target: sqlite
//     ok: checkpoints: every 60 s, kept in the target
//     the job could run
//
// Of a job that writes files, "ok: output: 2 files, Delimited", and what would become of each.
//
// What is right goes to standard output. What is not goes to standard error, all of it, and the exit
// status is 2.

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fstream>
#include <iterator>

#include "cli/verbs.h"
#include "host/checkpoint/checkpoints.h"
#include "host/job/attribute_catalogue.h"
#include "host/job/data_files.h"
#include "host/job/output_files.h"
#include "host/job/words.h"
#include "host/rejects/reject_list.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

std::string ShowBytes(uint64_t bytes)
{
    constexpr const char *kUnits[] = {"kB", "MB", "GB", "TB"};
    if (bytes < 1000)
        return fmt::format("{} bytes", bytes);
    double size = static_cast<double>(bytes) / 1000;
    size_t unit = 0;
    for (; size >= 999.95 && unit + 1 < std::size(kUnits); ++unit)
        size /= 1000;
    return fmt::format("{:.1f} {}", size, kUnits[unit]);
}

std::string Count(size_t number, const char *what)
{
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

void Note(const std::string &what) { fmt::print("note: {}\n", what); }

// Why an attribute that is right does nothing in its step; empty: it does.
std::string WhyIdle(const Job &job, const Step &step, const AttributeInfo &info)
{
    const std::string format = step.Text("Format");
    if (info.support == Support::Ignored)
        return fmt::format("has no effect in this version; see fenwire explain {}", info.name);
    if (!DoesSomethingIn(info, step.role))
        return IsTakenBy(info, step.role) ? "has no effect in a step that writes"
                                          : "has no effect in this step";
    if (info.group == AttributeGroup::BadRecords && RecordErrorFile(job).empty())
        return "has no effect without RecordErrorFileName";
    if (info.group == AttributeGroup::Marks && !SameWord(format, "Delimited") &&
        info.name != "UseGeneralUDDIcase")
        return fmt::format("has no effect with Format = {}", Quoted(format));
    return {};
}

void NoteIdleAttributes(const Job &job, const Step &step)
{
    for (const Attribute &attribute : step.attributes) {
        const AttributeInfo *info = FindAttribute(attribute.name);
        if (const std::string why = WhyIdle(job, step, *info); !why.empty())
            Note(fmt::format("{} {}", info->name, why));
        else if (std::holds_alternative<std::vector<std::string>>(attribute.value))
            Note(fmt::format("{} is a list; the operator takes a single value and will refuse it",
                             info->name));
    }
}

// A column that takes their names must have room for the longest. Converted ones are left to the run.
std::vector<Complaint> CheckFileNames(const Job &job, const std::vector<DataFile> &files)
{
    const auto column = std::ranges::find_if(job.columns, &Column::file_name);
    if (column == job.columns.end() || files.empty())
        return {};
    const std::string &longest =
        std::ranges::max(files, {}, [](const DataFile &file) { return file.opened.size(); }).opened;
    if (longest.size() <= column->length)
        return {};
    return {{column->at,
             fmt::format("column {} holds {} bytes; the file name {} has {}", Quoted(column->name),
                         column->length, Quoted(longest), longest.size()),
             "make the column longer"}};
}

std::vector<Complaint> CheckInput(const Job &job)
{
    DataFiles found = FindDataFiles(job);
    for (const std::string &note : found.notes)
        Note(note);
    if (!found.faults.empty())
        return std::move(found.faults);
    uint64_t bytes = 0;
    for (const DataFile &file : found.files)
        bytes += file.bytes;
    if (std::vector<Complaint> faults = CheckFileNames(job, found.files); !faults.empty())
        return faults;
    const std::string where =
        found.pattern
            ? (found.directory / job.producer.Text("FileName")).lexically_normal().string()
            : found.files.front().path.lexically_normal().string();
    fmt::print("ok: input: {}, {}, {}\n", Count(found.files.size(), "file"), ShowBytes(bytes),
               Escaped(where));
    if (found.files.size() < static_cast<size_t>(job.producer.instances))
        Note(fmt::format("{} for {}: the others stay idle", Count(found.files.size(), "file"),
                         Count(job.producer.instances, "instance")));
    return {};
}

std::vector<Complaint> CheckSource(const Job &job)
{
    try {
        MakeSource(job)->Check();
    } catch (const SourceError &error) {
        return {{job.source_at, error.what(), {}}};
    }
    fmt::print("ok: source: {}\n", job.source_type);
    return {};
}

std::vector<Complaint> CheckTarget(const Job &job)
{
    try {
        MakeTarget(job)->Check();
    } catch (const TargetError &error) {
        return {{job.target_at, error.what(), {}}};
    }
    fmt::print("ok: target: {}\n", job.target_type);
    return {};
}

// What would become of each file.
std::vector<Complaint> CheckOutput(const Job &job)
{
    constexpr size_t kShown = 20;
    OutputLook look = LookAtOutput(job);
    if (!look.faults.empty())
        return std::move(look.faults);
    fmt::print("ok: output: {}, {}\n", Count(look.files.size(), "file"),
               job.consumer.Text("Format"));
    for (size_t i = 0; i < std::min(look.files.size(), kShown); ++i)
        fmt::print("      {}: {}\n", Escaped(look.files[i].path.string()), look.files[i].becomes);
    if (look.files.size() > kShown)
        fmt::print("      and {} more\n", look.files.size() - kShown);
    return {};
}

std::string RuleInWords(const CheckpointRule &rule)
{
    std::vector<std::string> when;
    if (rule.interval.count() != 0)
        when.push_back(
            fmt::format("every {} s", static_cast<double>(rule.interval.count()) / 1000));
    if (rule.rows != 0)
        when.push_back(fmt::format("every {}", Count(rule.rows, "row")));
    return when.empty() ? "before the first row and behind the last; with checkpoint in [job] also "
                          "on the way"
                        : fmt::format("{}", fmt::join(when, " or "));
}

void TellOfCheckpoints(const Job &job)
{
    const CheckpointPlace place = PlaceOfCheckpoints(job);
    if (place == CheckpointPlace::None)
        return Note("the job can't be resumed: " + WhyNotResumable(job));
    fmt::print("ok: checkpoints: {}, kept in {}\n", RuleInWords(job.checkpoint),
               place == CheckpointPlace::Within ? "the target" : "the state folder");
}

std::string InstancesInWords(const Job &job)
{
    const std::string readers = Count(static_cast<size_t>(job.readers()), "instance");
    return job.has_target() ? readers
                            : fmt::format("{} to read, {} to write", readers, job.writers());
}

}  // namespace

int CheckVerb(const JobOptions &options)
{
    const Job job = LoadJob(options.file, Overrides(options));
    fmt::print("ok: job {}: {}, {}, character set {}\n", job.name,
               Count(job.columns.size(), "column"), InstancesInWords(job), Escaped(job.charset));
    NoteIdleAttributes(job, job.producer);
    NoteIdleAttributes(job, job.consumer);
    std::vector<Complaint> found = job.has_source() ? CheckSource(job) : CheckInput(job);
    std::ranges::move(job.has_target() ? CheckTarget(job) : CheckOutput(job),
                      std::back_inserter(found));
    TellOfCheckpoints(job);
    if (!found.empty()) {
        std::ifstream in(job.file, std::ios::binary);
        const std::string source{std::istreambuf_iterator<char>(in), {}};
        fflush(stdout);
        throw MakeJobError(options.file, source, std::move(found));
    }
    fmt::print("the job could run: fenwire run {}\n", Escaped(options.file));
    return kExitGood;
}

}  // namespace fenwire
