// host/preview/preview_target.h - the target of a preview: the first rows, in a file of the preview's folder.

#ifndef FENWIRE_HOST_PREVIEW_PREVIEW_TARGET_H
#define FENWIRE_HOST_PREVIEW_PREVIEW_TARGET_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/targets/target.h"

namespace fenwire {

struct PreviewCell {
    std::optional<std::string> data;  // none: NULL. The first 1024 bytes
    uint32_t bytes = 0;               // all of it
};

using PreviewRow = std::vector<PreviewCell>;

// No row of the table of targets, so that no job file can name it. Its settings: file, rows.
inline constexpr char kPreviewTarget[] = "the first rows";
std::unique_ptr<Target> MakePreviewTarget(const Job &job);

// What such a target kept; the rows are whole, also when it was killed.
std::vector<PreviewRow> ReadPreviewRows(const std::filesystem::path &file, size_t columns);

}  // namespace fenwire

#endif
