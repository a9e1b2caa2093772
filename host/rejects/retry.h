// host/rejects/retry.h - the bad records of a job, chosen for another try.
//
// PlanRetry looks at what the last run left: the state, the list of bad records, the record error file as
// somebody repaired it. It answers with a job that reads exactly what waits to be loaded, or it refuses,
// because a row that is loaded twice is worse than one that waits.

#ifndef FENWIRE_HOST_REJECTS_RETRY_H
#define FENWIRE_HOST_REJECTS_RETRY_H

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "host/job/job.h"
#include "host/rejects/reject_state.h"
#include "host/rejects/sort_records.h"

namespace fenwire {

struct RetryRefused : std::runtime_error {
    RetryRefused(const std::string &what, std::string likely)
        : std::runtime_error(what), hint(std::move(likely))
    {
    }
    std::string hint;
};

struct RetryChoice {
    bool anyway = false;      // also where it is not known whether the records are loaded already
    bool no_remarks = false;  // somebody took the remarks out
};

struct FolderRemover {
    void operator()(std::filesystem::path *folder) const;
};

struct Retry {
    Job job;                     // reads what waits; one instance
    std::filesystem::path file;  // the record error file
    SortedRecords records;       // load is empty: nothing waits
    // Holds what is to be loaded, where that is not the record error file itself; gone with this.
    std::unique_ptr<std::filesystem::path, FolderRemover> staged;
};

// The record error file that waits: the job's own, or the one of its last retry.
std::filesystem::path WaitingErrorFile(const Job &job);

// Throws RetryRefused, or std::runtime_error for what can't be read.
Retry PlanRetry(const Job &job, const RetryChoice &choice);

}  // namespace fenwire

#endif
