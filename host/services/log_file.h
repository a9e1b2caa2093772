// host/services/log_file.h - a log on disk. The log of the run before is kept beside it as NAME.1.

#ifndef FENWIRE_HOST_SERVICES_LOG_FILE_H
#define FENWIRE_HOST_SERVICES_LOG_FILE_H

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "host/job/job.h"

namespace fenwire {

// Where a private log lies: in the state folder, but for a name that is a whole path.
std::filesystem::path PrivateLogPath(const Job &job, const std::string &name);

class LogFile {
public:
    enum class Flush : uint8_t { Later, Now };
    // Throws std::system_error. The file is the owner's alone, and never somebody's link.
    explicit LogFile(const std::filesystem::path &path);
    void Line(std::string_view text, Flush flush = Flush::Later);  // control bytes are escaped
    bool failed() const { return failed_; }                        // a line could not be written
    const std::filesystem::path &path() const { return path_; }

private:
    struct Closer {
        void operator()(FILE *file) const { fclose(file); }
    };
    std::filesystem::path path_;
    std::unique_ptr<FILE, Closer> file_;
    bool failed_ = false;
};

}  // namespace fenwire

#endif
