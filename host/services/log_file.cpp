// host/services/log_file.cpp

#include "host/services/log_file.h"

#include <fcntl.h>

#include "host/system/unique_fd.h"

namespace fenwire {

std::filesystem::path PrivateLogPath(const Job &job, const std::string &name)
{
    return job.state / "logs" / (name + ".log");  // an absolute name replaces what is before it
}

LogFile::LogFile(const std::filesystem::path &path) : path_(path)
{
    std::error_code ignored;
    std::filesystem::rename(path, path.string() + ".1", ignored);
    UniqueFd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        ThrowErrno("log file " + path.string());
    file_.reset(fdopen(fd.get(), "w"));
    if (file_ == nullptr)
        ThrowErrno("log file " + path.string());
    (void)fd.Release();  // the stream closes it
}

void LogFile::Line(std::string_view text, Flush flush)
{
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F)
            fprintf(file_.get(), "\\x%02x", byte);
        else
            fputc(c, file_.get());
    }
    fputc('\n', file_.get());
    if (flush == Flush::Now)
        fflush(file_.get());
    failed_ = failed_ || ferror(file_.get()) != 0;
}

}  // namespace fenwire
