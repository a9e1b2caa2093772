// host/rejects/retry_outputs.cpp

#include "host/rejects/retry_outputs.h"

#include <algorithm>
#include <climits>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include "host/job/output_files.h"
#include "host/job/words.h"
#include "host/rejects/bad_record.h"
#include "host/system/unique_fd.h"

namespace fenwire {

namespace {

// None: no plain file that can be read and written.
UniqueFd OpenOutput(const std::string &path)
{
    UniqueFd fd(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    struct stat info = {};
    if (fd && (fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)))
        fd.Close();
    return fd;
}

}  // namespace

RetryOutputs RetryOutputs::Of(const Job &job)
{
    RetryOutputs outputs;
    for (const auto &path : OutputFiles(job)) {
        const UniqueFd fd = OpenOutput(path);
        if (!fd)
            return {};
        outputs.outputs_.push_back({path, MarkOf(fd.get())});
    }
    return outputs;
}

void RetryOutputs::Cut(const Job &job) const
{
    const auto refuse = [](const std::string &path, const std::string &why) {
        throw std::runtime_error(fmt::format(
            "what a retry that was cut short has added to {} can't be taken back: the file {}",
            Quoted(path), why));
    };
    const auto now = OutputFiles(job);
    std::vector<UniqueFd> fds;
    for (const Output &output : outputs_) {
        if (std::ranges::find(now, std::filesystem::path(output.path)) == now.end())
            refuse(output.path, "is none that the job writes now");
        fds.push_back(OpenOutput(output.path));
        if (!fds.back())
            refuse(output.path, "is gone");
        if (const std::string why = WhyNotAt(fds.back().get(), output.mark); !why.empty())
            refuse(output.path, why);
    }
    for (size_t i = 0; i < fds.size(); ++i) {
        CutAt(fds[i].get(), outputs_[i].mark, outputs_[i].path);
        SyncFile(fds[i].get(), outputs_[i].path);
    }
}

nlohmann::ordered_json RetryOutputs::Save() const
{
    nlohmann::ordered_json saved = nlohmann::ordered_json::array();
    for (const Output &output : outputs_)
        saved.push_back({{"path", output.path},
                         {"bytes", output.mark.bytes},
                         {"tail", Base64(output.mark.tail)}});
    return saved;
}

bool RetryOutputs::Restore(const nlohmann::ordered_json &saved)
{
    outputs_.clear();
    if (!saved.is_array())
        return false;
    for (const auto &one : saved) {
        Output &output = outputs_.emplace_back();
        if (!one.is_object() || !one.contains("path") || !one["path"].is_string() ||
            !one.contains("bytes") || !one["bytes"].is_number_unsigned() || !one.contains("tail") ||
            !one["tail"].is_string() ||
            !FromBase64(one["tail"].get<std::string>(), output.mark.tail))
            return false;
        output.path = one["path"].get<std::string>();
        output.mark.bytes = one["bytes"].get<uint64_t>();
        if (output.mark.bytes > INT64_MAX ||
            output.mark.tail.size() != std::min(output.mark.bytes, FileMark::kTailBytes))
            return false;
    }
    return true;
}

}  // namespace fenwire
