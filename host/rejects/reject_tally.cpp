// host/rejects/reject_tally.cpp

#include "host/rejects/reject_tally.h"

#include <algorithm>
#include <nlohmann/json.hpp>

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

nlohmann::ordered_json RejectTally::Save() const
{
    nlohmann::ordered_json reasons = nlohmann::ordered_json::array();
    for (const auto &[words, count] : reasons_)
        reasons.push_back({words, count});
    return {{"left_out", left_out_}, {"changed", changed_}, {"kept", kept_}, {"reasons", reasons}};
}

bool RejectTally::Restore(const nlohmann::ordered_json &saved)
{
    const auto take = [&](const char *key, uint64_t &count) {
        const auto found = saved.find(key);
        if (found == saved.end() || !found->is_number_unsigned())
            return false;
        count = found->get<uint64_t>();
        return true;
    };
    const auto reasons = saved.find("reasons");
    if (!take("left_out", left_out_) || !take("changed", changed_) || !take("kept", kept_) ||
        reasons == saved.end() || !reasons->is_array() || reasons->size() > kReasonsKnown)
        return false;
    for (const auto &reason : *reasons) {
        if (!reason.is_array() || reason.size() != 2 || !reason[0].is_string() ||
            !reason[1].is_number_unsigned())
            return false;
        reasons_[reason[0].get<std::string>()] += reason[1].get<uint64_t>();
    }
    return true;
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
