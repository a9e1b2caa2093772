// host/targets/targets.cpp - the table of targets.

#include <algorithm>
#include <fmt/format.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/preview/preview_target.h"
#include "host/targets/kinds.h"

namespace fenwire {

namespace {

const char *AfterFailedNull(const Job &) { return "nothing was kept"; }

bool NullOnlyCounts(const Job &job) { return !SettingOr<bool>(job.target, "checksum", false); }

const char *AfterFailedPrint(const Job &job)
{
    return FindSetting(job.target, "file") != nullptr
               ? "no file was written; what stood under its name still does"
               : "some rows may have gone to standard output";
}

CheckpointPlace NullPlace(const Job &job)
{
    return NullOnlyCounts(job) ? CheckpointPlace::Beside : CheckpointPlace::None;
}

// The database itself knows: a process may have been killed behind its commit.
const char *AfterFailedSqlite(const Job &job)
{
    try {
        const auto last = FindInSqlite(job, {});
        return last && last->number > 0 ? "the database holds the rows up to the last checkpoint"
                                        : "the database is as it was before the job";
    } catch (const std::runtime_error &) {
        return "the database holds the rows up to the last checkpoint, and is as it was before the "
               "job when there is none";
    }
}

// A file is written anew: what it holds would be gone.
std::string AddToPrint(Job &job)
{
    const std::filesystem::path file = PathSetting(job, job.target, "file");
    std::error_code none;
    if (file.empty() || !std::filesystem::exists(file, none))
        return {};
    return fmt::format("the print target would replace {}, and with it the rows that it holds",
                       Quoted(file.string()));
}

std::string AddToSqlite(Job &job)
{
    std::erase_if(job.target, [](const Setting &setting) { return setting.key == "replace"; });
    return {};
}

const char *AfterFailedPostgres(const Job &)
{
    return "the table has none of the rows that were not committed";
}

std::string AddToPostgres(Job &job) { return AddToSqlite(job); }

CheckpointPlace PlaceOfPostgres(const Job &) { return CheckpointPlace::Within; }

// clang-format off
constexpr SettingKey kPrintKeys[] = {
    {"file",      "path",   false, "the file to write; without it standard output"},
    {"delimiter", "text",   false, "stands between columns, \"|\" without it"},
    {"quote",     "text",   false, "one character around values that need it; without it nothing is quoted"},
    {"null",      "text",   false, "stands for NULL; without it nothing does"},
    {"header",    "yes/no", false, "a first line with the names of the columns"},
};
constexpr SettingKey kSqliteKeys[] = {
    {"file",      "path",   true,  "the database"},
    {"table",     "text",   true,  "the table that takes the rows"},
    {"create",    "yes/no", false, "makes the table when it is not there; true without it"},
    {"replace",   "yes/no", false, "empties the table first, as part of the job; false without it"},
};
constexpr SettingKey kPostgresKeys[] = {
    {"connection",  "text",    false, "\"host=db1 dbname=sales user=loader\" or a URI; what it does not say comes from PGHOST and the like. Passwords: ${NAME}, or .pgpass"},
    {"table",       "text",    true,  "the table that takes the rows, \"orders\" or \"sales.orders\""},
    {"create",      "yes/no",  false, "makes the table when it is not there; true without it"},
    {"unlogged",    "yes/no",  false, "makes it UNLOGGED: faster, and empty after a crash of the server; false without it"},
    {"replace",     "yes/no",  false, "empties the table first, as part of the job; false without it"},
    {"connections", "integer", false, "over which rows go at once, 1 to 64; one for each instance without it"},
};
constexpr SettingKey kNullKeys[] = {
    {"checksum",  "yes/no", false, "sums the rows up, which takes them to the target's process; false without it"},
};
constexpr TargetKind kTargets[] = {
    {"null", "counts rows where they are read, or sums them up; keeps nothing",
     kNullKeys, MakeNullTarget, nullptr, AfterFailedNull, nullptr, NullOnlyCounts, nullptr,
     NullPlace, nullptr, nullptr},
    {"print", "delimited text in a file, which appears when the job is done, or on standard output",
     kPrintKeys, MakePrintTarget, CheckPrintSettings, AfterFailedPrint, AddToPrint, nullptr, nullptr,
     nullptr, nullptr, nullptr},
    {"sqlite", "a table of an SQLite database: each row once, also when the job is killed and resumed",
     kSqliteKeys, MakeSqliteTarget, CheckSqliteSettings, AfterFailedSqlite, AddToSqlite, nullptr,
     SqliteTargetColumns, SqlitePlace, FindInSqlite, ForgetInSqlite},
    {"postgres", "a table of a PostgreSQL database, over one connection or several",
     kPostgresKeys, MakePostgresTarget, CheckPostgresSettings, AfterFailedPostgres, AddToPostgres,
     nullptr, PostgresTargetColumns, PlaceOfPostgres, FindPostgresGeneration,
     ForgetPostgresGeneration},
};
// clang-format on

}  // namespace

std::span<const TargetKind> TargetKinds() { return kTargets; }

const TargetKind *FindTargetKind(const std::string &name)
{
    const auto *kind = std::ranges::find_if(
        kTargets, [&](const TargetKind &row) { return std::string_view(row.name) == name; });
    return kind != std::end(kTargets) ? kind : nullptr;
}

std::unique_ptr<Target> MakeTarget(const Job &job)
{
    if (job.target_type == kPreviewTarget)
        return MakePreviewTarget(job);
    const TargetKind *kind = FindTargetKind(job.target_type);
    if (kind == nullptr)
        throw TargetError(fmt::format("there is no target {}", Quoted(job.target_type)));
    return kind->make(job);
}

bool TargetOnlyCounts(const Job &job)
{
    const TargetKind *kind = FindTargetKind(job.target_type);
    return kind != nullptr && kind->only_counts != nullptr && kind->only_counts(job);
}

}  // namespace fenwire
