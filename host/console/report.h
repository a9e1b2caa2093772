// host/console/report.h - what a person is told of a job: while it runs, and at its end.

#ifndef FENWIRE_HOST_CONSOLE_REPORT_H
#define FENWIRE_HOST_CONSOLE_REPORT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace fenwire {

// ---- While it runs ----------------------------------------------------------------------------

struct InstanceSnapshot {
    int instance = 0;
    std::string state;        // "starting", "loading", "waiting", "finished", "failed"
    std::string file;         // the file it reads now; empty: none
    uint64_t file_bytes = 0;  // its size; 0: not known
    uint64_t file_read = 0;   // how far it has read
    uint64_t rows = 0;        // handed over, or written, so far
    std::string step = {};    // "producer", "source", "consumer"
};

struct JobSnapshot {
    std::string phase;  // "starting", "loading", "finishing"
    double seconds = 0;
    uint64_t total_bytes = 0;  // of all input files; 0: not known
    uint64_t read_bytes = 0;   // finished files and what is read of the open ones
    uint64_t rows = 0;
    uint64_t refused = 0;
    uint32_t files = 0, files_done = 0;
    // Of a job that writes files; rows are those that were handed over to its consumers.
    bool writes = false;
    uint64_t written_rows = 0, written_bytes = 0;
    uint64_t checkpoint = 0;                  // number of the last one; 0: none
    double checkpoint_age = 0;                // seconds
    std::vector<InstanceSnapshot> instances;  // those that read, then consumers
};

enum class LineKind : uint8_t { Information = 3, Warning = 4, Error = 6 };

// ---- At the end -------------------------------------------------------------------------------

struct FileReport {
    std::string name;  // of an output file: as it was opened
    int instance = 0;
    uint64_t records = 0, loaded = 0, refused = 0, skipped = 0;  // of an output file: records
    uint64_t bytes = 0;
    double seconds = 0;
    bool finished = false;
    uint64_t without_excess = 0, padded = 0, cut = 0;  // of the loaded: rows that went on changed
};

struct InstanceReport {
    int instance = 0;
    int exit_code = 0;  // 0, 4, 8, 12
    uint64_t rows = 0;
    uint32_t files = 0;
    uint64_t peak_memory = 0;  // bytes, resident
    double cpu_seconds = 0;
    std::string private_log;  // path; empty: none
    std::string step = {};    // as in InstanceSnapshot
};

struct RejectReason {
    std::string words;  // "column 3 'amount' too long"
    uint64_t count = 0;
};

// Bad records: those that were left out, and those whose rows went on changed.
struct RejectsReport {
    std::string file, list;  // the record error file, the list beside it; empty: the job keeps none
    uint64_t kept = 0;       // in the record error file
    uint64_t left_out = 0, changed = 0;
    std::vector<RejectReason> reasons;  // the most frequent first
    uint64_t others = 0;                // records with another reason
    std::vector<std::string> next;      // commands that go on from here
};

// Of the last checkpoint that is stored, when the job did not come to its end.
struct CheckpointReport {
    bool resumable = false;
    uint64_t generation = 0, rows = 0;  // rows in the target, or in the output files, at it
    std::string saved_at;               // UTC
    std::string resume;                 // the command that goes on from it
    uint64_t resumed_from = 0;          // the generation that this run began with; 0: it began anew
    uint64_t rounds = 0;                // checkpoints that this run took
    double round_seconds = 0;           // they took, target's commits included
    double drain_seconds = 0;           // of these, until the rows that were under way had arrived
    double commit_seconds = 0;          // of these, until rows and generation were stored
    std::string at_least_once;  // why rows may come twice after a failure; empty: they can't
};

struct JobReport {
    std::string job;
    std::string status;  // "loaded" or "written", the same "with warnings", "failed", "interrupted"
    int exit_code = 0;   // of the program
    double seconds = 0;
    std::vector<FileReport> files;    // that were read
    std::vector<FileReport> outputs;  // that were written; of a failed job not complete
    std::vector<InstanceReport> instances;
    // read: records of files, or rows of a source; loaded: rows in the target or in the output files.
    uint64_t read = 0, loaded = 0, refused = 0, skipped = 0, bytes = 0;
    uint64_t written_bytes = 0;  // of the output files
    bool conserved = false;      // read = loaded + refused + skipped
    int64_t rows_limit = -1;     // RowsPerInstance; below 0: none
    RejectsReport rejects;
    CheckpointReport checkpoint;
    std::string source;  // "sqlite orders.db, table orders"; empty: files are read
    std::string target;  // likewise; empty: files are written
    std::string target_note;
    std::string failure;  // why it failed, in one or a few lines
    std::string retry;    // of bad records: the command that tries again; empty: an ordinary run
    std::string log;      // path of the public log
};

enum class ProgressMode : uint8_t { Auto, Line, Off };

// The person's side. Everything goes to standard error but for the JSON object.
class Console {
public:
    virtual ~Console() = default;
    virtual void Message(LineKind kind, const std::string &line) = 0;
    virtual void Progress(const JobSnapshot &now) = 0;  // called about five times a second
    virtual void Finish(const JobReport &report) = 0;
    // Asked after Progress: true ends the job, as a failure.
    virtual bool Enough() { return false; }
};

// json: Finish writes one object to standard output as well.
std::unique_ptr<Console> MakeConsole(ProgressMode mode, bool json);

}  // namespace fenwire

#endif
