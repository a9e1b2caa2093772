// host/system/replace_file.h - a file that is there as it was or as it becomes, whatever happens.

#ifndef FENWIRE_HOST_SYSTEM_REPLACE_FILE_H
#define FENWIRE_HOST_SYSTEM_REPLACE_FILE_H

#include <filesystem>
#include <string_view>

namespace fenwire {

// On the disk when it returns, mode 0600. Throws std::system_error; the file is as it was then.
void ReplaceFile(const std::filesystem::path &path, std::string_view text);

// What was made, renamed or removed in the folder stays so. Throws std::system_error.
void SyncFolder(const std::filesystem::path &folder);

}  // namespace fenwire

#endif
