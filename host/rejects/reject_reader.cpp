// host/rejects/reject_reader.cpp

#include "host/rejects/reject_reader.h"

#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/job/words.h"
#include "host/rejects/bad_record.h"

namespace fenwire {

namespace {

using Json = nlohmann::ordered_json;

// What is null or missing leaves the value alone. False: it is of another kind.
template <class Value>
bool Take(const Json &object, const char *key, Value &value)
{
    const auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return true;
    if constexpr (std::is_same_v<Value, std::string>) {
        if (!found->is_string())
            return false;
    } else if constexpr (std::is_same_v<Value, bool>) {
        if (!found->is_boolean())
            return false;
    } else if (!found->is_number_unsigned()) {
        return false;
    }
    value = found->template get<Value>();
    return true;
}

bool Understand(const Json &object, RejectEntry &entry)
{
    std::string base64;
    if (!object.is_object() || !object.contains("record") ||
        object.contains("raw") == object.contains("raw_base64"))
        return false;
    const bool kinds_fit =
        Take(object, "file", entry.file) && Take(object, "record", entry.record) &&
        Take(object, "offset", entry.offset) && Take(object, "column", entry.column) &&
        Take(object, "column_name", entry.column_name) && Take(object, "kind", entry.kind) &&
        Take(object, "left_out", entry.left_out) &&
        Take(object, "in_error_file", entry.in_error_file) && Take(object, "raw", entry.raw) &&
        Take(object, "raw_base64", base64);
    return kinds_fit && (base64.empty() || FromBase64(base64, entry.raw));
}

}  // namespace

void ReadRejectList(const std::filesystem::path &path,
                    const std::function<void(RejectEntry &&)> &take)
{
    const std::string shown = Quoted(path.string());
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error(
            fmt::format("the list of bad records {} can't be read: {}", shown, strerror(errno)));
    uint64_t number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        const Json object = Json::parse(line, nullptr, false);
        RejectEntry entry;
        if (!Understand(object, entry))
            throw std::runtime_error(
                fmt::format("line {} of the list of bad records {} is damaged", number, shown));
        entry.line = object.dump(-1, ' ', true, Json::error_handler_t::replace);
        take(std::move(entry));
    }
    if (in.bad())
        throw std::runtime_error(
            fmt::format("the list of bad records {} can't be read to its end", shown));
}

}  // namespace fenwire
