// host/coordinator/ledger_checkpoint.cpp - the ledger in a generation, and back.
//
// JSON: counts as whole numbers, files by their index. It lies in a store that others may reach, so what
// comes back is looked at like any input.

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/coordinator/ledger.h"

namespace fenwire {

namespace {

using Json = nlohmann::json;

// One list for both ways.
struct FileCount {
    const char *name;
    uint64_t FileReport::*member;
};
constexpr FileCount kFileCounts[] = {
    {"records", &FileReport::records}, {"loaded", &FileReport::loaded},
    {"refused", &FileReport::refused}, {"skipped", &FileReport::skipped},
    {"bytes", &FileReport::bytes},     {"without_excess", &FileReport::without_excess},
    {"padded", &FileReport::padded},   {"cut", &FileReport::cut},
};

Json SaveFiles(const std::map<uint32_t, FileReport> &files)
{
    Json all = Json::array();
    for (const auto &[index, file] : files) {
        Json one = {{"index", index},
                    {"name", file.name},
                    {"instance", file.instance},
                    {"finished", file.finished},
                    {"seconds", file.seconds}};
        for (const FileCount &count : kFileCounts)
            one[count.name] = file.*count.member;
        all.push_back(std::move(one));
    }
    return all;
}

std::map<uint32_t, FileReport> RestoreFiles(const Json &all, size_t instances)
{
    std::map<uint32_t, FileReport> files;
    for (const Json &one : all) {
        FileReport &file = files[one.at("index").get<uint32_t>()];
        file.name = one.at("name").get<std::string>();
        file.instance = one.at("instance").get<int>();
        file.finished = one.at("finished").get<bool>();
        file.seconds = one.at("seconds").get<double>();
        for (const FileCount &count : kFileCounts)
            file.*count.member = one.at(count.name).get<uint64_t>();
        if (file.instance < 1 || static_cast<size_t>(file.instance) > instances)
            throw std::runtime_error("a file of an instance that the job does not have");
    }
    return files;
}

}  // namespace

void Ledger::Keep()
{
    kept_ = files_;
    kept_rows_ = instances_.size() > senders_ ? rows_written() : target_rows();
}

std::string Ledger::Save() const
{
    Json codes = Json::array();
    for (const InstanceReport &instance : instances_)
        codes.push_back(instance.exit_code);
    const Json object = {{"files", SaveFiles(files_)},
                         {"outputs", SaveFiles(outputs_)},
                         {"source_rows", source_rows_},
                         {"target_rows", target_rows()},
                         {"target_refused", target_refused()},
                         {"exit_codes", codes},
                         {"warnings", warnings_}};
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void Ledger::Restore(const std::string &saved)
{
    try {
        const Json object = Json::parse(saved);
        before_.files = files_ = RestoreFiles(object.at("files"), senders_);
        before_.outputs = outputs_ =
            RestoreFiles(object.at("outputs"), instances_.size() - senders_);
        before_.source_rows = source_rows_ = object.at("source_rows").get<std::vector<uint64_t>>();
        before_.target_rows = object.at("target_rows").get<uint64_t>();
        before_.target_refused = object.at("target_refused").get<uint64_t>();
        warnings_ = object.at("warnings").get<int>();
        const auto codes = object.at("exit_codes").get<std::vector<int>>();
        if (codes.size() != instances_.size() || source_rows_.size() != senders_)
            throw std::runtime_error("another number of instances");
        for (size_t i = 0; i < codes.size(); ++i)
            instances_[i].exit_code = codes[i] > 0 && codes[i] < kFatal ? codes[i] : 0;
    } catch (const std::exception &failure) {
        throw std::runtime_error(std::string("the checkpoint's counts can't be read: ") +
                                 failure.what());
    }
    Keep();
}

}  // namespace fenwire
