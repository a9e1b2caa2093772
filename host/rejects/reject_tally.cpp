// host/rejects/reject_tally.cpp

#include "host/rejects/reject_tally.h"

#include <algorithm>

namespace fenwire {

namespace {

constexpr size_t kReasonsShown = 3;
// Reasons that name what the data hold could be as many as the records.
constexpr size_t kReasonsKnown = 1000;

}  // namespace

void RejectTally::Add(const PxBadRecord &record, uint64_t times, const std::string &reason)
{
    (record.left_out != 0 ? left_out_ : changed_) += times;
    kept_ += record.kept != 0 ? times : 0;
    if (reasons_.size() < kReasonsKnown || reasons_.contains(reason))
        reasons_[reason] += times;
}

void RejectTally::Write(RejectsReport &report) const
{
    report.kept = kept_;
    report.left_out = left_out_;
    report.changed = changed_;
    report.others = left_out_ + changed_;
    for (const auto &[words, count] : reasons_)
        report.reasons.push_back({words, count});
    std::ranges::stable_sort(report.reasons, std::ranges::greater(), &RejectReason::count);
    report.reasons.resize(std::min(report.reasons.size(), kReasonsShown));
    for (const RejectReason &reason : report.reasons)
        report.others -= reason.count;
}

}  // namespace fenwire
