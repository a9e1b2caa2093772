// host/rejects/gathered_records.h - the bad records of the instances above the first, kept across restarts.
//
// The first instance writes the record error file itself. Each other one writes a temporary file named
// after its process, which the operator appends to the record error file when the job ends in order;
// when the process is killed, nobody knows that file any more. So at each checkpoint what is new in them
// is copied to files of ours in the state folder, one for each instance and attempt to run the job:
//
//     attempt 1   temporary file  --Gather-->  bad-records-1-2     killed
//     attempt 2   temporary file  --Gather-->  bad-records-2-2     good: appended by the operator,
//                                                                  and bad-records-1-2 by AppendTo

#ifndef FENWIRE_HOST_REJECTS_GATHERED_RECORDS_H
#define FENWIRE_HOST_REJECTS_GATHERED_RECORDS_H

#include <filesystem>
#include <string>
#include <vector>

#include "host/job/job.h"
#include "host/rejects/file_mark.h"
#include "host/system/unique_fd.h"

namespace fenwire {

class GatheredRecords {
public:
    struct Part {
        int attempt = 1, instance = 2;
        FileMark mark;
    };

    explicit GatheredRecords(const Job &job) : job_(job) {}

    // The temporary file that an instance has opened. Throws std::runtime_error for any other.
    void Watch(int instance, const std::filesystem::path &path);
    bool Gather();  // what they hold is copied and on the disk; false: nothing was new. Throws
    int attempt() const { return attempt_; }
    const std::vector<Part> &parts() const { return parts_; }

    // In a job that goes on: the parts of the attempts before this one. Throws std::runtime_error, with
    // nothing touched, for one that is gone or was changed.
    void Reopen(const std::vector<Part> &parts, int attempts);
    void Cut();  // what was gathered behind the checkpoint is gone
    bool earlier() const { return !earlier_.empty(); }
    void AppendEarlierTo(int fd, const std::string &path);

    // Files that killed processes of this job left, and that no checkpoint needs: found before the
    // instances make theirs, removed when the rows begin.
    void FindLeftovers();
    void RemoveLeftovers();
    void Remove();  // nothing goes on from the checkpoint any more

private:
    struct Watched {
        int instance;
        UniqueFd from, to;
        size_t part = 0;  // in parts_, once there is something to copy
    };
    std::filesystem::path PathOf(const Part &part) const;
    void Begin(Watched &watched);

    const Job &job_;
    int attempt_ = 1;
    std::vector<Part> parts_;        // by attempt
    std::vector<UniqueFd> earlier_;  // the first of parts_
    std::vector<Watched> watched_;
    std::vector<std::filesystem::path> leftovers_;
};

}  // namespace fenwire

#endif
