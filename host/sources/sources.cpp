// host/sources/sources.cpp - the table of sources.

#include <algorithm>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/sources/kinds.h"

namespace fenwire {

namespace {

// clang-format off
constexpr SettingKey kGeneratorKeys[] = {
    {"rows",      "integer", true,  "how many rows there are"},
    {"seed",      "integer", false, "another number makes other rows; 1 without it"},
    {"nulls",     "integer", false, "how many values of a hundred are NULL; 0 without it"},
    {"text",      "text",    false, "what text is made of: \"plain\" letters and digits, as without it; with \"marks\" also delimiters, quotes, backslashes and line ends; with \"utf8\" also characters of several bytes; \"all\" of it"},
    {"edges",     "yes/no",  false, "whether least, greatest, empty and longest values come up often; without it text is never empty"},
    {"repeat",    "integer", false, "so many different rows are made, which then come again and again; without it every row is made anew"},
};
constexpr SettingKey kStdinKeys[] = {
    {"delimiter", "text",    false, "stands between columns, \"|\" without it"},
    {"quote",     "text",    false, "one character around values, doubled within them; without it quotes have no meaning"},
    {"null",      "text",    false, "stands for NULL, unquoted; without it an empty value that is not in quotes does"},
    {"header",    "yes/no",  false, "whether the first line has the names of the columns, which must be those of the job; false without it"},
};
constexpr SettingKey kSqliteKeys[] = {
    {"file",      "path",    true,  "the database"},
    {"table",     "text",    false, "the table or view whose rows are read"},
    {"query",     "text",    false, "or a query whose rows are read"},
    {"split",     "text",    false, "an integer column whose ranges the instances share; the row id of a table without it"},
};
constexpr SettingKey kPostgresKeys[] = {
    {"connection", "text",   false, "of the database, such as \"host=db1 dbname=sales user=loader\" or \"postgresql://loader@db1/sales\"; without it, and for what it leaves out, the environment and files of PostgreSQL count, as for all its programs"},
    {"table",     "text",    false, "the table or view whose rows are read, such as orders or sales.orders"},
    {"query",     "text",    false, "or a query whose rows are read"},
    {"key",       "text",    false, "an integer column whose ranges the instances share, and by which a stopped job goes on; without it a table's primary key if that is an integer, else, as with \"ctid\", its blocks"},
};
constexpr SourceKind kSources[] = {
    {"generator", "rows made by rule, the same for the same seed, however many instances share them",
     kGeneratorKeys, MakeGeneratorSource, CheckGeneratorSettings, nullptr, false, true, false},
    {"stdin", "delimited text from standard input, as the print target writes it",
     kStdinKeys, MakeStdinSource, CheckStdinSettings, nullptr, true, false, true},
    {"sqlite", "a table or a query of an SQLite database; all instances see the same state of it",
     kSqliteKeys, MakeSqliteSource, CheckSqliteSourceSettings, SqliteSourceColumns, false, true, false},
    {"postgres", "a table or a query of a PostgreSQL database; all instances see the same state of it",
     kPostgresKeys, MakePostgresSource, CheckPostgresSourceSettings, PostgresSourceColumns, false, true, false},
};
// clang-format on

}  // namespace

std::span<const SourceKind> SourceKinds() { return kSources; }

const SourceKind *FindSourceKind(const std::string &name)
{
    const auto *kind = std::ranges::find_if(
        kSources, [&](const SourceKind &row) { return std::string_view(row.name) == name; });
    return kind != std::end(kSources) ? kind : nullptr;
}

std::unique_ptr<Source> MakeSource(const Job &job)
{
    const SourceKind *kind = FindSourceKind(job.source_type);
    if (kind == nullptr)
        throw SourceError(fmt::format("there is no source {}", Quoted(job.source_type)));
    return kind->make(job);
}

}  // namespace fenwire
