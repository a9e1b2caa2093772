// host/job/output_files.h - the files that a job would write, as they lie there now.
//
// For `fenwire check` and the checks of a job file. The operator makes the same names when the job runs.

#ifndef FENWIRE_HOST_JOB_OUTPUT_FILES_H
#define FENWIRE_HOST_JOB_OUTPUT_FILES_H

#include <filesystem>
#include <string>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

// One for each instance of the consumer, in their order; empty when the job writes no files.
std::vector<std::filesystem::path> OutputFiles(const Job &job);

// What would become of it: "new", "replaces 12 bytes", "goes on behind 12 bytes", "named pipe".
struct OutputState {
    std::filesystem::path path;
    std::string becomes;
    bool replaces = false;
};

struct OutputLook {
    std::vector<OutputState> files;
    std::vector<Complaint> faults;  // that would keep the files from being written
};

OutputLook LookAtOutput(const Job &job);

}  // namespace fenwire

#endif
