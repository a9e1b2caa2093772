// host/checkpoint/run_state.cpp

#include "host/checkpoint/run_state.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/job/words.h"
#include "host/system/replace_file.h"
#include "host/system/unique_fd.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Outcome = RunState::Outcome;

constexpr std::string_view kOutcomes[] = {"running", "stopped", "failed", "finished"};
constexpr size_t kMostBytes = 64 << 10;

fs::path RunPath(const Job &job) { return job.state / "run.json"; }

// format: for year, month, day, hour, minute, second.
std::string UtcAs(const char *format)
{
    const time_t now = time(nullptr);
    tm parts = {};
    gmtime_r(&now, &parts);
    return fmt::format(fmt::runtime(format), parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                       parts.tm_hour, parts.tm_min, parts.tm_sec);
}

// Empty: it is not there, or no file of ours could look like it.
std::string Contents(const fs::path &path)
{
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info;
    if (!fd || fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0 ||
        static_cast<size_t>(info.st_size) > kMostBytes)
        return {};
    std::string text(static_cast<size_t>(info.st_size), '\0');
    const ssize_t got = pread(fd.get(), text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return text;
}

// Members of the kinds that are written, or none.
template <class Value>
bool Take(const Json &object, const char *key, Value &value)
{
    const auto found = object.find(key);
    if (found == object.end())
        return false;
    if constexpr (std::is_same_v<Value, bool>) {
        if (!found->is_boolean())
            return false;
    } else if constexpr (std::is_same_v<Value, std::string>) {
        if (!found->is_string())
            return false;
    } else if (!found->is_number_unsigned() || found->template get<uint64_t>() > INT_MAX) {
        return false;
    }
    value = found->template get<Value>();
    return true;
}

}  // namespace

std::string UtcNow() { return UtcAs("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z"); }

std::string NewRunId()
{
    uint32_t chance = 0;
    if (getrandom(&chance, sizeof chance, 0) != sizeof chance)
        ThrowErrno("random number");
    return UtcAs("{:04}{:02}{:02}-{:02}{:02}{:02}-") + fmt::format("{:08x}", chance);
}

std::optional<RunState> ReadRunState(const Job &job)
{
    const Json object = Json::parse(Contents(RunPath(job)), nullptr, false);
    RunState state;
    std::string outcome;
    if (!object.is_object() || !Take(object, "run", state.run) ||
        !Take(object, "outcome", outcome) || !Take(object, "began", state.began) ||
        !Take(object, "changed", state.changed) || !Take(object, "process", state.process) ||
        !Take(object, "reason", state.reason) ||
        !Take(object, "keeps_checkpoints", state.keeps_checkpoints))
        return std::nullopt;
    (void)Take(object, "job_file", state.job_file);
    const auto *found = std::ranges::find(kOutcomes, outcome);
    if (state.run.empty() || found == std::end(kOutcomes))
        return std::nullopt;
    state.outcome = static_cast<Outcome>(found - kOutcomes);
    return state;
}

void WriteRunState(const Job &job, const RunState &state)
{
    const Json object = {{"run", state.run},
                         {"outcome", kOutcomes[static_cast<size_t>(state.outcome)]},
                         {"began", state.began},
                         {"changed", state.changed},
                         {"process", state.process},
                         {"reason", state.reason.substr(0, kMostBytes / 16)},
                         {"keeps_checkpoints", state.keeps_checkpoints},
                         {"job_file", state.job_file}};
    ReplaceFile(RunPath(job), object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

}  // namespace fenwire
