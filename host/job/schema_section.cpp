// host/job/schema_section.cpp - [schema]: the columns, as text or as tables.
//
//     columns = ["id VARCHAR(12)", { name = "amount", type = "VARCHAR(16)", sql_type = "REAL" },
//         { name = "on", type = "VARCHAR(10)", input_format = "MM/DD/YY", output_format = "YYYY-MM-DD" }]
//     from = "source"       the columns of the table that is read; "target": of the one that takes the rows
//
// What date formats may say, the operator library knows: it compiles them when the job starts.

#include <algorithm>
#include <fmt/format.h>
#include <map>

#include "host/job/column_syntax.h"
#include "host/job/column_types.h"
#include "host/job/sections.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kMaxColumns = 4096;
constexpr size_t kMaxSqlTypeBytes = 128;
constexpr size_t kMaxDateFormatBytes = 127;
constexpr std::string_view kDateType = "VARCHAR";

constexpr std::string_view kColumnKeys[] = {"name",     "type",         "sql_type",
                                            "metadata", "input_format", "output_format"};

// It goes into the target's own language as it stands, so it may hold no more than a type does.
bool IsSqlType(std::string_view text)
{
    constexpr std::string_view kMarks = " _(),[]";
    if (text.empty() || text.size() > kMaxSqlTypeBytes ||
        isalpha(static_cast<unsigned char>(text[0])) == 0)
        return false;
    for (const char c : text) {
        if (isalnum(static_cast<unsigned char>(c)) == 0 && kMarks.find(c) == std::string_view::npos)
            return false;
    }
    return true;
}

bool ReadMetadata(const std::string &text, SourcePosition at, Column &column,
                  std::vector<Complaint> &found)
{
    column.file_name = SameWord(text, "FileName");
    if (!column.file_name)
        found.push_back({at, fmt::format("metadata can't be {}", Quoted(text)),
                         "\"FileName\" fills the column with the input file's name"});
    return column.file_name;
}

bool ReadDateFormat(const Entry &entry, const std::string &text, Column &column,
                    std::vector<Complaint> &found)
{
    (entry.key == "input_format" ? column.input_format : column.output_format) = text;
    if (!text.empty() && text.size() <= kMaxDateFormatBytes && text.find('\0') == std::string::npos)
        return true;
    found.push_back({entry.value.at,
                     fmt::format("{} can't be {}; it has 1 to {} bytes", entry.key, Quoted(text),
                                 kMaxDateFormatBytes),
                     "a format of dates, such as YYYY-MM-DD"});
    return false;
}

bool ReadColumnKey(const Entry &entry, Column &column, std::vector<Complaint> &found)
{
    if (!std::ranges::count(kColumnKeys, entry.key)) {
        UnknownKey(entry, "a column", {kColumnKeys, std::end(kColumnKeys)}, found);
        return false;
    }
    const std::string *text = TextOf(entry, found);
    if (text == nullptr)
        return false;
    if (entry.key == "name") {
        column.name = *text;
        return CheckColumnName(*text, entry.value.at, found);
    }
    if (entry.key == "type")
        return ParseColumnType(*text, entry.value.at, column, found);
    if (entry.key == "metadata")
        return ReadMetadata(*text, entry.value.at, column, found);
    if (entry.key != "sql_type")
        return ReadDateFormat(entry, *text, column, found);
    column.sql_type = *text;
    if (IsSqlType(*text))
        return true;
    found.push_back({entry.value.at, fmt::format("sql_type can't be {}", Quoted(*text)),
                     "the name of a type, such as INTEGER or DECIMAL(10,2)"});
    return false;
}

// A date is rewritten by two formats, and only text has room for dates in any form.
bool CheckDateFormats(const Value &table, const Column &column, std::vector<Complaint> &found)
{
    const Entry *input = table.Find("input_format"), *output = table.Find("output_format");
    if (input == nullptr && output == nullptr)
        return true;
    if (input == nullptr || output == nullptr) {
        found.push_back({(input != nullptr ? input : output)->at,
                         fmt::format("input_format and output_format go together; {} is missing",
                                     input == nullptr ? "input_format" : "output_format"),
                         "give both to rewrite the column's dates, or none"});
        return false;
    }
    const std::string_view type = ColumnTypes()[column.type].name;
    if (type == kDateType && !column.file_name)
        return true;
    found.push_back({input->value.at,
                     fmt::format("date formats are for columns of type {}; {} is {}", kDateType,
                                 Quoted(column.name), column.file_name ? "a file name" : type),
                     "give the column as VARCHAR(n), wide enough for both forms"});
    return false;
}

bool ReadColumnTable(const Value &value, Column &column, std::vector<Complaint> &found)
{
    bool good = true;
    column.at = value.at;
    for (const Entry &entry : value.entries)
        good = ReadColumnKey(entry, column, found) && good;
    for (const char *key : {"name", "type"}) {
        if (value.Find(key) == nullptr) {
            found.push_back({value.at, fmt::format("a column needs a {}", key),
                             "write { name = \"id\", type = \"VARCHAR(12)\" }"});
            good = false;
        }
    }
    return good && CheckDateFormats(value, column, found);
}

bool ReadColumn(const Value &value, Column &column, std::vector<Complaint> &found)
{
    if (value.faulty)
        return false;
    if (value.kind == ValueKind::Text)
        return ParseColumn(value.text, value.at, column, found);
    if (value.kind == ValueKind::Section)
        return ReadColumnTable(value, column, found);
    found.push_back(
        {value.at, fmt::format("a column must be text or a table, not {}", KindInWords(value.kind)),
         "write \"id VARCHAR(12)\""});
    return false;
}

void CheckNames(const std::vector<Column> &columns, std::vector<Complaint> &found)
{
    std::map<std::string, size_t> seen;
    for (size_t i = 0; i < columns.size(); ++i) {
        const auto [first, is_new] = seen.emplace(UpperCase(columns[i].name), i);
        if (!is_new && !columns[i].name.empty())
            found.push_back(
                {columns[i].at,
                 fmt::format(
                     "column {} has the name of column {}; upper and lower case count as the same",
                     i + 1, first->second + 1),
                 {}});
    }
}

// The column of the file's name is not read, so the data needs one of its own.
void CheckFileNameColumns(const std::vector<Column> &columns, std::vector<Complaint> &found)
{
    constexpr uint32_t kChar = 5, kVarchar = 7;
    const Column *first = nullptr;
    for (const Column &column : columns) {
        if (!column.file_name)
            continue;
        if (column.type != kChar && column.type != kVarchar)
            found.push_back({column.at,
                             fmt::format("column {} takes the file's name, but is no text",
                                         Quoted(column.name)),
                             "give it type VARCHAR(n) or CHAR(n)"});
        if (first != nullptr)
            found.push_back({column.at,
                             fmt::format("columns {} and {} both take the file's name",
                                         Quoted(first->name), Quoted(column.name)),
                             "one column can; remove the other"});
        first = &column;
    }
    if (first != nullptr && columns.size() == 1)
        found.push_back({first->at,
                         "the only column takes the file's name, and none is left to read",
                         "add the columns of the file"});
}

void ReadColumns(const Entry &entry, Job &job, std::vector<Complaint> &found)
{
    const Value &list = entry.value;
    if (list.kind != ValueKind::List) {
        found.push_back({list.at,
                         fmt::format("columns must be a list, not {}", KindInWords(list.kind)),
                         "write columns = [\"id VARCHAR(12)\", \"name VARCHAR(40)\"]"});
        return;
    }
    if (list.items.empty() || list.items.size() > kMaxColumns) {
        found.push_back({list.at,
                         fmt::format("columns has {} entries; a schema has 1 to {}",
                                     list.items.size(), kMaxColumns),
                         {}});
        return;
    }
    bool good = true;
    for (const Value &item : list.items) {
        Column column;
        good = ReadColumn(item, column, found) && good;
        job.columns.push_back(std::move(column));
    }
    CheckNames(job.columns, found);
    if (good)
        CheckFileNameColumns(job.columns, found);
    if (!good)
        job.columns.clear();  // nothing more can be said of them
}

// Names and sizes of a database are no better than those of a file.
void CheckTakenColumns(const Entry &entry, Job &job, std::vector<Complaint> &found)
{
    const size_t before = found.size();
    if (job.columns.size() > kMaxColumns)
        found.push_back({entry.value.at,
                         fmt::format("the {} has {} columns; a schema has 1 to {}",
                                     Escaped(entry.value.text), job.columns.size(), kMaxColumns),
                         {}});
    for (const Column &column : job.columns) {
        if (found.size() > before)
            break;
        CheckColumnName(column.name, entry.value.at, found);
    }
    CheckNames(job.columns, found);
    if (found.size() > before)
        job.columns.clear();
}

void ReadFrom(const Entry &entry, Job &job, std::vector<Complaint> &found)
{
    const std::string *end = TextOf(entry, found);
    if (end == nullptr)
        return;
    if (*end != "source" && *end != "target") {
        found.push_back({entry.value.at, fmt::format("from can't be {}", Quoted(*end)),
                         "\"source\" or \"target\" has the columns"});
        return;
    }
    ColumnsFrom(*end, entry.value.at, job, found);
    CheckTakenColumns(entry, job, found);
}

}  // namespace

void ReadSchemaSection(const Value &section, Job &job, std::vector<Complaint> &found)
{
    const Entry *columns = section.Find("columns"), *from = section.Find("from");
    for (const Entry &entry : section.entries) {
        if (entry.key != "columns" && entry.key != "from")
            UnknownKey(entry, "[schema]", {"columns", "from"}, found);
    }
    if (columns != nullptr && from != nullptr)
        found.push_back({from->at, "columns and from exclude each other",
                         "keep columns to list them, or from to take them as they are"});
    else if (columns != nullptr)
        ReadColumns(*columns, job, found);
    else if (from != nullptr)
        ReadFrom(*from, job, found);
    else
        found.push_back({section.at, "columns is missing in [schema]", HowToGiveColumns(job)});
}

std::string HowToGiveColumns(const Job &job)
{
    const std::string end = ColumnsFromElsewhere(job);
    constexpr std::string_view kListed = "columns = [\"id VARCHAR(12)\", \"name VARCHAR(40)\"]";
    return end.empty()
               ? fmt::format("write {}", kListed)
               : fmt::format("write from = \"{}\", which takes the columns that are there; or {}",
                             end, kListed);
}

}  // namespace fenwire
