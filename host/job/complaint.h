// host/job/complaint.h - what is wrong with a job file, and where.

#ifndef FENWIRE_HOST_JOB_COMPLAINT_H
#define FENWIRE_HOST_JOB_COMPLAINT_H

#include <stdexcept>
#include <string>
#include <vector>

namespace fenwire {

struct SourcePosition {
    int line = 0;    // from 1; 0: the file as a whole
    int column = 0;  // from 1, in bytes
    friend constexpr bool operator==(SourcePosition, SourcePosition) = default;
};

inline constexpr SourcePosition kWholeFile{0, 0};
inline constexpr SourcePosition kCommandLine{0, 1};

struct Complaint {
    SourcePosition at;
    std::string what;  // what is wrong, one sentence without a full stop
    std::string hint;  // what would be right; may be empty
};

// Thrown with everything that was found, in the file's order and at most kMaxComplaints. what() is the printable whole: for each
// "job.toml:7:1: error: unknown key \"taget\"", the line, a caret, "did you mean \"target\"?".
class JobError : public std::runtime_error {
public:
    static constexpr size_t kMaxComplaints = 20;
    JobError(const std::string &text, std::vector<Complaint> found)
        : std::runtime_error(text), complaints(std::move(found))
    {
    }
    std::vector<Complaint> complaints;
};

// The error that shows what was found: file as its user named it, source its bytes.
JobError MakeJobError(const std::string &file, const std::string &source,
                      std::vector<Complaint> found);

}  // namespace fenwire

#endif
