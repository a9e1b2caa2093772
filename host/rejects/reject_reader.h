// host/rejects/reject_reader.h - the list of bad records, read again.

#ifndef FENWIRE_HOST_REJECTS_REJECT_READER_H
#define FENWIRE_HOST_REJECTS_REJECT_READER_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace fenwire {

struct RejectEntry {
    std::string file;
    uint64_t record = 0;
    int64_t offset = -1;  // -1: not known
    uint32_t column = 0;  // 0: none
    std::string column_name, kind;
    bool left_out = true, in_error_file = true;
    std::string raw;
    std::string line;  // the object, in ASCII
};

// Hands over one entry after the other. Throws std::runtime_error with words for the user: there is no
// list, or a line is none of ours; what stands before it has been handed over.
void ReadRejectList(const std::filesystem::path &path,
                    const std::function<void(RejectEntry &&)> &take);

}  // namespace fenwire

#endif
