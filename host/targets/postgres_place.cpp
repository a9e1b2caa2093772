// host/targets/postgres_place.cpp

#include "host/targets/postgres_place.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

template <class Columns>
std::string NameList(const Columns &columns)
{
    constexpr size_t kShown = 20;
    std::string text;
    for (size_t i = 0; i < std::min(columns.size(), kShown); ++i)
        text += (i > 0 ? ", " : "") + Escaped(columns[i].name);
    if (columns.size() > kShown)
        text += fmt::format(" and {} more", columns.size() - kShown);
    return text;
}

// What does not fit, one clause after another; the columns that do go to `taking`.
std::string Differences(const PostgresTable &table, const Job &job,
                        std::vector<const PostgresColumn *> &taking)
{
    std::string what;
    const auto add = [&](const std::string &name, const char *why) {
        what += fmt::format("{}column {} {}", what.empty() ? "" : "; ", Quoted(name), why);
    };
    for (const Column &column : job.columns) {
        const PostgresColumn *found = table.Named(column.name);
        if (found == nullptr)
            add(column.name, "is not in the table");
        else if (found->computed)
            add(column.name, "is computed by the table and takes no values");
        else if (std::ranges::find(taking, found) != taking.end())
            add(column.name, "is one that another column of the job goes to already");
        else
            taking.push_back(found);
    }
    for (const PostgresColumn &column : table.columns) {
        const PostgresColumn *const here = &column;
        if (column.required && std::ranges::find(taking, here) == taking.end())
            add(column.name, "of the table needs a value, and the job has none for it");
    }
    return what;
}

}  // namespace

std::string PostgresConnectionOf(const Job &job)
{
    return SettingOr<std::string>(job.target, "connection", {});
}

PostgresName PostgresTableOf(const Job &job)
{
    const auto text = SettingOr<std::string>(job.target, "table", {});
    const std::optional<PostgresName> name = ParsePostgresName(text);
    return name ? *name : PostgresName{{}, text};
}

size_t PostgresConnectionsOf(const Job &job)
{
    const int64_t most = std::clamp<int64_t>(job.readers(), 1, kMostPostgresConnections);
    return static_cast<size_t>(
        std::clamp<int64_t>(SettingOr(job.target, "connections", most), 1, most));
}

PostgresHome PostgresHomeOf(PostgresConnection &connection, const Job &job)
{
    const PostgresName name = PostgresTableOf(job);
    const PostgresResult row = connection.Run(
        "SELECT n.nspname, c.relpersistence = 'u' FROM pg_catalog.pg_class c JOIN "
        "pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE c.oid = to_regclass($1)",
        {name.Sql()});
    if (row.rows() > 0)
        return {row.Text(0, 0), row.At(0, 1) == "t"};
    return {!name.schema.empty() ? name.schema : connection.Value("SELECT current_schema()"),
            SettingOr(job.target, "unlogged", false)};
}

void CreatePostgresTable(PostgresConnection &connection, const Job &job)
{
    const PostgresName name = PostgresTableOf(job);
    std::string columns;
    for (const Column &column : job.columns) {
        const std::string type = !column.sql_type.empty()
                                     ? column.sql_type
                                     : PostgresTypeOf(column, IsUtf16(job.charset));
        columns += fmt::format("{}{} {}", columns.empty() ? "" : ",\n", SqlName(column.name), type);
    }
    const bool unlogged = SettingOr(job.target, "unlogged", false);
    const PostgresResult made = connection.Try(fmt::format(
        "CREATE {}TABLE {} (\n{}\n)", unlogged ? "UNLOGGED " : "", name.Sql(), columns));
    if (made.status() != PGRES_COMMAND_OK)
        connection.Throw(fmt::format(
            "{}: table {} can't be made: {}; look at table and at sql_type of the columns",
            connection.shown(), name.Words(), connection.Words(made)));
}

std::vector<const PostgresColumn *> ComparePostgresTable(PostgresConnection &connection,
                                                         const PostgresTable &table, const Job &job)
{
    const std::string words = table.name.Words();
    if (table.kind != 'r' && table.kind != 'p')
        throw TargetError(fmt::format(
            "{} is a view or a table of another server; give table the name of a table", words));
    if (connection.Value("SELECT has_table_privilege($1::oid, 'INSERT') OR "
                         "has_any_column_privilege($1::oid, 'INSERT')",
                         {std::to_string(table.id)}) != "t")
        throw TargetError(fmt::format("this user may not add rows to table {}; GRANT INSERT ON {} "
                                      "would allow it",
                                      words, table.name.Sql()));
    std::vector<const PostgresColumn *> taking;
    const std::string what = Differences(table, job, taking);
    if (!what.empty())
        throw TargetError(
            fmt::format("table {} does not fit the job: {}. The table has {}; the job has {}",
                        words, what, NameList(table.columns), NameList(job.columns)));
    return taking;
}

std::string PostgresCopySql(const PostgresTable &table,
                            const std::vector<const PostgresColumn *> &columns, bool binary)
{
    std::string names;
    for (const PostgresColumn *column : columns)
        names += (names.empty() ? "" : ", ") + SqlName(column->name);
    return fmt::format("COPY {} ({}) FROM STDIN (FORMAT {})", table.name.Sql(), names,
                       binary ? "binary" : "text");
}

PostgresEmptying PostgresEmptyingOf(PostgresConnection &connection, const PostgresTable &table)
{
    const PostgresResult row = connection.Run(
        "SELECT has_table_privilege($1::oid, 'TRUNCATE') AND NOT EXISTS (SELECT 1 FROM "
        "pg_catalog.pg_constraint WHERE contype = 'f' AND confrelid = $1::oid), "
        "EXISTS (SELECT 1 FROM pg_catalog.pg_index WHERE (indisunique OR indisexclusion) AND "
        "(indrelid = $1::oid OR indrelid IN (SELECT relid FROM pg_partition_tree($1::oid))))",
        {std::to_string(table.id)});
    return {row.At(0, 0) == "t", row.At(0, 1) == "t"};
}

}  // namespace fenwire
