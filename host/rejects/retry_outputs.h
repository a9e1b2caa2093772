// host/rejects/retry_outputs.h - the output files that a retry adds its rows to.
//
// A retry that comes to nothing leaves its records waiting. What it had written by then must go, or the next
// one would write those rows a second time. So how long the files were is kept with the state of the
// records until it is known how the retry ended.

#ifndef FENWIRE_HOST_REJECTS_RETRY_OUTPUTS_H
#define FENWIRE_HOST_REJECTS_RETRY_OUTPUTS_H

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "host/job/job.h"
#include "host/rejects/file_mark.h"

namespace fenwire {

class RetryOutputs {
public:
    // As the files of the job are now. Empty: it has none, or one that can't be cut back, such as a pipe.
    static RetryOutputs Of(const Job &job);
    bool empty() const { return outputs_.empty(); }
    // The files are as they were. Throws std::runtime_error, with nothing cut, where one is not the file
    // that it was up to there.
    void Cut(const Job &job) const;

    nlohmann::ordered_json Save() const;
    bool Restore(const nlohmann::ordered_json &saved);  // false: not what Save answers

private:
    struct Output {
        std::string path;
        FileMark mark;
    };
    std::vector<Output> outputs_;  // in the order of OutputFiles
};

}  // namespace fenwire

#endif
