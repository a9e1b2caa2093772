// host/preview/preview.h - the first rows of a job, and the first records that it would refuse.

#ifndef FENWIRE_HOST_PREVIEW_PREVIEW_H
#define FENWIRE_HOST_PREVIEW_PREVIEW_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/console/report.h"
#include "host/job/job.h"
#include "host/preview/preview_target.h"
#include "host/rejects/reject_reader.h"

namespace fenwire {

struct Preview {
    std::vector<PreviewRow> rows;
    std::vector<RejectEntry> refused;  // the first ones
    bool cut_short = false;            // so many records were refused that it was stopped
    JobReport report;
};

// Files that a preview would change by reading them. Appended.
void CheckPreviewInput(const Job &job, std::vector<Complaint> &found);

// Runs it. Throws what keeps a job from starting at all.
Preview RunPreview(const Job &job, uint32_t rows);

// ---- Its parts --------------------------------------------------------------------------------

// The job without its effects; folder is the preview's own.
Job PreviewJob(const Job &job, const std::filesystem::path &folder, uint32_t rows);

// A title and a line for each row.
std::vector<std::string> PreviewTable(const Job &job, const std::vector<PreviewRow> &rows);

}  // namespace fenwire

#endif
