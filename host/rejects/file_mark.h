// host/rejects/file_mark.h - how far a file had come at a checkpoint, and how it ended there.
//
// What was written behind a mark is cut off when the job goes on from there. Cutting a file that somebody
// changed in the meantime would split a record, so the bytes before the mark are compared first: a change
// that moved them shows.

#ifndef FENWIRE_HOST_REJECTS_FILE_MARK_H
#define FENWIRE_HOST_REJECTS_FILE_MARK_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace fenwire {

struct FileMark {
    static constexpr uint64_t kTailBytes = 64;
    uint64_t bytes = 0;
    std::string tail;  // the last bytes before it, kTailBytes or all there are
    bool operator==(const FileMark &) const = default;
};

// At the file's end as it is now. Throws std::system_error.
FileMark MarkOf(int fd);

// Why the file can't be cut back to the mark, "is .."; empty: it can.
std::string WhyNotAt(int fd, const FileMark &mark);

// What lies behind the mark is gone. Throws std::system_error, path names the file.
void CutAt(int fd, const FileMark &mark, const std::string &path);

// Appends the bytes from begin to end of one file where the other stands. Throws std::system_error, to_path
// names that.
void CopyBytes(int from, uint64_t begin, uint64_t end, int to, const std::string &to_path);

// Throws std::system_error.
void SyncFile(int fd, const std::string &path);

}  // namespace fenwire

#endif
