// host/rejects/reject_tally.h - how many records were bad, and why, for the summary.

#ifndef FENWIRE_HOST_REJECTS_REJECT_TALLY_H
#define FENWIRE_HOST_REJECTS_REJECT_TALLY_H

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "host/console/report.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

class RejectTally {
public:
    // reason: the kind of fault with its column.
    void Add(const PxBadRecord &record, uint64_t times, const std::string &reason);
    uint64_t left_out() const { return left_out_; }
    uint64_t changed() const { return changed_; }
    uint64_t all() const { return left_out_ + changed_; }
    nlohmann::ordered_json Save() const;
    bool Restore(const nlohmann::ordered_json &saved);  // false: that is no tally
    void Write(RejectsReport &report) const;            // counts, and the most frequent reasons

private:
    uint64_t left_out_ = 0, changed_ = 0, kept_ = 0;
    std::map<std::string, uint64_t> reasons_;
};

}  // namespace fenwire

#endif
