// host/console/progress.h - how a running job looks: the rates, the block, the line.

#ifndef FENWIRE_HOST_CONSOLE_PROGRESS_H
#define FENWIRE_HOST_CONSOLE_PROGRESS_H

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/console/report.h"

namespace fenwire {

// What a counter gained per second, lately: older gains count less, by a factor of e every `memory`
// seconds. A burst or a short pause moves it a little; from the first second on it is no estimate of
// zero, because time fades as gains do.
class Rate {
public:
    explicit Rate(double memory) : memory_(memory) {}
    void Observe(double seconds, uint64_t count);
    double PerSecond() const { return time_ > 0 ? gain_ / time_ : 0; }

private:
    double memory_;
    double at_ = 0, gain_ = 0, time_ = 0;
    uint64_t count_ = 0;
};

// The rates of a job, from one snapshot to the next.
class JobRates {
public:
    void Observe(const JobSnapshot &now);
    double Bytes() const { return bytes_.PerSecond(); }
    double Rows() const { return rows_.PerSecond(); }
    double Rows(const InstanceSnapshot &instance) const;  // 0 for one that was not seen yet
    // Seconds until all is read; none while it would be a guess.
    std::optional<double> Left(const JobSnapshot &now) const;

private:
    // What is read at a glance may follow the load; what is left should not dance.
    static constexpr double kShownMemory = 3, kLeftMemory = 15;
    Rate bytes_{kShownMemory}, rows_{kShownMemory}, left_{kLeftMemory};
    using InstanceKey = std::pair<bool, int>;  // whether it writes, its number
    static InstanceKey Key(const InstanceSnapshot &instance)
    {
        return {instance.step == "consumer", instance.instance};
    }
    std::map<InstanceKey, Rate> instances_;
    std::optional<double> loading_since_;
};

struct ScreenSize {
    size_t columns = 80, lines = 24;
};

// A line for each instance, then the total; none is longer than the screen is wide, and together they
// leave some lines of the screen free. Instances that do not fit are counted in a line.
std::vector<std::string> ProgressBlock(const JobSnapshot &now, const JobRates &rates,
                                       ScreenSize screen);

// "phase=loading files_done=1 files=3 ..." ; what is not known is "-".
std::string ProgressLine(const JobSnapshot &now, const JobRates &rates);

}  // namespace fenwire

#endif
