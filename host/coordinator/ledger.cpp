// host/coordinator/ledger.cpp

#include "host/coordinator/ledger.h"

#include <algorithm>
#include <fmt/format.h>

#include "operator/message_table.h"

namespace fenwire {

namespace {

constexpr size_t kErrorsShown = 5;

}  // namespace

void Ledger::AddFile(Side side, int instance, const PxFileCounts &counts, const std::string &name,
                     double seconds)
{
    FileReport file;
    file.name = name;
    file.instance = instance;
    file.records = counts.records;
    file.loaded = counts.rows;
    file.refused = counts.refused;
    file.skipped = counts.skipped;
    file.bytes = counts.bytes;
    file.seconds = seconds;
    file.finished = counts.ended != 0;
    file.without_excess = counts.without_excess;
    file.padded = counts.padded;
    file.cut = counts.cut;
    (side == Side::Writing ? outputs_ : files_).push_back(std::move(file));
    InstanceReport &of = Of(side, instance);
    of.rows += counts.rows;
    of.files += counts.ended != 0 ? 1 : 0;
}

void Ledger::SetSourceRows(int part, uint64_t rows)
{
    InstanceReport &of = Of(Side::Reading, part);
    source_rows_ += rows - of.rows;
    of.rows = rows;
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

void Ledger::SetCommitted(uint64_t rows, uint64_t refused, const std::string &note)
{
    committed_ = true;
    committed_rows_ = rows;
    target_refused_ = refused;
    note_ = note;
}

void Ledger::SetWritten()
{
    committed_ = true;
    committed_rows_ = rows_written();
}

uint64_t Ledger::rows_written() const
{
    uint64_t rows = 0;
    for (const FileReport &file : outputs_)
        rows += file.records;
    return rows;
}

uint64_t Ledger::rows_handed_over() const
{
    uint64_t rows = source_rows_;
    for (const FileReport &file : files_)
        rows += file.loaded;
    return rows;
}

uint64_t Ledger::refused() const
{
    uint64_t refused = 0;
    for (const FileReport &file : files_)
        refused += file.refused;
    return refused;
}

std::string Ledger::Imbalance() const
{
    uint64_t records = 0, rows = 0, refused = 0, skipped = 0;
    for (const FileReport &file : files_) {
        records += file.records;
        rows += file.loaded;
        refused += file.refused;
        skipped += file.skipped;
    }
    if (records == rows + refused + skipped)
        return {};
    return fmt::format("{} records were read, but {} became rows, {} were refused and {} skipped",
                       records, rows, refused, skipped);
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

void Ledger::Write(JobReport &report) const
{
    report.files = files_;
    report.outputs = outputs_;
    std::ranges::sort(report.outputs, {}, &FileReport::instance);
    report.instances = instances_;
    for (size_t i = 0; i < instances_.size(); ++i) {
        const bool writes = i >= senders_;
        report.instances[i].step = writes                  ? "consumer"
                                   : report.source.empty() ? "producer"
                                                           : "source";
        report.instances[i].instance = static_cast<int>(writes ? i - senders_ : i) + 1;
    }
    report.read = source_rows_;
    for (FileReport &file : report.files) {
        if (!committed_)
            file.loaded = 0;  // undone with the rest
        report.read += file.records;
        report.refused += file.refused;
        report.skipped += file.skipped;
        report.bytes += file.bytes;
    }
    for (const FileReport &file : outputs_)
        report.written_bytes += file.bytes;
    report.loaded = committed_ ? committed_rows_ : 0;
    report.refused += target_refused_;
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
                                      rows_handed_over(), committed_rows_, done);
    else if (committed_ && failing())
        report.failure += fmt::format("\nthe {} rows were {} before that", committed_rows_,
                                      report.target.empty() ? "written" : "committed");
    if (interrupted_by_ != 0 && !committed_) {
        report.status = "interrupted";
        report.exit_code = 128 + interrupted_by_;
        report.failure = reason_;
    }
}

}  // namespace fenwire
