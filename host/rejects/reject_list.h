// host/rejects/reject_list.h - the list of bad records beside the record error file, as it is written.
//
// The coordinator makes it under a name of its own before the instances start, and gives it its place
// when the rows begin, so that a job that fails to start leaves the old list alone. Each instance appends:
// one write(2) a record, whole or the job fails, so that nothing is lost with an instance that dies.

#ifndef FENWIRE_HOST_REJECTS_REJECT_LIST_H
#define FENWIRE_HOST_REJECTS_REJECT_LIST_H

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "host/job/job.h"
#include "host/system/unique_fd.h"

namespace fenwire {

// The record error file that the job names, from the job's folder; empty: none.
std::filesystem::path RecordErrorFile(const Job &job);
std::filesystem::path RejectListOf(const std::filesystem::path &error_file);

class RejectList {
public:
    RejectList() = default;
    explicit RejectList(const std::filesystem::path &path);  // throws std::system_error
    // The list that an earlier run left in its place. Throws std::system_error when it is gone, or
    // is no plain file of this user.
    static std::unique_ptr<RejectList> Reopen(const std::filesystem::path &path);
    ~RejectList();  // never put in its place: it is gone
    RejectList(const RejectList &) = delete;
    RejectList &operator=(const RejectList &) = delete;

    int fd() const { return fd_.get(); }
    const std::filesystem::path &path() const { return path_; }
    void PutInPlace();  // throws std::system_error

private:
    std::filesystem::path path_, part_;
    UniqueFd fd_;
};

// A plain file of this user that has no other name; no link is followed. Throws std::runtime_error with
// words for the user.
UniqueFd OpenOurs(const std::filesystem::path &path, int flags);

// Words for what went wrong; empty: the line is written.
std::string AppendLine(int fd, std::string_view line);

}  // namespace fenwire

#endif
