// host/rejects/reject_run.h - the bad records of one run, as the coordinator keeps them.
//
//     RejectRun run(job);
//     run.Open();     before the instances start: they inherit the list
//     run.Begin();    the rows begin: the list takes its place, the state says "running"
//     run.Add(..);    a bad record, for each
//     run.End(..);    the state says what became of the rows

#ifndef FENWIRE_HOST_REJECTS_REJECT_RUN_H
#define FENWIRE_HOST_REJECTS_REJECT_RUN_H

#include <memory>

#include "host/rejects/reject_list.h"
#include "host/rejects/reject_state.h"
#include "host/rejects/reject_tally.h"

namespace fenwire {

class RejectRun {
public:
    explicit RejectRun(const Job &job) : job_(job), error_file_(RecordErrorFile(job)) {}

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
    void Restore(const std::string &saved);  // instead of Open: as it was then, nothing behind it
    void
    Complete();  // behind terminate of a good job: gathered records go to the record error file

    enum class Rows : uint8_t { Committed, Undone, InDoubt };
    void End(Rows rows);  // throws std::runtime_error
    void Write(JobReport &report) const;

private:
    const Job &job_;
    const std::filesystem::path error_file_;
    std::unique_ptr<RejectList> list_;
    RejectTally tally_;
    RejectState state_;                  // as written in Begin
    std::optional<RejectState> before_;  // what a retry found
    bool begun_ = false;
    Rows rows_ = Rows::Undone;
};

}  // namespace fenwire

#endif
