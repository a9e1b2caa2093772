// host/checkpoint/checkpoint_store.h - the rest of CheckpointStore: what is asked of it without a run.

#ifndef FENWIRE_HOST_CHECKPOINT_CHECKPOINT_STORE_H
#define FENWIRE_HOST_CHECKPOINT_CHECKPOINT_STORE_H

#include <optional>
#include <string>

#include "host/checkpoint/generation.h"
#include "host/job/job.h"

namespace fenwire {

// As FindGeneration and ForgetGeneration. A store that can't be read can be forgotten all the same.
std::optional<StoredGeneration> FindInStore(const Job &job, const std::string &run);
void ForgetStore(const Job &job);

}  // namespace fenwire

#endif
