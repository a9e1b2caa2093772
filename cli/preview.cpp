// cli/preview.cpp - `fenwire preview`: the first rows of a job, and the first records that it would refuse.
//
// Rows and refused records go to standard output. Bad records are what a preview looks for and do not
// change its exit status; a job that fails for another reason ends it with 12.

#include "host/preview/preview.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

#include "cli/verbs.h"
#include "host/console/figures.h"
#include "host/job/words.h"
#include "host/rejects/reject_table.h"

namespace fenwire {

namespace {

void CheckInput(const Job &job, const std::string &file)
{
    std::vector<Complaint> found;
    CheckPreviewInput(job, found);
    if (found.empty())
        return;
    std::ifstream in(job.file, std::ios::binary);
    const std::string source{std::istreambuf_iterator<char>(in), {}};
    throw MakeJobError(file, source, std::move(found));
}

void PrintLines(const std::vector<std::string> &lines)
{
    for (const std::string &line : lines)
        fmt::print("{}\n", line);
}

void PrintRefused(const Preview &preview)
{
    const uint64_t refused = preview.report.rejects.left_out;
    if (refused == 0)
        return;
    fmt::print("\n{} refused{}:\n", Amount(refused, "record", "records"),
               preview.refused.size() < refused
                   ? fmt::format(", the first {}", preview.refused.size())
                   : "");
    PrintLines(RejectTableLines(preview.refused, 0));
    if (preview.cut_short)
        fmt::print("stopped: hardly a record fits; look at the marks and columns of the job\n");
}

// Some lines, of which any may hold a file's name.
void PrintFailure(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        shown += (shown.empty() ? "" : "\n") + Escaped(line);
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    PrintError(shown);
}

}  // namespace

int PreviewVerb(const PreviewOptions &options)
{
    const Job job = LoadJob(options.job.file, Overrides(options.job));
    CheckInput(job, options.job.file);
    const Preview preview = RunPreview(job, options.rows);
    if (preview.rows.empty())
        fmt::print("no rows\n");
    else
        PrintLines(PreviewTable(job, preview.rows));
    PrintRefused(preview);
    fflush(stdout);
    const JobReport &report = preview.report;
    if (preview.cut_short || report.exit_code < kExitFailed)
        return kExitGood;
    PrintFailure(report.failure);
    return report.exit_code;
}

}  // namespace fenwire
