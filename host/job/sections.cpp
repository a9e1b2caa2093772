// host/job/sections.cpp - [job], [producer] and [consumer]; the others have files of their own.

#include "host/job/sections.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/attribute_checks.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kMaxJobNameBytes = 64;
constexpr int64_t kMaxInstances = 512;

bool IsJobNameByte(char c)
{
    return isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_' || c == '-';
}

void ReadName(const Entry &entry, Job &job, std::vector<Complaint> &found)
{
    const std::string *name = TextOf(entry, found);
    if (name == nullptr)
        return;
    job.name = *name;
    if (!IsJobName(*name))
        found.push_back(
            {entry.value.at,
             fmt::format("{} can't be the name of a job: it names a folder too", Quoted(*name)),
             fmt::format("1 to {} letters, digits, '.', '_' and '-', not a dot or dash first",
                         kMaxJobNameBytes)});
    if (job.name.empty())
        job.name = "-";  // complained of; not the file's name instead
}

void ReadStep(const Value &section, Role role, Step &step, std::vector<Complaint> &found)
{
    step.role = role;
    step.at = section.at;
    for (const Entry &entry : section.entries) {
        if (entry.key == "instances")
            ReadInstances(entry, step.instances, found);
        else if (std::optional<Attribute> attribute = ReadAttribute(entry, role, found))
            step.attributes.push_back(std::move(*attribute));
    }
    CheckStepAttributes(step, section, found);
}

}  // namespace

bool IsJobName(std::string_view name)
{
    return !name.empty() && name.size() <= kMaxJobNameBytes && name[0] != '.' && name[0] != '-' &&
           std::ranges::all_of(name, IsJobNameByte);
}

const std::string *TextOf(const Entry &entry, std::vector<Complaint> &found)
{
    const Value &value = entry.value;
    if (value.faulty)
        return nullptr;
    if (value.kind == ValueKind::Text || value.FromCommandLine())
        return &value.text;
    found.push_back({value.at,
                     fmt::format("{} must be text, not {}", entry.key, KindInWords(value.kind)),
                     value.kind == ValueKind::Integer
                         ? fmt::format("in quotes: {} = \"{}\"", entry.key, value.integer)
                         : ""});
    return nullptr;
}

void ReadInstances(const Entry &entry, int &instances, std::vector<Complaint> &found)
{
    const Value &value = entry.value;
    if (value.faulty)
        return;
    if (value.kind == ValueKind::Integer && value.integer >= 1 && value.integer <= kMaxInstances) {
        instances = static_cast<int>(value.integer);
        return;
    }
    const std::string given = value.kind == ValueKind::Integer ? fmt::format("{}", value.integer)
                              : value.FromCommandLine()        ? Quoted(value.text)
                                                               : KindInWords(value.kind);
    found.push_back(
        {value.at,
         fmt::format("instances must be a whole number from 1 to {}, not {}", kMaxInstances, given),
         {}});
}

void UnknownKey(const Entry &entry, std::string_view section,
                const std::vector<std::string_view> &keys, std::vector<Complaint> &found)
{
    const std::string nearest = DidYouMean(entry.key, keys);
    found.push_back(
        {entry.at, fmt::format("unknown key {}", Quoted(entry.key)),
         nearest.empty() ? fmt::format("keys of {} are {}", section, OrList(keys)) : nearest});
}

void ReadJobSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    for (const Entry &entry : section.entries) {
        if (entry.key == "name") {
            ReadName(entry, job, found);
        } else if (entry.key == "charset") {
            if (const std::string *charset = TextOf(entry, found)) {
                job.charset = *charset;
                CheckCharacterSet(*charset, entry.value.at, found);
            }
        } else if (entry.key == "checkpoint") {
            ReadCheckpoint(entry, job.checkpoint, found);
        } else if (entry.key == "restart") {
            found.push_back(
                {entry.at, "unknown key \"restart\"",
                 "a job that stopped goes on with fenwire resume, whatever its file says"});
        } else {
            UnknownKey(entry, "[job]", {"name", "charset", "checkpoint"}, found);
        }
    }
}

void ReadProducerSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    ReadStep(section, Role::Producer, job.producer, found);
}

void ReadConsumerSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    ReadStep(section, Role::Consumer, job.consumer, found);
}

}  // namespace fenwire
