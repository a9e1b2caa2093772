// host/coordinator/ledger.h - what a job did, collected while it runs: files, counts, errors, exit codes.

#ifndef FENWIRE_HOST_COORDINATOR_LEDGER_H
#define FENWIRE_HOST_COORDINATOR_LEDGER_H

#include <map>
#include <string>
#include <vector>

#include "host/console/report.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

enum class Side : uint8_t { Reading, Writing };  // of a job's instances

class Ledger {
public:
    static constexpr int kWarned = 4, kFatal = 12;  // exit codes
    // receivers: consumers, which a job with a target has none of.
    Ledger(int senders, int receivers)
        : senders_(static_cast<size_t>(senders)),
          instances_(senders_ + static_cast<size_t>(receivers))
    {
    }

    // A file that was read, or written.
    void AddFile(Side side, int instance, const PxFileCounts &counts, const std::string &name,
                 double seconds);
    void SetSourceRows(int part, uint64_t rows);  // so far
    uint64_t RowsOf(Side side, int instance) { return Of(side, instance).rows; }
    void RaiseExitCode(Side side, int instance, int code);
    void AddMessage(int severity, const std::string &line);  // warnings and errors are remembered
    // Why the job failed: the first one counts, the rest follows from it. A consequence says less than
    // the operator's own words do, and is shown only without them.
    enum class Weight : uint8_t { Cause, Consequence };
    void AddReason(const std::string &reason, Weight weight = Weight::Cause);
    void SetPlace(const std::string &place);  // where the first failure was
    void SetProcess(Side side, int instance, uint64_t peak_memory, double cpu_seconds);
    // refused: rows that the target left out by its own rules.
    void SetCommitted(uint64_t rows, uint64_t refused, const std::string &note);
    void SetWritten();  // the output files are complete
    void SetInterrupted(int signal_number) { interrupted_by_ = signal_number; }

    uint64_t rows_handed_over() const;  // as the operator, or the source, counts them
    uint64_t rows_written() const;      // likewise
    uint64_t refused() const;           // likewise
    std::string Imbalance() const;  // words for records read that became nothing; empty: none did
    bool committed() const { return committed_; }
    int exit_code() const;  // highest of all instances
    bool failing() const { return !reason_.empty(); }

    // Fills counts, status and exit code of the report.
    void Write(JobReport &report) const;

private:
    std::string FailureText() const;
    void WriteStatus(JobReport &report) const;
    InstanceReport &Of(Side side, int instance)
    {
        return instances_[static_cast<size_t>(instance - 1) +
                          (side == Side::Writing ? senders_ : 0)];
    }
    const size_t senders_;
    std::vector<FileReport> files_, outputs_;
    std::vector<InstanceReport> instances_;  // senders, then consumers
    uint64_t source_rows_ = 0;
    std::vector<std::string> errors_;  // up to the first failure
    std::string reason_;
    Weight reason_weight_ = Weight::Cause;
    std::string place_;
    int warnings_ = 0;
    int interrupted_by_ = 0;
    bool committed_ = false;
    uint64_t committed_rows_ = 0, target_refused_ = 0;
    std::string note_;
};

}  // namespace fenwire

#endif
