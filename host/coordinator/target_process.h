// host/coordinator/target_process.h - what runs in the process of the target.
//
// Takes the rows out of all instances' rings and hands them to the target, until the coordinator has it
// drained and committed, or aborted. Asleep while there is nothing to do.

#ifndef FENWIRE_HOST_COORDINATOR_TARGET_PROCESS_H
#define FENWIRE_HOST_COORDINATOR_TARGET_PROCESS_H

#include <vector>

#include "host/job/job.h"
#include "host/streams/row_ring.h"
#include "host/system/messages.h"

namespace fenwire {

struct TargetSetup {
    const Job &job;
    Board &board;
    std::vector<RowRing> &rings;  // of instance 1, 2 ...
    bool again;                   // the job goes on from a generation
};

// Never throws; the exit status of the process.
int RunTarget(const TargetSetup &setup, Channel channel);

}  // namespace fenwire

#endif
