// host/coordinator/ledger.cpp

#include "host/coordinator/ledger.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>

#include "operator/message_table.h"

namespace fenwire {

namespace {

constexpr size_t kErrorsShown = 5;

}  // namespace

void Ledger::Sums::Add(const FileReport &file)
{
    records += file.records;
    loaded += file.loaded;
    refused += file.refused;
    skipped += file.skipped;
}

void Ledger::Sums::Take(const FileReport &file)
{
    records -= file.records;
    loaded -= file.loaded;
    refused -= file.refused;
    skipped -= file.skipped;
}

void Ledger::AddFile(Side side, int instance, const PxFileCounts &counts, const std::string &name,
                     double seconds)
{
    const Files &before = side == Side::Writing ? before_.outputs : before_.files;
    const auto found = before.find(counts.index);
    FileReport file = found != before.end() ? found->second : FileReport();
    file.name = name;
    file.instance = instance;
    file.records += counts.records;
    file.loaded += counts.rows;
    file.refused += counts.refused;
    file.skipped += counts.skipped;
    file.bytes = counts.bytes;
    file.seconds += seconds;
    file.finished = counts.ended == 1;
    file.without_excess += counts.without_excess;
    file.padded += counts.padded;
    file.cut += counts.cut;
    FileReport &place = (side == Side::Writing ? outputs_ : files_)[counts.index];
    Sums &sums = side == Side::Writing ? written_ : read_;
    sums.Take(place);
    place = std::move(file);
    sums.Add(place);
}

uint64_t Ledger::RowsOf(Side side, int instance) const
{
    uint64_t rows = 0;
    const Files &before = side == Side::Writing ? before_.outputs : before_.files;
    for (const auto &[index, file] : Done(side)) {
        if (file.instance != instance || !file.finished)
            continue;
        const auto earlier = before.find(index);
        rows += file.loaded - (earlier != before.end() ? earlier->second.loaded : 0);
    }
    return rows;
}

void Ledger::SetSourceRows(int part, uint64_t rows)
{
    const auto at = static_cast<size_t>(part - 1);
    source_rows_[at] = before_.source_rows[at] + rows;
}

void Ledger::RaiseExitCode(Side side, int instance, int code)
{
    int &of = Of(side, instance).exit_code;
    of = std::max(of, code);
}

void Ledger::AddMessage(int severity, const std::string &line)
{
    if (severity == Warning)
        ++warnings_;
    // What is said after the first failure is mostly its echo.
    if (severity == Error && !failing() && errors_.size() < kErrorsShown &&
        std::find(errors_.begin(), errors_.end(), line) == errors_.end())
        errors_.push_back(line);
}

void Ledger::AddReason(const std::string &reason, Weight weight)
{
    if (failing())
        return;
    reason_ = reason;
    reason_weight_ = weight;
}

void Ledger::SetPlace(const std::string &place)
{
    if (place_.empty())
        place_ = place;
}

void Ledger::SetProcess(Side side, int instance, uint64_t peak_memory, double cpu_seconds)
{
    InstanceReport &of = Of(side, instance);
    of.peak_memory = peak_memory;
    of.cpu_seconds = cpu_seconds;
}

void Ledger::SetCommitted(const std::string &note)
{
    committed_ = true;
    note_ = note;
}

void Ledger::SetWritten() { committed_ = true; }

void Ledger::SetTargetRows(uint64_t rows, uint64_t refused)
{
    target_rows_ = rows;
    target_refused_ = refused;
}

uint64_t Ledger::rows_written() const { return written_.records; }

uint64_t Ledger::rows_handed_over() const
{
    return std::accumulate(source_rows_.begin(), source_rows_.end(), read_.loaded);
}

uint64_t Ledger::refused() const { return read_.refused; }

std::string Ledger::Imbalance() const
{
    if (read_.records == read_.loaded + read_.refused + read_.skipped)
        return {};
    return fmt::format("{} records were read, but {} became rows, {} were refused and {} skipped",
                       read_.records, read_.loaded, read_.refused, read_.skipped);
}

int Ledger::exit_code() const
{
    int code = 0;
    for (const InstanceReport &instance : instances_)
        code = std::max(code, instance.exit_code);
    return code;
}

// What the operator said before the failure is its cause, mostly; then how the runner noticed.
std::string Ledger::FailureText() const
{
    std::string text;
    bool told = reason_weight_ == Weight::Consequence && !errors_.empty();
    for (const std::string &line : errors_) {
        text += line + "\n";
        told = told || line.find(reason_) != std::string::npos;
    }
    if (!told)
        text += reason_ + "\n";
    text += place_;
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

// Of a job that did not come to its end, what the last checkpoint kept is loaded; the rest is undone.
void Ledger::WriteFiles(JobReport &report) const
{
    report.read = std::accumulate(source_rows_.begin(), source_rows_.end(), uint64_t{0});
    auto kept = kept_.begin();
    for (const auto &[index, done] : files_) {
        FileReport &file = report.files.emplace_back(done);
        const bool is_kept = kept != kept_.end() && kept->first == index;
        const uint64_t rows = is_kept ? (kept++)->second : 0;
        if (!committed_)
            file.loaded = rows;
        report.read += file.records;
        report.refused += file.refused;
        report.skipped += file.skipped;
        report.bytes += file.bytes;
        InstanceReport &of = report.instances[static_cast<size_t>(file.instance - 1)];
        of.rows += done.loaded;
        of.files += file.finished ? 1 : 0;
    }
    for (const auto &[index, file] : outputs_) {
        report.outputs.push_back(file);
        report.written_bytes += file.bytes;
        InstanceReport &of = report.instances[senders_ + static_cast<size_t>(file.instance - 1)];
        of.rows += file.loaded;
        of.files += file.finished ? 1 : 0;
    }
}

void Ledger::Write(JobReport &report) const
{
    report.instances = instances_;
    for (size_t i = 0; i < instances_.size(); ++i) {
        InstanceReport &of = report.instances[i];
        const bool writes = i >= senders_;
        of.step = writes ? "consumer" : report.source.empty() ? "producer" : "source";
        of.instance = static_cast<int>(writes ? i - senders_ : i) + 1;
        of.rows = writes ? 0 : source_rows_[i];
    }
    WriteFiles(report);
    const bool files = report.target.empty();
    report.loaded = !committed_ ? kept_rows_ : files ? rows_written() : target_rows();
    report.refused += target_refused();
    report.target_note = note_;
    report.conserved = committed_ && report.read == report.loaded + report.refused + report.skipped;
    WriteStatus(report);
}

void Ledger::WriteStatus(JobReport &report) const
{
    const std::string done = report.target.empty() ? "written" : "loaded";
    report.exit_code = std::max(exit_code(), failing() ? kFatal : 0);
    if (committed_ && !report.conserved)
        report.exit_code = kFatal;
    if (report.exit_code == 0 && (warnings_ > 0 || report.refused > 0))
        report.exit_code = kWarned;
    report.status = report.exit_code >= kFatal ? "failed"
                    : report.exit_code > 0     ? done + " with warnings"
                                               : done;
    if (report.exit_code >= kFatal)
        report.failure = FailureText();
    if (committed_ && !report.conserved)
        report.failure += (report.failure.empty() ? "" : "\n") +
                          fmt::format("{} rows were handed over, but {} were {}",
                                      rows_handed_over(), report.loaded, done);
    else if (committed_ && failing())
        report.failure += fmt::format("\nthe {} rows were {} before that", report.loaded,
                                      report.target.empty() ? "written" : "committed");
    if (interrupted()) {
        report.status = "interrupted";
        report.exit_code = 128 + interrupted_by_;
        report.failure = reason_;
    }
}

}  // namespace fenwire
