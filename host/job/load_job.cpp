// host/job/load_job.cpp - from a job file to a checked Job.
//
//     bytes -> sections of keys and values (document.cpp) -> overrides of the command line
//           -> each section by its reader -> rules between sections -> Job, or all complaints at once

#include <algorithm>
#include <fmt/format.h>

#include "host/job/attribute_checks.h"
#include "host/job/job.h"
#include "host/job/sections.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;

struct SectionRow {
    std::string_view name;
    void (*read)(const Value &, Job &, std::vector<Complaint> &);  // null: of a later version
    bool required;
    std::string_view missing;  // how to begin it, for a hint
};

constexpr SectionRow kSections[] = {
    {"job", ReadJobSection, false, ""},
    {"producer", ReadProducerSection, true, "Format = \"Delimited\" and FileName = \"..\""},
    {"schema", ReadSchemaSection, true, "columns = [\"id VARCHAR(12)\", ..]"},
    {"target", ReadTargetSection, true, "type = \"..\"; fenwire list targets shows the types"},
    // Writing files: a reader for each of these.
    {"consumer", nullptr, false, ""},
    {"source", nullptr, false, ""},
};

const SectionRow *FindSection(std::string_view name)
{
    const auto *row = std::ranges::find(kSections, name, &SectionRow::name);
    return row != std::end(kSections) ? row : nullptr;
}

bool IsNotAvailable(const Entry &entry, std::vector<Complaint> &found)
{
    if (FindSection(entry.key)->read != nullptr)
        return false;
    found.push_back(
        {entry.at,
         fmt::format("[{}] is not available in this version: it reads files into a target",
                     entry.key),
         "use [producer] and [target]"});
    return true;
}

void UnknownSection(const Entry &entry, std::vector<Complaint> &found)
{
    std::vector<std::string_view> names;
    for (const SectionRow &row : kSections)
        names.push_back(row.name);
    if (entry.value.kind != ValueKind::Section) {
        found.push_back({entry.at, fmt::format("{} stands in no section", Quoted(entry.key)),
                         "keys stand below [job], [producer], [schema] or [target]"});
        return;
    }
    const std::string_view nearest = NearestWord(entry.key, names);
    found.push_back({entry.at, fmt::format("unknown section [{}]", Escaped(entry.key)),
                     nearest.empty() ? "sections are [job], [producer], [schema] and [target]"
                                     : fmt::format("did you mean [{}]?", nearest)});
}

// Sections of the document that have a reader, in the order in which they are to be read.
void ReadSections(const Value &document, Job &job, std::vector<Complaint> &found)
{
    for (const Entry &entry : document.entries) {
        if (FindSection(entry.key) == nullptr)
            UnknownSection(entry, found);
        else if (!IsNotAvailable(entry, found) && entry.value.kind != ValueKind::Section)
            found.push_back({entry.at,
                             fmt::format("{} must be one section, not {}", entry.key,
                                         KindInWords(entry.value.kind)),
                             fmt::format("write [{}] on a line of its own", entry.key)});
    }
    for (const SectionRow &row : kSections) {
        const Entry *entry = document.Find(row.name);
        if (entry == nullptr && row.required)
            found.push_back({kWholeFile, fmt::format("section [{}] is missing", row.name),
                             fmt::format("add [{}] with {}", row.name, row.missing)});
        if (row.read != nullptr && entry != nullptr && entry->value.kind == ValueKind::Section)
            row.read(entry->value, job, found);
    }
}

// The file's own name, where the job has none.
void DefaultName(Job &job, std::vector<Complaint> &found)
{
    if (!job.name.empty())
        return;
    job.name = job.file.stem().string();
    if (!IsJobName(job.name))
        found.push_back({kWholeFile,
                         fmt::format("the job has no name, and the file's, {}, can't serve as one",
                                     Quoted(job.name)),
                         "add [job] with name = \"..\": letters, digits, '.', '_' and '-'"});
}

}  // namespace

std::string Step::Text(const std::string &name, const std::string &fallback) const
{
    const auto given = std::ranges::find(attributes, name, &Attribute::name);
    if (given == attributes.end() || !std::holds_alternative<std::string>(given->value))
        return fallback;
    return std::get<std::string>(given->value);
}

int32_t Step::Number(const std::string &name, int32_t fallback) const
{
    const auto given = std::ranges::find(attributes, name, &Attribute::name);
    const auto *number = given == attributes.end() ? nullptr : std::get_if<int32_t>(&given->value);
    return number != nullptr ? *number : fallback;
}

bool IsUtf16(std::string_view charset)
{
    return SameWord(charset, "UTF16") || charset == "62" || SameWord(charset, "UCS-2");
}

Job LoadJob(const fs::path &file, const std::vector<Override> &overrides)
{
    std::vector<Complaint> found;
    const std::string source = ReadJobFile(file);
    Value document = ParseDocument(file.string(), source, found);
    ApplyOverrides(document, overrides, found);

    Job job;
    job.file = fs::absolute(file).lexically_normal();
    job.folder = job.file.parent_path();
    ReadSections(document, job, found);
    DefaultName(job, found);
    CheckColumnsFitFormat(job, found);
    CheckErrorFileIsNoInput(job, found);
    CheckValidUtf8(job, found);
    if (!found.empty())
        throw MakeJobError(file.string(), source, std::move(found));
    job.state = job.folder / ".fenwire" / job.name;
    return job;
}

}  // namespace fenwire
