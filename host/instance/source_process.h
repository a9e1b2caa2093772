// host/instance/source_process.h - what runs in the process of one part of a source.
//
// It is called as an instance of a producer is, and answers alike: initiate opens, execute hands over the
// rows, terminate closes. So the parts of a source are open before the first of them reads.

#ifndef FENWIRE_HOST_INSTANCE_SOURCE_PROCESS_H
#define FENWIRE_HOST_INSTANCE_SOURCE_PROCESS_H

#include <vector>

#include "host/job/job.h"
#include "host/streams/row_ring.h"
#include "host/system/messages.h"

namespace fenwire {

struct SourceSetup {
    const Job &job;
    int part;  // from 1
    Board &board;
    std::vector<RowRing> &rings;
};

// Never throws; the exit status of the process.
int RunSource(const SourceSetup &setup, Channel channel);

}  // namespace fenwire

#endif
