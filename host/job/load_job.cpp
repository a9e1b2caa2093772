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
    void (*read)(const Value &, Job &, std::vector<Complaint> &);
};

// In the order in which they are read, whatever their order in the file.
constexpr SectionRow kSections[] = {
    {"job", ReadJobSection},       {"producer", ReadProducerSection},
    {"source", ReadSourceSection}, {"consumer", ReadConsumerSection},
    {"target", ReadTargetSection}, {"schema", ReadSchemaSection},
};

// Where rows come from, and where they go: one section of each pair.
constexpr struct {
    std::string_view files, other;
    std::string_view both, neither, how;
} kEnds[] = {
    {"producer", "source", "rows come from one place", "the job reads nothing",
     "add [producer] with Format = \"Delimited\" and FileName = \"..\" to read files, or [source] "
     "with type = \"..\" (fenwire list sources shows the types)"},
    {"consumer", "target", "rows go to one place", "the rows go nowhere",
     "add [target] with type = \"..\" (fenwire list targets shows the types), or [consumer] with "
     "Format = \"Delimited\" and FileName = \"..\" to write files"},
};

const SectionRow *FindSection(std::string_view name)
{
    const auto *row = std::ranges::find(kSections, name, &SectionRow::name);
    return row != std::end(kSections) ? row : nullptr;
}

std::string SectionsInWords()
{
    std::vector<std::string> names;
    for (const SectionRow &row : kSections)
        names.push_back(fmt::format("[{}]", row.name));
    return OrList(std::vector<std::string_view>(names.begin(), names.end()));
}

void UnknownSection(const Entry &entry, std::vector<Complaint> &found)
{
    std::vector<std::string_view> names;
    for (const SectionRow &row : kSections)
        names.push_back(row.name);
    if (entry.value.kind != ValueKind::Section) {
        found.push_back({entry.at, fmt::format("{} stands in no section", Quoted(entry.key)),
                         fmt::format("keys stand below {}", SectionsInWords())});
        return;
    }
    const std::string_view nearest = NearestWord(entry.key, names);
    found.push_back({entry.at, fmt::format("unknown section [{}]", Escaped(entry.key)),
                     nearest.empty() ? fmt::format("sections are {}", SectionsInWords())
                                     : fmt::format("did you mean [{}]?", nearest)});
}

void CheckEnds(const Value &document, std::vector<Complaint> &found)
{
    for (const auto &end : kEnds) {
        const Entry *files = document.Find(end.files), *other = document.Find(end.other);
        if (files != nullptr && other != nullptr)
            found.push_back({other->at,
                             fmt::format("[{}] and [{}] exclude each other: {}", end.files,
                                         end.other, end.both),
                             fmt::format("keep [{}] for files, or [{}]", end.files, end.other)});
        else if (files == nullptr && other == nullptr)
            found.push_back({kWholeFile,
                             fmt::format("sections [{}] and [{}] are both missing: {}", end.files,
                                         end.other, end.neither),
                             std::string(end.how)});
    }
}

void ReadSections(const Value &document, Job &job, std::vector<Complaint> &found)
{
    for (const Entry &entry : document.entries) {
        if (FindSection(entry.key) == nullptr)
            UnknownSection(entry, found);
        else if (entry.value.kind != ValueKind::Section)
            found.push_back({entry.at,
                             fmt::format("{} must be one section, not {}", entry.key,
                                         KindInWords(entry.value.kind)),
                             fmt::format("write [{}] on a line of its own", entry.key)});
    }
    for (const SectionRow &row : kSections) {
        const Entry *entry = document.Find(row.name);
        if (entry != nullptr && entry->value.kind == ValueKind::Section)
            row.read(entry->value, job, found);
    }
    CheckEnds(document, found);
    if (document.Find("schema") == nullptr)
        found.push_back({kWholeFile, "section [schema] is missing",
                         fmt::format("add [schema], and below it {}", HowToGiveColumns(job))});
    CheckSettings(job, found);
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
    // By whichever links the folder was reached, its checkpoints are kept under one name. The file itself
    // may be a link: what it names lies beside the link.
    job.folder = fs::weakly_canonical(fs::absolute(file).parent_path());
    job.file = job.folder / file.filename();
    job.overrides = overrides;
    ReadSections(document, job, found);
    DefaultName(job, found);
    CheckColumnsFitFormat(job, found);
    CheckErrorFileIsNoInput(job, found);
    CheckOutputIsNoInput(job, found);
    CheckValidUtf8(job, found);
    CheckCheckpoints(job, found);
    if (!found.empty())
        throw MakeJobError(file.string(), source, std::move(found));
    job.state = job.folder / ".fenwire" / job.name;
    return job;
}

}  // namespace fenwire
