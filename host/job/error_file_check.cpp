// host/job/error_file_check.cpp - the record error file and its kin must not be read as input.
//
// The operator begins the record error file anew: one that is an input file would be lost, and one that
// fits the pattern of the input files would be loaded by the next run.

#include <fmt/format.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/attribute_checks.h"
#include "host/job/data_files.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

const Attribute *ErrorFileAttribute(const Job &job)
{
    for (const char *name : {"RecordErrorFileName", "RowErrFileName"}) {
        for (const Attribute &given : job.producer.attributes) {
            if (given.name == name)
                return &given;
        }
    }
    return nullptr;
}

// Under another name, by a link of either kind.
void CheckErrorFileIsNoLink(const Job &job, const Attribute &attribute, const fs::path &errors,
                            std::vector<Complaint> &found)
{
    std::error_code none;
    if (!fs::exists(errors, none))
        return;
    for (const DataFile &file : FindDataFiles(job).files) {
        if (!fs::equivalent(file.path, errors, none))
            continue;
        found.push_back(
            {attribute.at,
             fmt::format("{} {} and the input file {} are one file", attribute.name,
                         Quoted(errors.filename().string()), Quoted(file.path.string())),
             "give it another name, or remove the link"});
        return;
    }
}

}  // namespace

void CheckErrorFileIsNoInput(const Job &job, std::vector<Complaint> &found)
{
    const Attribute *attribute = ErrorFileAttribute(job);
    const std::string input = job.producer.Text("FileName");
    if (attribute == nullptr || input.empty() ||
        !std::holds_alternative<std::string>(attribute->value) ||
        std::get<std::string>(attribute->value).empty())
        return;
    const auto from_job = [&](const fs::path &path) {
        return (job.folder / path).lexically_normal();
    };
    const fs::path inputs = from_job(fs::path(job.producer.Text("DirectoryPath")) / input);
    const fs::path errors = from_job(std::get<std::string>(attribute->value));
    if (errors.parent_path() != inputs.parent_path())
        return CheckErrorFileIsNoLink(job, *attribute, errors, found);
    const bool pattern = input.find('*') != std::string::npos &&
                         YesNoValue(AttributeKind::YesNo, job.producer.Text("EnableScan")) != 0;
    for (const char *suffix : {"", ".jsonl", ".retry", ".retry.jsonl"}) {
        const std::string name = errors.filename().string() + suffix;
        if (pattern ? !FitsPattern(inputs.filename().string(), name) : inputs.filename() != name)
            continue;
        found.push_back(
            {attribute->at,
             fmt::format("{} {} would be read as an input file", attribute->name, Quoted(name)),
             fmt::format("give it a name that does not fit {}, or put it into another "
                         "folder",
                         Quoted(input))});
        return;
    }
    CheckErrorFileIsNoLink(job, *attribute, errors, found);
}

}  // namespace fenwire
