// host/targets/output_file.h - a buffered way to a file descriptor, and a file that appears when it is whole.
//
// FdWriter hands the system whole buffers and finishes short writes. PendingFile is written beside its
// name as ".<name>.<pid>.part" and takes the name in Publish; until then what stood there stays.

#ifndef FENWIRE_HOST_TARGETS_OUTPUT_FILE_H
#define FENWIRE_HOST_TARGETS_OUTPUT_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace fenwire {

// All members throw TargetError; what names the place in messages, such as "standard output".
class FdWriter {
public:
    FdWriter(int fd, std::string what) : fd_(fd), what_(std::move(what)) { buffer_.reserve(kFull); }

    // Room for the caller to append to. After each whole row: RowDone.
    std::string &buffer() { return buffer_; }
    void RowDone()
    {
        if (buffer_.size() >= kFull)
            Flush();
    }
    void Flush();

private:
    static constexpr size_t kFull = 256 * 1024;
    void Write(std::string_view text);
    int fd_;
    std::string what_;
    std::string buffer_;
};

class PendingFile {
public:
    explicit PendingFile(const std::filesystem::path &path);  // makes it; throws TargetError
    ~PendingFile();                                           // not published: it is gone
    PendingFile(const PendingFile &) = delete;
    PendingFile &operator=(const PendingFile &) = delete;

    int fd() const { return fd_; }
    void Publish();  // on disk and under its name

    // Throws TargetError when the file could not be made; makes nothing.
    static void Check(const std::filesystem::path &path);

private:
    std::filesystem::path path_, part_;
    int fd_ = -1;
};

}  // namespace fenwire

#endif
