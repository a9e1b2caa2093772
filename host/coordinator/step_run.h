// host/coordinator/step_run.h - one step of a job while it runs: its processes, phases and shared objects.

#ifndef FENWIRE_HOST_COORDINATOR_STEP_RUN_H
#define FENWIRE_HOST_COORDINATOR_STEP_RUN_H

#include <memory>
#include <string>
#include <vector>

#include "host/coordinator/children.h"
#include "host/coordinator/ledger.h"
#include "host/coordinator/phases.h"
#include "host/coordinator/shared_objects.h"

namespace fenwire {

struct StepRun {
    StepRun(Side which, std::string each, int instances, Board &board, bool restarts)
        : side(which), word(std::move(each)), count(instances), phases(instances, restarts),
          objects(board), last_bad(static_cast<size_t>(instances))
    {
    }

    Child &Of(int instance) { return *children[static_cast<size_t>(instance - 1)]; }
    const Child &Of(int instance) const { return *children[static_cast<size_t>(instance - 1)]; }
    std::string Who(int instance) const { return word + " " + std::to_string(instance); }

    const Side side;
    const std::string word;  // for one of its processes: "instance", "source" ..
    const int count;
    Phases phases;
    SharedObjects objects;
    std::vector<std::unique_ptr<Child>> children;
    std::vector<std::string> last_bad;  // for each instance: where its last bad record was
};

}  // namespace fenwire

#endif
