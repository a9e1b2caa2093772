// host/job/command.h - the command that does something with a job, for the user to copy.

#ifndef FENWIRE_HOST_JOB_COMMAND_H
#define FENWIRE_HOST_JOB_COMMAND_H

#include <string>

#include "host/job/job.h"

namespace fenwire {

// "fenwire resume orders.toml --instances 2", ready for a shell: with what the command line set when the
// job was loaded, without which it would be another job.
std::string JobCommand(const std::string &verb, const Job &job);

}  // namespace fenwire

#endif
