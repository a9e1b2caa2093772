// host/job/data_files.h - the files that a job would read, as they lie there now.
//
// For `fenwire check`. The operator looks for itself when the job runs; this is the same search, with
// more to say about what it did not find.

#ifndef FENWIRE_HOST_JOB_DATA_FILES_H
#define FENWIRE_HOST_JOB_DATA_FILES_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

struct DataFile {
    std::filesystem::path path;
    std::string
        opened;  // the path that the operator opens, which counts from the job file's folder
    uint64_t bytes = 0;  // 0 for a pipe
};

struct DataFiles {
    std::vector<DataFile> files;  // by name
    std::vector<Complaint> faults;
    std::vector<std::string> notes;  // odd, but no fault
    std::filesystem::path directory;
    bool pattern = false;  // FileName is one
};

DataFiles FindDataFiles(const Job &job);

// Whether a name fits a pattern with *. Each piece is looked for from where the piece before it was
// found, not from behind it, so that pieces may overlap.
bool FitsPattern(std::string_view pattern, std::string_view name);

}  // namespace fenwire

#endif
