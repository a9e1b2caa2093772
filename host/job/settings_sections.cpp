// host/job/settings_sections.cpp - [source] and [target]: a type, and the keys of its kind.
//
// Each kind of source and target brings a table of keys (settings.h), and what is given is held to it.

#include <algorithm>
#include <fmt/format.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/sections.h"
#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

// What the two sections have in common.
struct KindSection {
    std::string_view name;  // "source", "target"
    const Value &section;
    std::vector<std::string_view> kinds;
    std::vector<std::string_view> own_keys;  // that stand beside those of the kind
};

template <class Kinds>
std::vector<std::string_view> NamesOf(const Kinds &kinds)
{
    std::vector<std::string_view> names;
    for (const auto &kind : kinds)
        names.emplace_back(kind.name);
    return names;
}

// The text of `type`; null: complained of.
const std::string *TypeOf(const KindSection &given, std::vector<Complaint> &found)
{
    if (const Entry *type = given.section.Find("type"))
        return TextOf(*type, found);
    found.push_back({given.section.at, fmt::format("type is missing in [{}]", given.name),
                     fmt::format("add type = \"..\": {}", OrList(given.kinds))});
    return nullptr;
}

void UnknownKind(const KindSection &given, const std::string &type, std::vector<Complaint> &found)
{
    const std::string nearest = DidYouMean(type, given.kinds);
    found.push_back(
        {given.section.Find("type")->value.at,
         fmt::format("unknown {} {}", given.name, Quoted(type)),
         nearest.empty() ? fmt::format("{}s are {}", given.name, OrList(given.kinds)) : nearest});
}

// ---- Values -----------------------------------------------------------------------------------

// The value as the key's kind wants it; false: it does not fit.
bool TakeSetting(const Value &value, std::string_view kind, SettingValue &setting)
{
    if (kind == "integer") {
        setting = value.integer;
        return value.kind == ValueKind::Integer;
    }
    if (kind == "yes/no" && value.kind == ValueKind::Boolean) {
        setting = value.boolean;
        return true;
    }
    if (kind == "yes/no") {
        const int word = YesNoValue(AttributeKind::YesNo, value.text);
        setting = word == 1;
        return word >= 0;
    }
    setting = value.text;
    return (value.kind == ValueKind::Text || value.FromCommandLine()) &&
           (kind == "text" || !value.text.empty());
}

void ReadSetting(const Entry &entry, const SettingKey &key, std::vector<Setting> &settings,
                 std::vector<Complaint> &found)
{
    const Value &value = entry.value;
    const std::string_view kind = key.kind;
    if (value.faulty)
        return;
    Setting setting{entry.key, {}, value.at};
    if (TakeSetting(value, kind, setting.value)) {
        settings.push_back(std::move(setting));
        return;
    }
    const char *wanted = kind == "integer"  ? "a whole number"
                         : kind == "yes/no" ? "true or false"
                                            : "text";
    const bool empty = value.kind == ValueKind::Text && value.text.empty();
    found.push_back({value.at,
                     fmt::format("{} must be {}, not {}", entry.key, wanted,
                                 empty ? "empty" : KindInWords(value.kind)),
                     key.about});
}

void ReadKeys(const KindSection &given, const char *kind, std::span<const SettingKey> keys,
              std::vector<Setting> &settings, std::vector<Complaint> &found)
{
    std::vector<std::string_view> names = given.own_keys;
    for (const SettingKey &key : keys)
        names.emplace_back(key.name);
    for (const Entry &entry : given.section.entries) {
        const auto key = std::ranges::find(
            keys, entry.key, [](const SettingKey &row) { return std::string_view(row.name); });
        if (std::ranges::count(given.own_keys, entry.key) != 0)
            continue;
        if (key != keys.end())
            ReadSetting(entry, *key, settings, found);
        else
            UnknownKey(entry, fmt::format("a {} of type {}", given.name, kind), names, found);
    }
    for (const SettingKey &key : keys) {
        if (key.required && given.section.Find(key.name) == nullptr)
            found.push_back({given.section.at,
                             fmt::format("{} is missing in [{}]", key.name, given.name),
                             fmt::format("add {} = ..: {}", key.name, key.about)});
    }
}

void CheckOneInstance(const Entry &entry, const Job &job, std::vector<Complaint> &found)
{
    if (job.source_instances > 1)
        found.push_back({entry.value.at,
                         fmt::format("a source of type {} is read by one instance, not {}",
                                     job.source_type, job.source_instances),
                         "remove instances; [consumer] may have several all the same"});
}

// Whether nothing is missing that the kind must have, so that it can be asked about the rest.
template <class Kind>
bool IsWhole(const Kind &kind, const Settings &settings)
{
    return std::ranges::all_of(kind.keys, [&](const SettingKey &key) {
        return !key.required || FindSetting(settings, key.name) != nullptr;
    });
}

constexpr char kListThem[] = "list them: columns = [\"id VARCHAR(12)\", ..]";

// An unknown kind, or one that lacks a setting, was complained of already.
template <class Kind, class Complain>
std::vector<Column> TakeColumns(const Kind *kind, const Settings &settings, const Job &job,
                                Complain &&complain)
{
    if (kind == nullptr || !IsWhole(*kind, settings))
        return {};
    if (kind->columns == nullptr) {
        complain(fmt::format("{} has no columns of its own", kind->name), kListThem);
        return {};
    }
    std::vector<Column> columns = kind->columns(job);
    if (columns.empty())
        complain(fmt::format("{} has no columns", kind->name), kListThem);
    return columns;
}

}  // namespace

void ReadSourceSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    const KindSection given{"source", section, NamesOf(SourceKinds()), {"type", "instances"}};
    job.source_at = section.at;
    const Entry *instances = section.Find("instances");
    if (instances != nullptr)
        ReadInstances(*instances, job.source_instances, found);
    const std::string *type = TypeOf(given, found);
    if (type == nullptr)
        return;
    const SourceKind *kind = FindSourceKind(*type);
    if (kind == nullptr)
        return UnknownKind(given, *type, found);
    job.source_type = *type;
    if (instances != nullptr && kind->only_one_instance)
        CheckOneInstance(*instances, job, found);
    ReadKeys(given, kind->name, kind->keys, job.source, found);
}

void ReadTargetSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    const KindSection given{"target", section, NamesOf(TargetKinds()), {"type"}};
    job.target_at = section.at;
    const std::string *type = TypeOf(given, found);
    if (type == nullptr)
        return;
    const TargetKind *kind = FindTargetKind(*type);
    if (kind == nullptr)
        return UnknownKind(given, *type, found);
    job.target_type = *type;
    ReadKeys(given, kind->name, kind->keys, job.target, found);
}

void CheckSettings(const Job &job, std::vector<Complaint> &found)
{
    const SourceKind *source = FindSourceKind(job.source_type);
    if (source != nullptr && source->check_settings != nullptr && IsWhole(*source, job.source))
        source->check_settings(job, found);
    const TargetKind *target = FindTargetKind(job.target_type);
    if (target != nullptr && target->check_settings != nullptr && IsWhole(*target, job.target))
        target->check_settings(job, found);
}

std::string ColumnsFromElsewhere(const Job &job)
{
    const SourceKind *source = FindSourceKind(job.source_type);
    if (source != nullptr && source->columns != nullptr)
        return "source";
    const TargetKind *target = FindTargetKind(job.target_type);
    return target != nullptr && target->columns != nullptr ? "target" : "";
}

void ColumnsFrom(const std::string &end, SourcePosition at, Job &job, std::vector<Complaint> &found)
{
    const bool source = end == "source";
    const std::string &type = source ? job.source_type : job.target_type;
    const auto no = [&](const std::string &what, const std::string &hint) {
        found.push_back({at, what, hint});
    };
    try {
        if (source ? job.source_at == kWholeFile : job.target_at == kWholeFile)
            no(fmt::format("the job has no [{}] to take columns from", end), kListThem);
        else if (source)
            job.columns = TakeColumns(FindSourceKind(type), job.source, job, no);
        else
            job.columns = TakeColumns(FindTargetKind(type), job.target, job, no);
    } catch (const SourceError &error) {
        no(error.what(), {});
    } catch (const TargetError &error) {
        no(error.what(), {});
    }
    for (Column &column : job.columns)
        column.at = at;
}

}  // namespace fenwire
