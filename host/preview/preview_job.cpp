// host/preview/preview_job.cpp - a job without what it would change, and its run.

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <system_error>

#include <sys/stat.h>

#include "host/coordinator/run.h"
#include "host/job/data_files.h"
#include "host/job/words.h"
#include "host/preview/preview.h"
#include "host/rejects/reject_list.h"
#include "host/system/unique_fd.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kEnoughRefused = 1000;
constexpr size_t kRefusedShown = 10;

// Attributes that a preview does without: they write somewhere, wait for something, end the job for
// its bad records, or deal the file to several instances. A name that ends with * is the start of one.
constexpr std::string_view kLeftOut[] = {
    "RecordError*",   "RowErrFileName",  "ErrorLimit",  "RowsPerInstance",
    "PrivateLogName", "TraceLevel",      "Archive*",    "Vigil*",
    "Notify*",        "MultipleReaders", "RecordsPer*",
};

bool IsLeftOut(const Attribute &attribute)
{
    return std::ranges::any_of(kLeftOut, [&](std::string_view row) {
        return row.ends_with('*') ? attribute.name.starts_with(row.substr(0, row.size() - 1))
                                  : attribute.name == row;
    });
}

class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = (fs::temp_directory_path() / "fenwire-preview-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            ThrowErrno("a temporary folder " + name);
        path_ = name;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    const fs::path &path() const { return path_; }

private:
    fs::path path_;
};

// Hears how the job goes, and stops one that does nothing but refuse.
class Listener final : public Console {
public:
    void Message(LineKind, const std::string &) override {}
    void Progress(const JobSnapshot &now) override { refused_ = now.refused; }
    void Finish(const JobReport &) override {}
    bool Enough() override { return stopped_ = stopped_ || refused_ >= kEnoughRefused; }
    bool stopped() const { return stopped_; }

private:
    uint64_t refused_ = 0;
    bool stopped_ = false;
};

// A list that ends in the middle of an entry, or was never made, is one that is over.
std::vector<RejectEntry> FirstRefused(const fs::path &list)
{
    struct Enough {};
    std::vector<RejectEntry> entries;
    try {
        ReadRejectList(list, [&](RejectEntry &&entry) {
            if (entries.size() == kRefusedShown)
                throw Enough();
            if (entry.left_out)
                entries.push_back(std::move(entry));
        });
    } catch (const Enough &) {
        return entries;
    } catch (const std::runtime_error &) {
        return entries;
    }
    return entries;
}

int64_t RowLimit(const Job &job, uint32_t rows)
{
    const int32_t limit = job.producer.Number("RowsPerInstance", -1);
    return limit >= 0 ? std::min<int64_t>(limit, rows) : rows;
}

}  // namespace

void CheckPreviewInput(const Job &job, std::vector<Complaint> &found)
{
    if (job.has_source()) {
        found.push_back({job.source_at,
                         "a preview shows what is read from files, and this job reads none",
                         "run the job with few rows, into [target] with type = \"print\""});
        return;
    }
    DataFiles input = FindDataFiles(job);
    std::ranges::move(input.faults, std::back_inserter(found));
    for (const DataFile &file : input.files) {
        struct stat info = {};
        if (stat(file.path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode))
            found.push_back({job.producer.at,
                             fmt::format("{} is a named pipe: what a preview read from it would be "
                                         "lost to the job",
                                         Quoted(file.path.string())),
                             "preview a file with a part of the data: --set producer.FileName=.."});
    }
}

Job PreviewJob(const Job &job, const fs::path &folder, uint32_t rows)
{
    Job preview = job;
    preview.state = folder / "state";
    preview.producer.instances = 1;
    std::erase_if(preview.producer.attributes, IsLeftOut);
    const auto give = [&](const char *name, auto value) {
        preview.producer.attributes.push_back({name, value, job.producer.at});
    };
    give("RowsPerInstance", static_cast<int32_t>(RowLimit(job, rows)));
    give("RecordErrorFileName", (folder / "refused").string());
    preview.target_type = kPreviewTarget;
    preview.target = {{"file", (folder / "rows").string(), job.target_at},
                      {"rows", static_cast<int64_t>(rows), job.target_at}};
    return preview;
}

Preview RunPreview(const Job &job, uint32_t rows)
{
    const TemporaryFolder folder;
    const Job changed = PreviewJob(job, folder.path(), rows);
    Listener listener;
    Preview preview;
    preview.report = RunJob(changed, listener);
    preview.cut_short = listener.stopped();
    preview.rows = ReadPreviewRows(folder.path() / "rows", job.columns.size());
    preview.refused = FirstRefused(RejectListOf(RecordErrorFile(changed)));
    return preview;
}

}  // namespace fenwire
