// host/coordinator/file_progress.h - how far an instance is in its file, as the kernel sees it.

#ifndef FENWIRE_HOST_COORDINATOR_FILE_PROGRESS_H
#define FENWIRE_HOST_COORDINATOR_FILE_PROGRESS_H

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace fenwire {

// Position of the process's descriptor on the file with that last name; 0 when it has none open.
uint64_t FilePosition(pid_t process, const std::string &name);

}  // namespace fenwire

#endif
