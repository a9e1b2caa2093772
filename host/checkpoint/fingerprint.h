// host/checkpoint/fingerprint.h - whether a job is still the one that took the checkpoint.

#ifndef FENWIRE_HOST_CHECKPOINT_FINGERPRINT_H
#define FENWIRE_HOST_CHECKPOINT_FINGERPRINT_H

#include <string>
#include <vector>

#include "host/checkpoint/generation.h"
#include "host/job/job.h"

namespace fenwire {

// Everything in the job that a resumed run must find unchanged: columns, instances, character set,
// source and target, and the attributes that say what is a record and where rows go. What only says how
// the job is told of (trace level, logs, limits) may change.
std::string FingerprintOf(const Job &job);

// One line for each difference: "[producer] instances: 4 at the checkpoint, 2 now". Empty: none.
std::vector<std::string> DifferencesFrom(const std::string &fingerprint, const Job &job);

// The file as it is now; size -1: it is not there, or is no plain file. path: from the job's folder.
FileIdentity IdentityOf(const Job &job, const std::string &path);

// One line for each input file, finished ones excepted, that is not the one of the checkpoint.
std::vector<std::string> ChangedFiles(const Job &job, const Generation &generation);
// One line for each output file that does not hold what the checkpoint counts on.
std::vector<std::string> LostFiles(const Job &job, const Generation &generation);

}  // namespace fenwire

#endif
