// host/console/summary.cpp - how the end of a job is told to a person.
//
//     orders: loaded with warnings in 3.3 s (exit code 4)
//
//     in /data/2024/:
//     file            records     loaded  refused  skipped      size   time
//     orders.tbl    1,234,567  1,234,560        7        0  98.1 MiB  3.2 s
//
//     instance  exit code       rows  files  peak memory  processor
//     1                 4  1,234,560      1     84.0 MiB      2.9 s
//
//       rows    read 1,234,567 = loaded 1,234,560 + refused 7 + skipped 0: ok
//       bad     7 records are kept in orders.bad: 5 were left out, 2 went on changed
//                       4  column 3 'amount' too long
//                       3  too few columns
//               fenwire rejects show orders.toml
//       speed   98.1 MiB in 3.3 s: 31.2 MB/s, 374,111 rows/s
//       target  sqlite orders.db, table orders
//       log     ...
//
// A job that stopped and can go on says from where:
//
//       next    correct what the reason names, then go on: fenwire resume orders.toml
//               resumable from checkpoint 7 of 2026-11-21 20:15:00 UTC, 1,234,567 rows are in
//
// Of a job that writes files, the files that were written follow those that were read, and "written"
// stands for "loaded".
//
// The whole list of files is in the JSON report; a person gets its two ends.

#include "host/console/summary.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

#include "host/console/figures.h"
#include "host/console/table.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

using Lines = std::vector<SummaryLine>;

bool HasStopped(const JobReport &report)
{
    return report.status == "failed" || report.status == "interrupted";
}

// Into files, not into a target.
bool WritesFiles(const JobReport &report) { return report.target.empty(); }
const char *Done(const JobReport &report) { return WritesFiles(report) ? "written" : "loaded"; }

bool HasFailed(const JobReport &report)
{
    return HasStopped(report) || !report.failure.empty() || !report.conserved;
}

SummaryLine Verdict(const JobReport &report)
{
    const std::string code =
        report.exit_code != 0 ? fmt::format(" (exit code {})", report.exit_code) : "";
    const Tone tone = HasFailed(report)               ? Tone::Bad
                      : report.status == Done(report) ? Tone::Good
                                                      : Tone::Caution;
    return {fmt::format("{}: {} in {}{}", Escaped(report.job), Escaped(report.status),
                        Duration(report.seconds), code),
            tone};
}

// "  label   text"; further lines of the text stand below the first.
void AddLabelled(Lines &lines, std::string_view label, std::string_view text,
                 Tone tone = Tone::Plain)
{
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (!line.empty())
            lines.push_back({fmt::format("  {:<6}  {}", label, Escaped(line)), tone});
        label = "";
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

void AddTable(Lines &lines, const Table &table, size_t width)
{
    for (const std::string &line : TableLines(table, width))
        lines.push_back({line});
}

constexpr char kExplain[] = "\"fenwire explain NUMBER\" says more about a numbered message\n";

// What was written stays, since nobody can take it back; an instance that was killed tells of no file.
std::string LeftInFiles(const JobReport &report)
{
    const auto files = std::ranges::count_if(
        report.outputs, [](const FileReport &file) { return file.records > 0; });
    if (files == 1)
        return "1 file holds part of the rows; it is not complete\n";
    if (files > 1)
        return fmt::format("{} files hold part of the rows; they are not complete\n",
                           Grouped(static_cast<uint64_t>(files)));
    return report.outputs.empty() && report.read > 0
               ? "what stands under the names of the output files is not complete\n"
               : "";
}

// What the user can do, and what to know before, where a resume makes up for everything.
std::string NextStepsToResume(const JobReport &report)
{
    const CheckpointReport &last = report.checkpoint;
    const bool failed = report.status == "failed";
    return fmt::format("{}{}\nresumable from checkpoint {} of {}, {} {} in{}\n{}",
                       failed ? "correct what the reason names, then go on: " : "to go on: ",
                       last.resume, last.generation, UtcWords(last.saved_at), Grouped(last.rows),
                       last.rows == 1 ? "row is" : "rows are",
                       last.at_least_once.empty() ? "" : "; some behind it may come twice",
                       failed ? kExplain : "");
}

// Where there is nothing to go on from.
std::string NextStepsAnew(const JobReport &report)
{
    std::string steps;
    // A job that stopped before its commit does not add up; what it left stands with the target. A retry
    // takes back what it wrote.
    const bool again = !report.retry.empty();
    const bool undone =
        HasStopped(report) && report.loaded == 0 && (again || !report.target_note.empty());
    if (!again && WritesFiles(report) && HasStopped(report) && report.loaded == 0)
        steps += LeftInFiles(report);
    else if (!report.conserved && !undone)
        steps += fmt::format("do not rely on the rows in the {}: some are not accounted for; keep "
                             "the logs\n",
                             WritesFiles(report) ? "output files" : "target");
    const std::string next = again ? "try the records again: " + report.retry : "run the job again";
    if (report.status == "failed")
        steps += fmt::format("correct what the reason names, then {}\n{}", next, kExplain);
    if (report.status == "interrupted")
        steps += next + "\n";
    if (!again && HasStopped(report) && report.loaded > 0 && !WritesFiles(report))
        steps +=
            "a new run starts from the first record: see the target below for what it holds now\n";
    return steps;
}

std::string NextSteps(const JobReport &report)
{
    return HasStopped(report) && report.checkpoint.resumable ? NextStepsToResume(report)
                                                             : NextStepsAnew(report);
}

// Where a person sees one step only, its processes are the job's instances.
std::string NameOf(const JobReport &report, const InstanceReport &instance)
{
    const bool alone = !WritesFiles(report) && report.source.empty();
    return fmt::format("{} {}", alone ? "instance" : instance.step, instance.instance);
}

void AddFailure(Lines &lines, const JobReport &report)
{
    lines.push_back({});
    AddLabelled(lines, "reason",
                report.failure.empty() && HasStopped(report) ? report.status : report.failure,
                Tone::Bad);
    AddLabelled(lines, "log", report.log);
    for (const InstanceReport &instance : report.instances) {
        if (instance.exit_code > 4 && !instance.private_log.empty())
            AddLabelled(lines, "",
                        fmt::format("{} ({})", instance.private_log, NameOf(report, instance)));
    }
    AddLabelled(lines, "next", NextSteps(report));
}

// The directory that all files are in, with its slash; empty: there is none.
std::string_view CommonDirectory(const std::vector<FileReport> &files)
{
    std::string_view common = files.front().name;
    for (const FileReport &file : files)
        common = common.substr(0, std::ranges::mismatch(common, file.name).in1 - common.begin());
    return common.substr(0, common.find_last_of('/') + 1);
}

void AddFiles(Lines &lines, const JobReport &report, size_t width)
{
    if (report.files.empty())
        return;
    Table table;
    table.columns = {{"file", 0},    {"records", 0}, {Done(report), 1}, {"refused", 2},
                     {"skipped", 5}, {"size", 4},    {"time", 3}};
    const std::string_view directory = CommonDirectory(report.files);
    for (const FileReport &file : report.files)
        table.rows.push_back({file.name.substr(directory.size()), Grouped(file.records),
                              Grouped(file.loaded), Grouped(file.refused), Grouped(file.skipped),
                              Size(file.bytes),
                              file.finished ? Duration(file.seconds) : "not finished"});
    if (report.files.size() > 1)
        table.rows.push_back({fmt::format("total of {} files", Grouped(report.files.size())),
                              Grouped(report.read), Grouped(report.loaded), Grouped(report.refused),
                              Grouped(report.skipped), Size(report.bytes),
                              Duration(report.seconds)});
    lines.push_back({});
    if (!directory.empty())
        lines.push_back({fmt::format("in {}:", Escaped(directory))});
    AddTable(lines, table, width);
}

void AddOutputs(Lines &lines, const JobReport &report, size_t width)
{
    if (report.outputs.empty())
        return;
    Table table;
    table.columns = {{"written file", 0}, {"rows", 0}, {"size", 2}, {"time", 1}};
    const std::string_view directory = CommonDirectory(report.outputs);
    uint64_t rows = 0;
    for (const FileReport &file : report.outputs) {
        rows += file.records;
        table.rows.push_back({file.name.substr(directory.size()), Grouped(file.records),
                              Size(file.bytes),
                              file.finished ? Duration(file.seconds) : "not finished"});
    }
    if (report.outputs.size() > 1)
        table.rows.push_back({fmt::format("total of {} files", Grouped(report.outputs.size())),
                              Grouped(rows), Size(report.written_bytes), Duration(report.seconds)});
    lines.push_back({});
    if (!directory.empty())
        lines.push_back({fmt::format("to {}:", Escaped(directory))});
    AddTable(lines, table, width);
}

void AddInstances(Lines &lines, const JobReport &report, size_t width)
{
    if (report.instances.empty())
        return;
    lines.push_back({});
    const bool alone = !WritesFiles(report) && report.source.empty();
    Table table;
    table.columns = {{"instance", 0}, {"exit code", 2},   {"rows", 1},
                     {"files", 4},    {"peak memory", 0}, {"processor", 3}};
    for (const InstanceReport &instance : report.instances)
        table.rows.push_back(
            {alone ? fmt::format("{}", instance.instance) : NameOf(report, instance),
             fmt::format("{}", instance.exit_code), Grouped(instance.rows), Grouped(instance.files),
             Size(instance.peak_memory), Duration(instance.cpu_seconds)});
    AddTable(lines, table, width);
}

void AddConservation(Lines &lines, const JobReport &report)
{
    if (HasStopped(report) && report.checkpoint.resumable) {
        lines.push_back({fmt::format("  {:<6}  read {} so far, {} {} for good", "rows",
                                     Grouped(report.read), Done(report), Grouped(report.loaded))});
        return;
    }
    // Of a job that kept nothing there is nothing to add up.
    if (report.exit_code != 0 && report.loaded == 0 && !report.conserved) {
        lines.push_back({fmt::format("  {:<6}  read {}, {}", "rows", Grouped(report.read),
                                     WritesFiles(report) ? "not all written" : "kept none"),
                         Tone::Bad});
        return;
    }
    lines.push_back({fmt::format("  {:<6}  read {} = {} {} + refused {} + skipped {}: {}", "rows",
                                 Grouped(report.read), Done(report), Grouped(report.loaded),
                                 Grouped(report.refused), Grouped(report.skipped),
                                 report.conserved ? "ok" : "DOES NOT HOLD"),
                     report.conserved ? Tone::Good : Tone::Bad});
}

// Rows that settings let go on are loaded, but not all that their records held.
void AddChanged(Lines &lines, const JobReport &report)
{
    static constexpr struct {
        uint64_t FileReport::*count;
        const char *words;
    } kChanges[] = {{&FileReport::without_excess, "without the columns that the schema lacks"},
                    {&FileReport::padded, "with NULL for columns that the record lacks"},
                    {&FileReport::cut, "with values cut to their column's length"}};
    std::string text;
    for (const auto &change : kChanges) {
        uint64_t sum = 0;
        for (const FileReport &file : report.files)
            sum += file.*change.count;
        if (sum > 0)
            text += fmt::format("{:>9}  {}\n", Grouped(sum), change.words);
    }
    if (!text.empty() && report.loaded > 0)
        AddLabelled(lines, "",
                    fmt::format("of the {} rows went on changed\n{}", Done(report), text),
                    Tone::Caution);
}

// The limit ends the reading without a word of the rest.
void AddLimit(Lines &lines, const JobReport &report)
{
    const auto reached = std::ranges::count_if(report.instances, [&](const InstanceReport &of) {
        return report.rows_limit >= 0 && of.rows >= static_cast<uint64_t>(report.rows_limit);
    });
    if (reached > 0)
        AddLabelled(lines, "",
                    fmt::format("RowsPerInstance = {} was reached: what lies behind was not read",
                                report.rows_limit));
}

constexpr std::string_view kRetry = "fenwire rejects retry";

// What to know of bad records, where a file keeps them; of others the reason of the failure tells.
void AddRejects(Lines &lines, const RejectsReport &rejects)
{
    if (rejects.file.empty() || rejects.left_out + rejects.changed == 0)
        return;
    std::string text =
        fmt::format("{} {} kept in {}: {} left out, {} went on changed\n", Grouped(rejects.kept),
                    rejects.kept == 1 ? "record is" : "records are", rejects.file,
                    Grouped(rejects.left_out), Grouped(rejects.changed));
    for (const RejectReason &reason : rejects.reasons)
        text += fmt::format("{:>9}  {}\n", Grouped(reason.count), reason.words);
    if (rejects.others > 0)
        text += fmt::format("{:>9}  for other reasons\n", Grouped(rejects.others));
    for (const std::string &command : rejects.next)
        text += command + (command.starts_with(kRetry) ? "  # when they are mended there\n" : "\n");
    AddLabelled(lines, "bad", text, Tone::Caution);
}

void AddCheckpoints(Lines &lines, const CheckpointReport &report)
{
    constexpr uint64_t kAlways = 2;  // before the first row and behind the last
    if (report.resumed_from > 0)
        AddLabelled(lines, "began",
                    fmt::format("at checkpoint {}; the figures are of all runs together",
                                report.resumed_from));
    if (report.rounds > kAlways)
        AddLabelled(lines, "saved",
                    fmt::format("{} checkpoints, which took {}", Grouped(report.rounds),
                                Duration(report.round_seconds)));
    if (!report.at_least_once.empty())
        AddLabelled(lines, "note", "rows may come twice after a failure: " + report.at_least_once,
                    Tone::Caution);
}

std::string Throughput(const JobReport &report)
{
    // Rows that come from no file are measured where they end up in one.
    const bool from_source = !report.source.empty();
    const uint64_t amount = from_source ? report.written_bytes : report.bytes;
    // How much of an unfinished file was read is not known.
    const bool whole =
        from_source ? amount > 0 : std::ranges::all_of(report.files, &FileReport::finished);
    std::string text = fmt::format(
        "{} in {}",
        whole ? Size(amount) : Grouped(report.read) + (from_source ? " rows" : " records"),
        Duration(report.seconds));
    if (report.checkpoint.resumed_from > 0)
        return text + ", which is the time of this run alone";  // its part of the rows is not known
    if (!(report.seconds > 0))
        return text;
    return fmt::format("{}: {}{} rows/s", text,
                       whole ? Megabytes(static_cast<double>(amount) / report.seconds) + ", " : "",
                       Grouped(PerSecond(static_cast<double>(report.read), report.seconds)));
}

}  // namespace

std::vector<SummaryLine> SummaryLines(const JobReport &report, size_t width)
{
    Lines lines;
    lines.push_back(Verdict(report));
    if (HasFailed(report))
        AddFailure(lines, report);
    AddFiles(lines, report, width);
    AddOutputs(lines, report, width);
    AddInstances(lines, report, width);
    lines.push_back({});
    AddConservation(lines, report);
    AddLimit(lines, report);
    AddChanged(lines, report);
    AddRejects(lines, report.rejects);
    AddLabelled(lines, "speed", Throughput(report));
    AddCheckpoints(lines, report.checkpoint);
    AddLabelled(lines, "source", report.source);
    AddLabelled(lines, "target", report.target);
    AddLabelled(lines, report.target.empty() ? "target" : "", report.target_note);
    if (!HasFailed(report))
        AddLabelled(lines, "log", report.log);
    return lines;
}

}  // namespace fenwire
