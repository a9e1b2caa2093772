// host/coordinator/ledger.h - what a job did, collected while it runs: files, counts, errors, exit codes.
//
// It counts for the job as a whole, however often that was stopped: what it held at a checkpoint goes into
// the generation (Save), and a resumed run adds to it (Restore).

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
          instances_(senders_ + static_cast<size_t>(receivers)), source_rows_(senders_)
    {
        before_.source_rows.resize(senders_);
    }

    // A file that was read, or written, or how far it is. Counts are those of this run.
    void AddFile(Side side, int instance, const PxFileCounts &counts, const std::string &name,
                 double seconds);
    void SetSourceRows(int part, uint64_t rows);     // so far in this run
    uint64_t RowsOf(Side side, int instance) const;  // likewise, of finished files
    void RaiseExitCode(Side side, int instance, int code);
    void AddMessage(int severity, const std::string &line);  // warnings and errors are remembered
    // Why the job failed: the first one counts, the rest follows from it. A consequence says less than
    // the operator's own words do, and is shown only without them.
    enum class Weight : uint8_t { Cause, Consequence };
    void AddReason(const std::string &reason, Weight weight = Weight::Cause);
    void SetPlace(const std::string &place);  // where the first failure was
    void SetProcess(Side side, int instance, uint64_t peak_memory, double cpu_seconds);
    // refused: rows that the target left out by its own rules.
    void SetCommitted(const std::string &note);
    void SetWritten();  // the output files are complete
    void SetInterrupted(int signal_number) { interrupted_by_ = signal_number; }

    // ---- Checkpoints
    // What the target took and left out in this run, with what is not committed yet.
    void SetTargetRows(uint64_t rows, uint64_t refused);
    uint64_t target_rows() const { return before_.target_rows + target_rows_; }
    uint64_t target_refused() const { return before_.target_refused + target_refused_; }
    void Keep();  // what it holds now is what stays, should the job fail
    std::string Save() const;
    void Restore(const std::string &saved);  // throws std::runtime_error: no words of Save

    uint64_t rows_handed_over() const;  // as the operator, or the source, counts them
    uint64_t rows_written() const;      // likewise
    uint64_t refused() const;           // likewise
    std::string Imbalance() const;  // words for records read that became nothing; empty: none did
    bool committed() const { return committed_; }
    bool interrupted() const { return interrupted_by_ != 0 && !committed_; }
    int exit_code() const;  // highest of all instances
    bool failing() const { return !reason_.empty(); }
    const std::string &reason() const { return reason_; }

    // Fills counts, status and exit code of the report.
    void Write(JobReport &report) const;

private:
    using Files = std::map<uint32_t, FileReport>;  // by their index in FileNames
    struct Before {                                // what earlier runs of the job did
        Files files, outputs;
        std::vector<uint64_t> source_rows;
        uint64_t target_rows = 0, target_refused = 0;
    };
    const Files &Done(Side side) const { return side == Side::Writing ? outputs_ : files_; }
    std::string FailureText() const;
    void WriteStatus(JobReport &report) const;
    void WriteFiles(JobReport &report) const;
    InstanceReport &Of(Side side, int instance)
    {
        return instances_[static_cast<size_t>(instance - 1) +
                          (side == Side::Writing ? senders_ : 0)];
    }
    const size_t senders_;
    struct Sums {  // of all files of a side, kept up to date: a round asks for them
        uint64_t records = 0, loaded = 0, refused = 0, skipped = 0;
        void Add(const FileReport &file);
        void Take(const FileReport &file);
    };
    Files files_, outputs_;  // with what earlier runs did
    Sums read_, written_;    // of these
    Before before_;
    // Rows of each file at the last checkpoint that is stored, in the order of files_.
    std::vector<std::pair<uint32_t, uint64_t>> kept_;
    uint64_t kept_rows_ = 0;
    std::vector<InstanceReport> instances_;  // senders, then consumers
    std::vector<uint64_t> source_rows_;      // of each part, with earlier runs
    std::vector<std::string> errors_;        // up to the first failure
    std::string reason_;
    Weight reason_weight_ = Weight::Cause;
    std::string place_;
    int warnings_ = 0;
    int interrupted_by_ = 0;
    bool committed_ = false;
    uint64_t target_rows_ = 0, target_refused_ = 0;
    std::string note_;
};

}  // namespace fenwire

#endif
