// host/rejects/reject_state.cpp

#include "host/rejects/reject_state.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/words.h"
#include "host/rejects/bad_record.h"
#include "host/system/replace_file.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr std::string_view kOutcomes[] = {"running", "loaded", "failed", "retrying", "unfinished"};

fs::path StatePath(const Job &job) { return job.state / "rejects.json"; }

int HexDigit(char c)
{
    return c >= '0' && c <= '9'                     ? c - '0'
           : (c | 0x20) >= 'a' && (c | 0x20) <= 'f' ? (c | 0x20) - 'a' + 10
                                                    : 0;
}

std::string Prefix(const Step &step)
{
    const std::string hex = step.Text("RecordErrorFilePrefixHEX");
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(HexDigit(hex[i]) << 4 | HexDigit(hex[i + 1]));
    return hex.empty() ? step.Text("RecordErrorFilePrefix") : bytes;
}

[[noreturn]] void Damaged(const fs::path &path)
{
    throw std::runtime_error(fmt::format("{} is damaged: remove it, and run the job again before "
                                         "its bad records are retried",
                                         Quoted(path.string())));
}

}  // namespace

Remarks RemarksOf(const Job &job)
{
    const std::string verbosity = UpperCase(job.producer.Text("RecordErrorVerbosity", "Off"));
    return {!verbosity.empty() && verbosity[0] != 'O', Prefix(job.producer)};
}

std::optional<RejectState> ReadRejectState(const Job &job)
{
    const fs::path path = StatePath(job);
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    RejectState state;
    state.text.assign(std::istreambuf_iterator<char>(in), {});
    const Json object = Json::parse(state.text, nullptr, false);
    const auto text = [&](const char *key) {
        if (!object.is_object() || !object.contains(key) || !object[key].is_string())
            Damaged(path);
        return object[key].get<std::string>();
    };
    const auto *outcome = std::ranges::find(kOutcomes, text("outcome"));
    if (outcome == std::end(kOutcomes) || !object.contains("retries") ||
        !object["retries"].is_number_unsigned() || !object.contains("remarks") ||
        !object["remarks"].is_boolean() || !FromBase64(text("prefix"), state.remarks.prefix) ||
        (object.contains("outputs") && !state.outputs.Restore(object["outputs"])))
        Damaged(path);
    state.outcome = static_cast<RejectState::Outcome>(outcome - kOutcomes);
    state.file = text("file");
    state.retries = object["retries"].get<int>();
    state.remarks.present = object["remarks"].get<bool>();
    return state;
}

void WriteRejectState(const Job &job, RejectState &state)
{
    const fs::path path = StatePath(job);
    Json object = {{"file", state.file.string()},
                   {"outcome", kOutcomes[static_cast<size_t>(state.outcome)]},
                   {"retries", state.retries},
                   {"remarks", state.remarks.present},
                   {"prefix", Base64(state.remarks.prefix)},
                   {"process", getpid()}};
    if (!state.outputs.empty())
        object["outputs"] = state.outputs.Save();
    state.text = object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    // The new state is on the disk before rows are committed under it.
    ReplaceFile(path, state.text);
}

void RemoveRejectState(const Job &job)
{
    std::error_code none;
    fs::remove(StatePath(job), none);
}

fs::path RetryErrorFile(const fs::path &error_file, int retry)
{
    return error_file.string() + ".retry" + (retry > 1 ? std::to_string(retry) : "");
}

}  // namespace fenwire
