// host/targets/postgres_place.cpp

#include "host/targets/postgres_place.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/targets/table_fit.h"

namespace fenwire {

namespace {

// The columns that fit go to `taking`.
TableMisfits Misfits(const PostgresTable &table, const Job &job,
                     std::vector<const PostgresColumn *> &taking)
{
    TableMisfits misfits;
    for (const Column &column : job.columns) {
        const PostgresColumn *found = table.Named(column.name);
        if (found == nullptr)
            misfits.NotThere(column.name);
        else if (found->computed)
            misfits.Computed(column.name);
        else if (std::ranges::find(taking, found) != taking.end())
            misfits.Add(column.name, "is one that another column of the job goes to already");
        else
            taking.push_back(found);
    }
    for (const PostgresColumn &column : table.columns) {
        const PostgresColumn *const here = &column;
        if (column.required && std::ranges::find(taking, here) == taking.end())
            misfits.NotGiven(column.name);
    }
    return misfits;
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

void CreatePostgresTable(PostgresConnection &connection, const Job &job, bool unlogged)
{
    const PostgresName name = PostgresTableOf(job);
    std::string columns;
    for (const Column &column : job.columns) {
        const std::string type = !column.sql_type.empty()
                                     ? column.sql_type
                                     : PostgresTypeOf(column, IsUtf16(job.charset));
        columns += fmt::format("{}{} {}", columns.empty() ? "" : ",\n", SqlName(column.name), type);
    }
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
    Misfits(table, job, taking).Refuse(words, table.columns, job);
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
