// host/sqlite/sqlite_table.cpp - the table that takes a job's rows.

#include "host/sqlite/sqlite_table.h"

#include <algorithm>
#include <fmt/format.h>
#include <span>

#include "host/job/words.h"
#include "host/targets/table_fit.h"

namespace fenwire {

namespace {

struct TableColumn {
    std::string name, type;
    bool required = false;   // an insert must give it
    bool generated = false;  // an insert can't
};

// A single INTEGER PRIMARY KEY column is the row's number, which SQLite supplies where it is missing.
std::vector<TableColumn> ReadColumns(SqliteDatabase &database, const std::string &table)
{
    const SqliteStatement row = database.Prepare(
        "SELECT name, \"notnull\" AND dflt_value IS NULL AND NOT (pk = 1 AND upper(type) = "
        "'INTEGER'"
        " AND (SELECT max(pk) FROM pragma_table_xinfo(?1, 'main')) = 1"
        " AND NOT (SELECT wr FROM pragma_table_list WHERE schema = 'main' AND name = ?1 COLLATE "
        "NOCASE)), hidden, type FROM pragma_table_xinfo(?1, 'main') WHERE hidden <> 1");
    BindSqliteText(row, 1, table);
    std::vector<TableColumn> columns;
    while (database.Step(row)) {
        const bool generated = sqlite3_column_int(row.get(), 2) != 0;
        columns.push_back({SqliteText(row, 0), SqliteText(row, 3),
                           sqlite3_column_int(row.get(), 1) != 0 && !generated, generated});
    }
    return columns;
}

template <class Columns>
auto FindNamed(const Columns &columns, const std::string &name)
{
    return std::ranges::find_if(columns,
                                [&](const auto &column) { return SameWord(column.name, name); });
}

TableMisfits Misfits(const std::vector<TableColumn> &there, const std::vector<Column> &given)
{
    TableMisfits misfits;
    for (const Column &column : given) {
        const auto found = FindNamed(there, column.name);
        if (found == there.end())
            misfits.NotThere(column.name);
        else if (found->generated)
            misfits.Computed(column.name);
    }
    for (const TableColumn &column : there) {
        if (column.required && FindNamed(given, column.name) == given.end())
            misfits.NotGiven(column.name);
    }
    return misfits;
}

}  // namespace

bool HasSqliteTable(SqliteDatabase &database, const std::string &table)
{
    const SqliteStatement row = database.Prepare("SELECT type FROM pragma_table_list WHERE schema "
                                                 "= 'main' AND name = ?1 COLLATE NOCASE");
    BindSqliteText(row, 1, table);
    if (!database.Step(row))
        return false;
    if (SqliteText(row, 0) == "view")
        throw TargetError(fmt::format(
            "{} is a view, which takes no rows; give table the name of a table", Quoted(table)));
    return true;
}

void CreateSqliteTable(SqliteDatabase &database, const std::string &table, const Job &job)
{
    std::string sql;
    for (const Column &column : job.columns) {
        const std::string type = !column.sql_type.empty() ? column.sql_type : SqliteTypeOf(column);
        sql += fmt::format("{}{} {}", sql.empty() ? "" : ",\n", SqlName(column.name), type);
    }
    sql = fmt::format("CREATE TABLE main.{} (\n{}\n)", SqlName(table), sql);
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v2(database.get(), sql.data(), static_cast<int>(sql.size()),
                                        &statement, nullptr);
    const SqliteStatement create(statement);
    if (code == SQLITE_ERROR)
        throw TargetError(fmt::format("table {} can't be made: {}; look at table and at sql_type "
                                      "of the columns",
                                      Quoted(table), Escaped(database.Words())));
    if (code != SQLITE_OK)
        database.Fail();
    database.Step(create);
}

std::vector<SqliteAffinity> CompareSqliteTable(SqliteDatabase &database, const std::string &table,
                                               const Job &job)
{
    const std::vector<TableColumn> there = ReadColumns(database, table);
    Misfits(there, job.columns).Refuse(Quoted(table), there, job);
    std::vector<SqliteAffinity> affinities;
    for (const Column &column : job.columns)
        affinities.push_back(SqliteAffinityOf(FindNamed(there, column.name)->type));
    return affinities;
}

std::string NoSqliteTable(SqliteDatabase &database, const std::string &table)
{
    struct Name {
        std::string name;
    };
    std::vector<Name> names;
    const SqliteStatement row =
        database.Prepare("SELECT name FROM main.sqlite_schema WHERE type = 'table' AND name NOT "
                         "LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY name");
    while (database.Step(row))
        names.push_back({SqliteText(row, 0)});
    return fmt::format("there is no table {}; {}", Quoted(table),
                       names.empty() ? "the database has no tables"
                                     : "the database has " + NameList(names));
}

bool IsSqliteType(const std::string &sql_type)
{
    // A second column shows whether the text ends the first one, or the whole statement.
    SqliteDatabase database = SqliteDatabase::InMemory();
    const std::string sql =
        fmt::format("CREATE TABLE probe (\n\"the first\" {}\n, \"the second\"\n)", sql_type);
    const char *tail = nullptr;
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(database.get(), sql.data(), static_cast<int>(sql.size()), &statement, &tail);
    const SqliteStatement create(statement);
    if (statement == nullptr || *tail != '\0' || sqlite3_step(statement) != SQLITE_DONE)
        return false;
    const std::vector<TableColumn> columns = ReadColumns(database, "probe");
    return columns.size() == 2 && columns[1].name == "the second";
}

}  // namespace fenwire
