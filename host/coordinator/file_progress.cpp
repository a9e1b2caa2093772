// host/coordinator/file_progress.cpp

#include "host/coordinator/file_progress.h"

#include <filesystem>
#include <fstream>

namespace fenwire {

uint64_t FilePosition(pid_t process, const std::string &name)
{
    namespace fs = std::filesystem;
    const fs::path proc = "/proc/" + std::to_string(process);
    const fs::path wanted = fs::path(name).filename();
    std::error_code failure;
    for (const auto &fd : fs::directory_iterator(proc / "fd", failure)) {
        const fs::path file = fs::read_symlink(fd.path(), failure);
        if (failure || file.filename() != wanted)
            continue;
        std::ifstream info(proc / "fdinfo" / fd.path().filename());
        std::string word;
        uint64_t position = 0;
        if (info >> word >> position && word == "pos:")
            return position;
    }
    return 0;
}

}  // namespace fenwire
