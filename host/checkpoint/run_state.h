// host/checkpoint/run_state.h - .fenwire/<job>/run.json: what became of the job's last run.
//
// For people and for `fenwire status`; whether a job can go on, and from where, is what its generation
// says. The file is replaced as a whole.

#ifndef FENWIRE_HOST_CHECKPOINT_RUN_STATE_H
#define FENWIRE_HOST_CHECKPOINT_RUN_STATE_H

#include <optional>
#include <string>

#include "host/job/job.h"

namespace fenwire {

struct RunState {
    enum class Outcome : uint8_t {
        Running,  // or ended without a word, when nobody holds the state folder's lock
        Stopped,  // by a signal
        Failed,
        Finished,
    };
    std::string run;  // id: "20261121-201500-3f9a12c4"
    Outcome outcome = Outcome::Running;
    std::string began, changed;  // UTC, as in Generation::saved_at
    int process = 0;
    std::string reason;  // why it stopped or failed; one line
    bool keeps_checkpoints = false;
    std::string job_file;  // what its checkpoints are kept under; empty: not known
};

std::string NewRunId();
std::string UtcNow();  // "2026-11-21T20:15:00Z"

std::optional<RunState> ReadRunState(const Job &job);       // none, or damaged: none
void WriteRunState(const Job &job, const RunState &state);  // throws std::system_error

}  // namespace fenwire

#endif
