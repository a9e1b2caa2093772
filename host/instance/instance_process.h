// host/instance/instance_process.h - what runs in the process of one instance.
//
// It loads the operator library, then does what the coordinator calls for: one method, one phase. What
// is only a repetition stays here: 43 and 0 are called again at once, 68 after a short sleep. In between
// one word of the board is looked at, so that the coordinator can have the instance back. A consumer's
// execute is called when a row, or the end of all rows, is at hand.

#ifndef FENWIRE_HOST_INSTANCE_INSTANCE_PROCESS_H
#define FENWIRE_HOST_INSTANCE_INSTANCE_PROCESS_H

#include <filesystem>

#include "host/job/job.h"
#include "host/services/attribute_store.h"
#include "host/streams/row_ring.h"
#include "host/system/messages.h"

namespace fenwire {

// The library: FENWIRE_OPERATOR, else beside the program, else in ../lib. Throws std::runtime_error.
std::filesystem::path FindOperatorLibrary();

struct InstanceSetup {
    const Job &job;
    Role role;
    int instance;
    std::filesystem::path library;
    Board &board;
    std::vector<RowRing> &rings;  // of the whole job
    Checkpointing checkpoints = {};
    int rejects = -1;  // the list of bad records, open for appending
};

// Never throws; the exit status of the process.
int RunInstance(const InstanceSetup &setup, Channel channel);

}  // namespace fenwire

#endif
