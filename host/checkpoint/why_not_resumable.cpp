// host/checkpoint/why_not_resumable.cpp

#include <fmt/format.h>

#include "host/checkpoint/checkpoints.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

std::string WhyNotResumable(const Job &job)
{
    const SourceKind *source = FindSourceKind(job.source_type);
    if (source != nullptr && !source->resumable)
        return fmt::format("the rows of a source of type {} can't be had a second time",
                           source->name);
    if (job.source_type == job.target_type)
        return "its rows come from the database that they go to, which each checkpoint changes";
    return fmt::format("a target of type {} takes no checkpoints", job.target_type);
}

}  // namespace fenwire
