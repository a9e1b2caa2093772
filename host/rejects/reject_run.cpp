// host/rejects/reject_run.cpp

#include "host/rejects/reject_run.h"

#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using Outcome = RejectState::Outcome;

}  // namespace

void RejectRun::Open()
{
    if (job_.retry_of.empty())
        gathered_.FindLeftovers();
    else
        TakeBackRetry();
    if (keeps())
        list_ = std::make_unique<RejectList>(RejectListOf(error_file_));
}

// What a retry that was killed has added to output files; then this one may.
void RejectRun::TakeBackRetry()
{
    if (const auto state = ReadRejectState(job_))
        state->outputs.Cut(job_);
    outputs_ = RetryOutputs::Of(job_);
}

void RejectRun::Begin()
{
    if (std::exchange(begun_, true))
        return;
    gathered_.RemoveLeftovers();
    names_are_new_ = true;
    if (!keeps()) {
        RemoveRejectState(job_);  // nothing is kept for a retry, and what was is of an earlier run
        return;
    }
    if (!job_.retry_of.empty()) {
        before_ = ReadRejectState(job_);
        if (!before_ || before_->text != job_.retry_of)
            throw std::runtime_error("the job was run or retried in the meantime; nothing was "
                                     "loaded: look at its bad records again");
        before_->outcome = Outcome::Loaded;
        state_ = *before_;
        state_.outcome = Outcome::Retrying;
        state_.outputs = outputs_;
        before_->outputs = {};
    } else {
        state_ = {error_file_, Outcome::Running, 0, RemarksOf(job_), {}, {}};
    }
    list_->PutInPlace();
    WriteRejectState(job_, state_);
}

void RejectRun::End(Rows rows)
{
    rows_ = rows;
    if (!begun_ || !keeps() || rows == Rows::InDoubt || state_.text.empty())
        return;
    if (before_ && rows != Rows::Committed) {
        if (!job_.has_target() && state_.outputs.empty())
            return;  // nobody can take back what a pipe was given
        state_.outputs.Cut(job_);
        WriteRejectState(job_, *before_);  // its records wait as they did before
        return;
    }
    state_.outputs = {};
    state_.outcome = rows == Rows::Committed    ? Outcome::Loaded
                     : rows == Rows::Unfinished ? Outcome::Unfinished
                                                : Outcome::Failed;
    if (before_) {
        state_.file = error_file_;
        state_.retries += 1;
        state_.remarks = RemarksOf(job_);
    }
    WriteRejectState(job_, state_);
}

void RejectRun::Write(JobReport &report) const
{
    RejectsReport &rejects = report.rejects;
    tally_.Write(rejects);
    if (!keeps() || !begun_)
        return;
    rejects.file = ShownPath(error_file_);
    rejects.list = ShownPath(RejectListOf(error_file_));
    if (rejects.left_out + rejects.changed == 0)
        return;
    const std::string job = ShownPath(job_.file);
    rejects.next.push_back("fenwire rejects show " + job);
    if (rows_ == Rows::Committed && rejects.left_out > 0)
        rejects.next.push_back("fenwire rejects retry " + job);
}

}  // namespace fenwire
