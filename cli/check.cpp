// cli/check.cpp - `fenwire check`: all of a job but the start.
//
//     ok: job load-orders: 4 columns, 2 instances, character set UTF8
//     ok: input: 3 files, 1.2 MB, /data/in/*.csv
//     ok: target: sqlite
//     the job could run
//
// What is right goes to standard output. What is not goes to standard error, all of it, and the exit
// status is 2.

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

#include "cli/verbs.h"
#include "host/job/attribute_catalogue.h"
#include "host/job/data_files.h"
#include "host/job/words.h"
#include "host/rejects/reject_list.h"
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

// Attributes that are right and do nothing here.
void NoteIdleAttributes(const Job &job)
{
    const bool delimited = SameWord(job.producer.Text("Format"), "Delimited");
    const bool kept = !RecordErrorFile(job).empty();
    for (const Attribute &attribute : job.producer.attributes) {
        const AttributeInfo *info = FindAttribute(attribute.name);
        if (info->support == Support::Ignored)
            Note(fmt::format("{0} has no effect in this version; see fenwire explain {0}",
                             info->name));
        else if (!kept && info->group == AttributeGroup::BadRecords)
            Note(fmt::format("{} has no effect without RecordErrorFileName", info->name));
        else if (!delimited && info->group == AttributeGroup::Marks &&
                 info->name != "UseGeneralUDDIcase")
            Note(fmt::format("{} has no effect with Format = \"Text\"", info->name));
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

}  // namespace

int CheckVerb(const JobOptions &options)
{
    const Job job = LoadJob(options.file, Overrides(options));
    fmt::print("ok: job {}: {}, {}, character set {}\n", job.name,
               Count(job.columns.size(), "column"), Count(job.producer.instances, "instance"),
               Escaped(job.charset));
    NoteIdleAttributes(job);
    std::vector<Complaint> found = CheckInput(job);
    std::ranges::move(CheckTarget(job), std::back_inserter(found));
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
