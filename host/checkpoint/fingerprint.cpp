// host/checkpoint/fingerprint.cpp - what a job must keep to go on from its checkpoint.
//
//     {"version": 1,
//      "sections": {"job": {"charset": "UTF8"}, "producer": {"instances": 4, "FileName": "*.csv"}, ..},
//      "columns": [["id", "VARCHAR(12)"], ["amount", "VARCHAR(16), sql_type DECIMAL(10,2)"]]}
//
// The sections and keys are those of the job file, in an order of their own, so two files that say the
// same have the same text, and what differs can be named in the words of the job file. What holds without
// an attribute is left out when it is given all the same, and yes and no are written one way.

#include "host/checkpoint/fingerprint.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/job/attribute_catalogue.h"
#include "host/job/words.h"
#include "host/postgres/postgres_connection.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

using SortedJson = nlohmann::json;  // its keys are sorted

constexpr int kFingerprintVersion = 1;

// ---- What may change --------------------------------------------------------------------------

// To let a key change, add a row. RecordErrorVerbosity and RecordErrorFilePrefix are not among them: the
// record error file would hold remarks of two kinds, and a retry could not tell them from records.
constexpr struct {
    std::string_view section;  // empty: any
    std::string_view key, why;
} kMayChange[] = {
    {"", "TraceLevel", "says how much is logged"},
    {"", "TraceFunction", "says how it is logged"},
    {"", "MaxDumpBytes", "says how much is logged"},
    {"", "PrivateLogName", "says where it is logged"},
    {"", "ErrorLimit", "a job that gave up may be given more room"},
    {"", "NamedPipeTimeOut", "says how long to wait, not for what"},
    {"", "TimeOut", "likewise"},
    {"", "UseGeneralUDDIcase", "reads the same rows another way: a road around a fault"},
    {"", "HadoopPassword", "a secret; the new one is as good"},
    {"target", "create", "the table was there at the checkpoint"},
    {"target", "replace", "the table was emptied when the job began"},
};

bool MayChange(std::string_view section, std::string_view key)
{
    const AttributeInfo *info = FindAttribute(key);
    if (info != nullptr && info->support == Support::Ignored)
        return true;
    return std::ranges::any_of(kMayChange, [&](const auto &row) {
        return row.key == key && (row.section.empty() || row.section == section);
    });
}

// ---- The text ---------------------------------------------------------------------------------

SortedJson NumberOrText(const Attribute &attribute)
{
    if (const auto *list = std::get_if<std::vector<std::string>>(&attribute.value))
        return *list;
    if (const auto *text = std::get_if<std::string>(&attribute.value))
        return *text;
    return std::get<int32_t>(attribute.value);
}

// The value in the one way that it is written; null: it is what holds without the attribute.
SortedJson Canonical(const Attribute &attribute)
{
    SortedJson value = NumberOrText(attribute);
    const AttributeInfo *info = FindAttribute(attribute.name);
    if (info == nullptr)
        return value;
    if (value.is_number())
        return info->absent == fmt::format("{}", value.get<int32_t>()) ? SortedJson() : value;
    if (!value.is_string())
        return value;
    const auto text = value.get<std::string>();
    if (IsYesNo(info->kind)) {
        static constexpr const char *kWords[] = {"No", "Yes", "Optional", "YesWithoutLog"};
        const int word = YesNoValue(info->kind, text);
        if (word >= 0)
            return word == YesNoValue(info->kind, info->absent) ? SortedJson()
                                                                : SortedJson(kWords[word]);
    }
    if (info->kind == AttributeKind::Word)
        return SameWord(text, info->absent) ? SortedJson() : SortedJson(UpperCase(text));
    return value;
}

SortedJson SectionOf(const char *name, const Step &step)
{
    SortedJson section = {{"instances", step.instances}};
    for (const Attribute &attribute : step.attributes) {
        const SortedJson value = Canonical(attribute);
        if (!MayChange(name, attribute.name) && !value.is_null())
            section[attribute.name] = value;
    }
    return section;
}

// No secret is kept: the password of a connection may change.
SortedJson ValueOf(const Setting &setting)
{
    const auto *text = std::get_if<std::string>(&setting.value);
    if (text != nullptr && setting.key == "connection")
        return WithoutPassword(*text);
    return std::visit([](const auto &value) { return SortedJson(value); }, setting.value);
}

SortedJson SectionOf(const char *name, const std::string &type,
                     const std::vector<Setting> &settings)
{
    SortedJson section = {{"type", type}};
    for (const Setting &setting : settings) {
        if (!MayChange(name, setting.key))
            section[setting.key] = ValueOf(setting);
    }
    return section;
}

std::string WordsOf(const Column &column)
{
    std::string words = TypeWords(column);
    const auto add = [&](const char *key, const std::string &value) {
        if (!value.empty())
            words += fmt::format(", {} {}", key, value);
    };
    add("input_format", column.input_format);
    add("output_format", column.output_format);
    add("sql_type", column.sql_type);
    return column.file_name ? words + ", takes the file's name" : words;
}

SortedJson DescriptionOf(const Job &job)
{
    SortedJson sections = {{"job", {{"charset", UpperCase(job.charset)}}}};
    if (job.has_source()) {
        sections["source"] = SectionOf("source", job.source_type, job.source);
        sections["source"]["instances"] = job.source_instances;
    } else {
        sections["producer"] = SectionOf("producer", job.producer);
    }
    if (job.has_target())
        sections["target"] = SectionOf("target", job.target_type, job.target);
    else
        sections["consumer"] = SectionOf("consumer", job.consumer);
    SortedJson columns = SortedJson::array();
    for (const Column &column : job.columns)
        columns.push_back({column.name, WordsOf(column)});
    return {{"version", kFingerprintVersion}, {"sections", sections}, {"columns", columns}};
}

// ---- Differences ------------------------------------------------------------------------------

// A value as it would stand in a job file; null: the key is not there.
std::string Shown(const SortedJson &value)
{
    if (value.is_null())
        return "not given";
    return value.is_string() ? Quoted(value.get<std::string>()) : Escaped(value.dump());
}

SortedJson ValueOf(const SortedJson &section, const std::string &key)
{
    return section.contains(key) ? section[key] : SortedJson();
}

class Differences {
public:
    Differences(const SortedJson &then, const SortedJson &now) : then_(then), now_(now) {}

    std::vector<std::string> Find()
    {
        Each(then_["sections"], now_["sections"], [&](const std::string &name) {
            Section(name, ValueOf(then_["sections"], name), ValueOf(now_["sections"], name));
        });
        Columns();
        return std::move(lines_);
    }

private:
    // Every key of either, once.
    template <class Act>
    static void Each(const SortedJson &a, const SortedJson &b, Act &&act)
    {
        SortedJson both = a.is_object() ? a : SortedJson::object();
        both.update(b.is_object() ? b : SortedJson::object());
        for (const auto &entry : both.items())
            act(entry.key());
    }

    void Add(const std::string &what, const std::string &then, const std::string &now)
    {
        lines_.push_back(fmt::format("{}: {} at the checkpoint, {} now", what, then, now));
    }

    void Section(const std::string &name, const SortedJson &then, const SortedJson &now)
    {
        const std::string title = fmt::format("[{}]", Escaped(name));
        if (then.is_object() != now.is_object())
            return Add(title, then.is_object() ? "there" : "not there",
                       now.is_object() ? "there" : "not there");
        Each(then, now, [&](const std::string &key) {
            const SortedJson before = ValueOf(then, key), after = ValueOf(now, key);
            if (before != after)
                Add(fmt::format("{} {}", title, Escaped(key)), Shown(before), Shown(after));
        });
    }

    using ColumnList = std::vector<std::pair<std::string, std::string>>;

    static ColumnList ColumnsOf(const SortedJson &description)
    {
        return description["columns"].get<ColumnList>();
    }

    void Columns()
    {
        const ColumnList then = ColumnsOf(then_), now = ColumnsOf(now_);
        const size_t before = lines_.size();
        const auto words = [](const ColumnList &list, const std::string &name) {
            const auto found = std::ranges::find(list, name, &ColumnList::value_type::first);
            return found != list.end() ? Escaped(found->second) : std::string("not there");
        };
        for (const auto &[name, type] : then) {
            if (words(now, name) != Escaped(type))
                Add("[schema] column " + Quoted(name), Escaped(type), words(now, name));
        }
        for (const auto &[name, type] : now) {
            if (words(then, name) == "not there")
                Add("[schema] column " + Quoted(name), "not there", Escaped(type));
        }
        if (then != now && lines_.size() == before)
            lines_.emplace_back("[schema] columns: they stood in another order at the checkpoint");
    }

    const SortedJson &then_, &now_;
    std::vector<std::string> lines_;
};

}  // namespace

std::string FingerprintOf(const Job &job)
{
    // Names of files may be no UTF-8.
    return DescriptionOf(job).dump(-1, ' ', true, SortedJson::error_handler_t::replace);
}

std::vector<std::string> DifferencesFrom(const std::string &fingerprint, const Job &job)
{
    const std::string mine = FingerprintOf(job);
    if (mine == fingerprint)
        return {};
    const SortedJson then = SortedJson::parse(fingerprint, nullptr, false),
                     now = SortedJson::parse(mine);
    try {
        if (then.is_object() && then.at("version") == kFingerprintVersion &&
            then.at("sections").is_object() && then.at("columns").is_array())
            return Differences(then, now).Find();
    } catch (const SortedJson::exception &) {
        // Told below.
    }
    return {
        "what the checkpoint says of its job can't be read: it is of another version, or damaged"};
}

}  // namespace fenwire
