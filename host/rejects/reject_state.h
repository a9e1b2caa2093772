// host/rejects/reject_state.h - what is known of the bad records of a job between its runs.
//
// .fenwire/<job>/rejects.json names the record error file whose records wait to be repaired, and says
// whether the rows of the run that left them out are in the target. Without that a retry could load
// rows twice, or leave the good ones out, and nobody would see it.

#ifndef FENWIRE_HOST_REJECTS_REJECT_STATE_H
#define FENWIRE_HOST_REJECTS_REJECT_STATE_H

#include <filesystem>
#include <optional>
#include <string>

#include "host/job/job.h"
#include "host/rejects/retry_outputs.h"

namespace fenwire {

// What the record error file holds between the records.
struct Remarks {
    bool present = false;
    std::string prefix;  // bytes that each line of remarks begins with
};
Remarks RemarksOf(const Job &job);

struct RejectState {
    enum class Outcome : uint8_t {
        Running,     // or ended without a word: nobody knows whether the rows were committed
        Loaded,      // the rows are in the target
        Failed,      // they are not
        Retrying,    // as Running, of a retry of this file
        Unfinished,  // the job stopped at a checkpoint: those up to there are
    };
    std::filesystem::path file;  // the record error file, absolute
    Outcome outcome = Outcome::Running;
    int retries = 0;  // how many retries led to this file
    Remarks remarks;
    RetryOutputs outputs;  // of one that is Retrying: as they were before
    std::string text;      // as it stands on disk
};

// None: no run has left a word. Throws std::runtime_error when the file is damaged.
std::optional<RejectState> ReadRejectState(const Job &job);
void WriteRejectState(const Job &job, RejectState &state);  // fills text; throws std::system_error
void RemoveRejectState(const Job &job);

// The record error file of the n-th retry: "NAME.retry", "NAME.retry2", ..
std::filesystem::path RetryErrorFile(const std::filesystem::path &error_file, int retry);

}  // namespace fenwire

#endif
