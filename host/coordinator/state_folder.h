// host/coordinator/state_folder.h - .fenwire/<job> beside the job file: the lock and the logs.

#ifndef FENWIRE_HOST_COORDINATOR_STATE_FOLDER_H
#define FENWIRE_HOST_COORDINATOR_STATE_FOLDER_H

#include <filesystem>

#include "host/system/unique_fd.h"

namespace fenwire {

// Makes the folder and holds its lock as long as it lives. Throws std::runtime_error with words for the
// user: the folder can't be made, or the same job is running.
class StateFolder {
public:
    explicit StateFolder(const std::filesystem::path &folder);

private:
    UniqueFd lock_;
};

// The process that holds the folder's lock; 0: none does. Touches nothing.
int RunningProcess(const std::filesystem::path &folder);

}  // namespace fenwire

#endif
