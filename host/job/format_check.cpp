// host/job/format_check.cpp - whether the columns can be read from one format and written in the other.

#include <algorithm>
#include <fmt/format.h>

#include "host/job/attribute_catalogue.h"
#include "host/job/attribute_checks.h"
#include "host/job/column_types.h"
#include "host/job/words.h"
#include "host/streams/row_layout.h"

namespace fenwire {

namespace {

constexpr uint64_t kMostUnformattedBytes = 1048586;  // of a row that is read

// What a format says of a column that it can't hold.
struct FormatRule {
    std::string_view format;  // in upper case
    Role role;
    bool (*fits)(uint32_t type);
    std::string_view data, hint;
};

constexpr FormatRule kRules[] = {
    {"DELIMITED", Role::Producer, FitsDelimited, "delimited",
     "delimited data takes VARCHAR(n), CLOB, JSON and XML columns; the target may have a type of "
     "its "
     "own: { name = \"..\", type = \"VARCHAR(n)\", sql_type = \"..\" }"},
    {"TEXT", Role::Producer, FitsText, "text", "text data takes CHAR(n) and ANSIDATE columns"},
    {"DELIMITED", Role::Consumer, FitsDelimitedOutput, "delimited",
     "BYTE, GRAPHIC, BLOB, TIME, TIMESTAMP and INTERVAL types have no form as text; use a binary "
     "format such as \"Formatted\", or give the column a type of text"},
    {"TEXT", Role::Consumer, FitsText, "text",
     "text data takes CHAR(n) and ANSIDATE columns; Format = \"Delimited\" takes more"},
};

void CheckStepColumns(const Job &job, const Step &step, std::vector<Complaint> &found)
{
    const bool reads = step.role == Role::Producer;
    const std::string format = UpperCase(step.Text("Format"));
    const auto *rule = std::ranges::find_if(kRules, [&](const FormatRule &row) {
        return row.format == format && row.role == step.role;
    });
    if (rule == std::end(kRules))
        return;
    for (const Column &column : job.columns) {
        if ((column.file_name && reads) || rule->fits(column.type))
            continue;
        found.push_back({column.at,
                         fmt::format("column {} of type {} can't be {} {} data",
                                     Quoted(column.name), ColumnTypes()[column.type].name,
                                     reads ? "read from" : "written as", rule->data),
                         std::string(rule->hint)});
    }
}

// A row without a length must lie in the reader's buffer whole.
void CheckUnformattedRow(const Job &job, std::vector<Complaint> &found)
{
    if (job.has_source() || !SameWord(job.producer.Text("Format"), "Unformatted"))
        return;
    std::vector<Column> in_file = job.columns;
    std::erase_if(in_file, [](const Column &column) { return column.file_name; });
    const RowLayout layout(in_file);
    const bool with_indicators =
        YesNoValue(AttributeKind::YesNo, job.producer.Text("IndicatorMode")) == 1;
    const uint64_t bytes = layout.most_bytes() - (with_indicators ? 0 : layout.indicator_bytes());
    if (bytes > kMostUnformattedBytes)
        found.push_back(
            {job.columns.front().at,
             fmt::format("a row of these columns can have {} bytes; unformatted data is "
                         "read in rows of at most {}",
                         bytes, kMostUnformattedBytes),
             "make the longest columns shorter"});
}

// A source has no files whose names a column could take, and hands values over as they are.
void CheckColumnsOfSource(const Job &job, std::vector<Complaint> &found)
{
    if (!job.has_source())
        return;
    for (const Column &column : job.columns) {
        if (column.file_name)
            found.push_back({column.at,
                             fmt::format("column {} takes the input file's name, and a source has "
                                         "no input file",
                                         Quoted(column.name)),
                             "remove the column, or its metadata"});
        if (!column.input_format.empty())
            found.push_back({column.at,
                             fmt::format("the dates of column {} can't be rewritten: only what a "
                                         "producer reads can",
                                         Quoted(column.name)),
                             "remove input_format and output_format"});
    }
}

}  // namespace

void CheckColumnsFitFormat(const Job &job, std::vector<Complaint> &found)
{
    if (job.columns.empty())
        return;  // complained of already
    CheckStepColumns(job, job.producer, found);
    CheckStepColumns(job, job.consumer, found);
    CheckUnformattedRow(job, found);
    CheckColumnsOfSource(job, found);
}

}  // namespace fenwire
