// host/preview/preview_target.cpp - keeps the first rows in a file that the coordinator reads at the end.
//
// For each column of a row: its length (kNullColumn: NULL), how many bytes of it follow, and these. What was
// put stays, also when the job fails: the rows before the fault are what its user wants to see.

#include "host/preview/preview_target.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

#include <fcntl.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/system/unique_fd.h"
#include "host/targets/output_file.h"

namespace fenwire {

namespace {

constexpr uint32_t kMostBytes = 1024;

void AppendWord(std::string &text, uint32_t word)
{
    text.append(reinterpret_cast<const char *>(&word), sizeof word);
}

class PreviewTarget final : public Target {
public:
    explicit PreviewTarget(const Job &job)
        : path_(PathSetting(job, job.target, "file")),
          wanted_(SettingOr<int64_t>(job.target, "rows", 0))
    {
    }

    void Check() override {}

    void Open(Start) override
    {
        file_ = UniqueFd(
            open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file_)
            throw TargetError(
                fmt::format("file {} can't be made: {}", Quoted(path_.string()), strerror(errno)));
    }

    void Put(int, const RowBatch &rows) override
    {
        FdWriter writer(file_.get(), "the file of the first rows");
        rows.ForEach([&](const RowRecord &row) {
            if (static_cast<int64_t>(report_.rows) < wanted_)
                Keep(writer.buffer(), row, rows.columns);
            ++report_.rows;
            report_.bytes += row.data_bytes();
        });
        writer.Flush();
    }

    TargetReport Commit(const StoredGeneration *) override { return report_; }
    void Abort() noexcept override {}

private:
    static void Keep(std::string &text, const RowRecord &row, uint32_t columns)
    {
        const char *data = reinterpret_cast<const char *>(row.data(columns));
        for (uint32_t i = 0; i < columns; ++i) {
            const uint32_t length = row.length(i);
            const uint32_t kept = length == kNullColumn ? 0 : std::min(length, kMostBytes);
            AppendWord(text, length);
            AppendWord(text, kept);
            text.append(data, kept);
            data += length == kNullColumn ? 0 : length;
        }
    }

    std::filesystem::path path_;
    int64_t wanted_;
    UniqueFd file_;
    TargetReport report_;
};

// False: the bytes end too early, as they do when the target's process was killed.
bool TakeWord(std::string_view &text, uint32_t &word)
{
    if (text.size() < sizeof word)
        return false;
    memcpy(&word, text.data(), sizeof word);
    text.remove_prefix(sizeof word);
    return true;
}

bool TakeRow(std::string_view &text, PreviewRow &row)
{
    for (PreviewCell &cell : row) {
        uint32_t kept = 0;
        if (!TakeWord(text, cell.bytes) || !TakeWord(text, kept) || kept > text.size())
            return false;
        if (cell.bytes != kNullColumn)
            cell.data = std::string(text.substr(0, kept));
        text.remove_prefix(kept);
    }
    return true;
}

}  // namespace

std::unique_ptr<Target> MakePreviewTarget(const Job &job)
{
    return std::make_unique<PreviewTarget>(job);
}

std::vector<PreviewRow> ReadPreviewRows(const std::filesystem::path &file, size_t columns)
{
    std::ifstream in(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    std::vector<PreviewRow> rows;
    for (std::string_view rest = bytes; !rest.empty();) {
        PreviewRow row(columns);
        if (!TakeRow(rest, row))
            break;
        rows.push_back(std::move(row));
    }
    return rows;
}

}  // namespace fenwire
