// host/rejects/reject_run.h - the bad records of one run, as the coordinator keeps them.
//
//     RejectRun run(job);
//     run.Open();     before the instances start: they inherit the list
//     run.Begin();    the rows begin: the list takes its place, the state says "running"
//     run.Add(..);    a bad record, for each
//     run.End(..);    the state says what became of the rows
//
// A job that keeps checkpoints also calls Save at each, Restore instead of Open where it goes on, and at
// its good end Complete, and Forget when its checkpoint is gone.

#ifndef FENWIRE_HOST_REJECTS_REJECT_RUN_H
#define FENWIRE_HOST_REJECTS_REJECT_RUN_H

#include <memory>

#include "host/rejects/gathered_records.h"
#include "host/rejects/reject_list.h"
#include "host/rejects/reject_state.h"
#include "host/rejects/reject_tally.h"

namespace fenwire {

class RejectRun {
public:
    explicit RejectRun(const Job &job)
        : job_(job), error_file_(RecordErrorFile(job)), gathered_(job)
    {
    }

    bool keeps() const { return !error_file_.empty(); }  // the job names a record error file
    void Open();                                         // throws std::runtime_error
    int fd() const { return list_ != nullptr ? list_->fd() : -1; }
    void Begin();  // does its work once; throws std::runtime_error
    void Add(const PxBadRecord &record, uint64_t times, const std::string &reason)
    {
        tally_.Add(record, times, reason);
    }
    uint64_t left_out() const { return tally_.left_out(); }

    // ---- Checkpoints. What instances above the first keep in files of their own is gathered here at each
    // checkpoint, since those files belong to processes that may be gone when the job goes on.
    void AddErrorFile(int instance, const std::string &path);  // an instance has opened its file
    std::string Save();  // everything told so far is on the disk; words for Restore
    // Instead of Open: all is as it was then, and nothing behind it. Answers a warning, or nothing. Throws
    // std::runtime_error, with nothing touched, where bad records would be missing.
    std::string Restore(const std::string &saved);
    void
    Complete();  // behind terminate of a good job: gathered records go to the record error file
    void Forget() { gathered_.Remove(); }  // the checkpoint is gone, and needs them no more

    enum class Rows : uint8_t { Committed, Undone, InDoubt, Unfinished };
    void End(Rows rows);  // throws std::runtime_error
    void Write(JobReport &report) const;

private:
    struct Saved;
    struct ErrorMark {
        FileMark mark;
        uint64_t inode = 0;
        bool operator==(const ErrorMark &) const = default;
    };
    void TakeBackRetry();
    bool BringToDisk();
    std::string Remember() const;
    Saved Parse(const std::string &text) const;
    void RefuseOther(const Saved &saved) const;
    UniqueFd OpenErrorFile(const Saved &saved) const;
    std::string ReopenList(const Saved &saved);

    const Job &job_;
    const std::filesystem::path error_file_;
    std::unique_ptr<RejectList> list_;
    RejectTally tally_;
    RejectState state_;                  // as written in Begin
    std::optional<RejectState> before_;  // what a retry found
    RetryOutputs outputs_;               // likewise
    bool begun_ = false;
    GatheredRecords gathered_;
    UniqueFd error_fd_;  // for reading, once the first instance has told that it is open
    FileMark list_mark_;
    std::optional<ErrorMark> error_mark_;
    bool names_are_new_ = false, goes_on_ = false;
    uint64_t saved_count_ = 0;
    std::string saved_;  // what Save answered last
    Rows rows_ = Rows::Undone;
};

}  // namespace fenwire

#endif
