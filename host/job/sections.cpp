// host/job/sections.cpp - [job], [producer] and [target]; [schema] has a file of its own.

#include "host/job/sections.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/attribute_checks.h"
#include "host/job/words.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

constexpr size_t kMaxNameBytes = 64;
constexpr int64_t kMaxInstances = 512;

// Keys of [job] that later versions take.
constexpr struct {
    std::string_view key, what, hint;
} kLaterJobKeys[] = {
    {"checkpoint",
     "this version has no checkpoints yet: a job that fails is run again from its start",
     "remove the key"},
    {"restart",
     "this version can't restart a job yet: a job that fails is run again from its start",
     "remove the key"},
};

bool IsNameByte(char c)
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
                         kMaxNameBytes)});
    if (job.name.empty())
        job.name = "-";  // complained of; not the file's name instead
}

void ReadInstances(const Entry &entry, Step &step, std::vector<Complaint> &found)
{
    const Value &value = entry.value;
    if (value.faulty)
        return;
    if (value.kind == ValueKind::Integer && value.integer >= 1 && value.integer <= kMaxInstances) {
        step.instances = static_cast<int>(value.integer);
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

// ---- [target] ---------------------------------------------------------------------------------

std::vector<std::string_view> TargetNames()
{
    std::vector<std::string_view> names;
    for (const TargetKind &kind : TargetKinds())
        names.emplace_back(kind.name);
    return names;
}

// The value as the key's kind wants it; false: complained of.
bool ReadSetting(const Entry &entry, const SettingKey &key, SettingValue &setting,
                 std::vector<Complaint> &found)
{
    const Value &value = entry.value;
    const std::string_view kind = key.kind;
    if (value.faulty)
        return false;
    bool fits = false;
    if (kind == "integer") {
        fits = value.kind == ValueKind::Integer;
        setting = value.integer;
    } else if (kind == "yes/no" && value.kind == ValueKind::Boolean) {
        fits = true;
        setting = value.boolean;
    } else if (kind == "yes/no") {
        const int word = YesNoValue(AttributeKind::YesNo, value.text);
        fits = word >= 0;
        setting = word == 1;
    } else {
        fits = (value.kind == ValueKind::Text || value.FromCommandLine()) &&
               (kind == "text" || !value.text.empty());
        setting = value.text;
    }
    if (fits)
        return true;
    const char *wanted = kind == "integer"  ? "a whole number"
                         : kind == "yes/no" ? "true or false"
                                            : "text";
    const bool empty = value.kind == ValueKind::Text && value.text.empty();
    found.push_back({value.at,
                     fmt::format("{} must be {}, not {}", entry.key, wanted,
                                 empty ? "empty" : KindInWords(value.kind)),
                     key.about});
    return false;
}

void ReadTargetKeys(const Value &section, const TargetKind &kind, Job &job,
                    std::vector<Complaint> &found)
{
    std::vector<std::string_view> names = {"type"};
    for (const SettingKey &key : kind.keys)
        names.emplace_back(key.name);
    for (const Entry &entry : section.entries) {
        const auto key = std::ranges::find(
            kind.keys, entry.key, [](const SettingKey &row) { return std::string_view(row.name); });
        if (entry.key == "type")
            continue;
        if (key == kind.keys.end()) {
            UnknownKey(entry, fmt::format("a target of type {}", kind.name), names, found);
            continue;
        }
        Setting setting{entry.key, {}, entry.value.at};
        if (ReadSetting(entry, *key, setting.value, found))
            job.target.push_back(std::move(setting));
    }
    for (const SettingKey &key : kind.keys) {
        if (key.required && section.Find(key.name) == nullptr)
            found.push_back({job.target_at, fmt::format("{} is missing in [target]", key.name),
                             fmt::format("add {} = ..: {}", key.name, key.about)});
    }
}

}  // namespace

bool IsJobName(std::string_view name)
{
    return !name.empty() && name.size() <= kMaxNameBytes && name[0] != '.' && name[0] != '-' &&
           std::ranges::all_of(name, IsNameByte);
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
        const auto *later = std::ranges::find_if(
            kLaterJobKeys, [&](const auto &row) { return row.key == entry.key; });
        if (entry.key == "name") {
            ReadName(entry, job, found);
        } else if (entry.key == "charset") {
            if (const std::string *charset = TextOf(entry, found)) {
                job.charset = *charset;
                CheckCharacterSet(*charset, entry.value.at, found);
            }
        } else if (later != std::end(kLaterJobKeys)) {
            found.push_back({entry.at, std::string(later->what), std::string(later->hint)});
        } else {
            UnknownKey(entry, "[job]", {"name", "charset"}, found);
        }
    }
}

void ReadProducerSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    job.producer.role = Role::Producer;
    job.producer.at = section.at;
    for (const Entry &entry : section.entries) {
        if (entry.key == "instances")
            ReadInstances(entry, job.producer, found);
        else if (std::optional<Attribute> attribute = ReadAttribute(entry, found))
            job.producer.attributes.push_back(std::move(*attribute));
    }
    CheckProducerAttributes(job.producer, section, found);
}

void ReadTargetSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    job.target_at = section.at;
    const Entry *type = section.Find("type");
    if (type == nullptr) {
        found.push_back({section.at, "type is missing in [target]",
                         fmt::format("add type = \"..\": {}", OrList(TargetNames()))});
        return;
    }
    const std::string *name = TextOf(*type, found);
    if (name == nullptr)
        return;
    const TargetKind *kind = FindTargetKind(*name);
    if (kind == nullptr) {
        const std::string nearest = DidYouMean(*name, TargetNames());
        found.push_back(
            {type->value.at, fmt::format("unknown target {}", Quoted(*name)),
             nearest.empty() ? fmt::format("targets are {}", OrList(TargetNames())) : nearest});
        return;
    }
    job.target_type = *name;
    const size_t before = found.size();
    ReadTargetKeys(section, *kind, job, found);
    if (found.size() == before && kind->check_settings != nullptr)
        kind->check_settings(job, found);
}

}  // namespace fenwire
