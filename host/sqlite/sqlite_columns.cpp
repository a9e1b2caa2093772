// host/sqlite/sqlite_columns.cpp - the columns of a table or a query.

#include "host/sqlite/sqlite_columns.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

#include "host/job/words.h"
#include "host/sqlite/sqlite_table.h"
#include "host/sqlite/sqlite_types.h"
#include "host/values/text_columns.h"

namespace fenwire {

namespace {

constexpr int kRowsLookedAt = 1000;

// Names of the row id; a column of the same name hides one.
std::string RowIdName(const std::vector<std::string> &columns)
{
    for (const char *name : {"rowid", "_rowid_", "oid"}) {
        if (std::ranges::none_of(columns,
                                 [&](const std::string &column) { return SameWord(column, name); }))
            return name;
    }
    return {};
}

// What the first rows hold, by column.
struct Seen {
    bool whole = false, real = false, text = false, blob = false;

    void Look(int type)
    {
        whole = whole || type == SQLITE_INTEGER;
        real = real || type == SQLITE_FLOAT;
        text = text || type == SQLITE_TEXT;
        blob = blob || type == SQLITE_BLOB;
    }
    Column AsColumn(const std::string &name) const
    {
        if (blob && !text && !whole && !real)
            return ColumnOfWords(name, fmt::format("BLOB({})", kSqliteBlobBytes));
        if (blob || text || (!whole && !real))
            return ColumnOfWords(name, fmt::format("VARCHAR({})", kSqliteTextBytes));
        return ColumnOfWords(name, real ? "FLOAT" : "BIGINT");
    }
};

std::vector<Seen> LookAtRows(SqliteDatabase &database, const SqliteRelation &relation)
{
    std::vector<Seen> seen(relation.names.size());
    const SqliteStatement row =
        database.Prepare(fmt::format("SELECT * FROM {} LIMIT {}", relation.sql, kRowsLookedAt));
    const auto columns = static_cast<size_t>(sqlite3_column_count(row.get()));
    while (database.Step(row)) {
        for (size_t i = 0; i < std::min(columns, seen.size()); ++i)
            seen[i].Look(sqlite3_column_type(row.get(), static_cast<int>(i)));
    }
    return seen;
}

// Whether there is more than blanks and comments.
bool HoldsStatement(SqliteDatabase &database, std::string_view sql)
{
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v2(database.get(), sql.data(), static_cast<int>(sql.size()),
                                        &statement, nullptr);
    const SqliteStatement owned(statement);
    return code != SQLITE_OK || statement != nullptr;
}

}  // namespace

SqliteRelation SqliteTableNamed(SqliteDatabase &database, const std::string &table)
{
    SqliteRelation relation;
    const SqliteStatement kind =
        database.Prepare("SELECT type, wr FROM pragma_table_list WHERE schema = 'main' AND name = "
                         "?1 COLLATE NOCASE");
    BindSqliteText(kind, 1, table);
    if (!database.Step(kind))
        database.Throw(NoSqliteTable(database, table));
    const SqliteStatement row = database.Prepare(
        "SELECT name, type, hidden FROM pragma_table_xinfo(?1, 'main') WHERE hidden <> 1");
    BindSqliteText(row, 1, table);
    while (database.Step(row)) {
        relation.names.push_back(SqliteText(row, 0));
        relation.types.push_back(SqliteText(row, 1));
        relation.computed.push_back(sqlite3_column_int(row.get(), 2) != 0);
    }
    relation.sql = fmt::format("main.{}", SqlName(table));
    if (SqliteText(kind, 0) != "view" && sqlite3_column_int(kind.get(), 1) == 0)
        relation.row_id = RowIdName(relation.names);
    relation.in_row_id_order = !relation.row_id.empty() && SqliteText(kind, 0) == "table";
    return relation;
}

SqliteRelation SqliteQuery(SqliteDatabase &database, const std::string &query)
{
    const char *tail = nullptr;
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v2(database.get(), query.data(),
                                        static_cast<int>(query.size()), &statement, &tail);
    const SqliteStatement row(statement);
    if (code == SQLITE_ERROR)
        database.Throw(
            fmt::format("query {} can't be run: {}", Quoted(query), Escaped(database.Words())));
    if (code != SQLITE_OK)
        database.Fail();
    const std::string_view rest(tail, static_cast<size_t>(query.data() + query.size() - tail));
    if (statement == nullptr || sqlite3_stmt_readonly(statement) == 0 ||
        sqlite3_column_count(statement) == 0 || HoldsStatement(database, rest))
        database.Throw(fmt::format("query {} must be one statement that reads rows, such as "
                                   "\"SELECT a, b FROM t\"",
                                   Quoted(query)));
    SqliteRelation relation;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const char *type = sqlite3_column_decltype(statement, i);
        relation.names.emplace_back(sqlite3_column_name(statement, i));
        relation.types.emplace_back(type != nullptr ? type : "");
        relation.computed.push_back(false);
    }
    std::string bare = query.substr(0, query.size() - rest.size());
    while (bare.ends_with(';') || bare.ends_with(' '))
        bare.pop_back();
    relation.sql = fmt::format("(\n{}\n)", bare);  // a comment may end its last line
    return relation;
}

std::vector<Column> ColumnsOf(SqliteDatabase &database, const SqliteRelation &relation)
{
    std::vector<Column> columns;
    std::vector<Seen> seen;
    for (size_t i = 0; i < relation.names.size(); ++i) {
        std::optional<Column> column = ColumnOfSqliteType(relation.names[i], relation.types[i]);
        if (!column && seen.empty())
            seen = LookAtRows(database, relation);
        columns.push_back(column ? *column : seen[i].AsColumn(relation.names[i]));
    }
    return columns;
}

bool IsSqliteCharset(const std::string &charset)
{
    constexpr std::string_view kSets[] = {"", "UTF8", "63", "ASCII", "UTF16", "62"};
    return std::ranges::any_of(kSets, [&](auto set) { return SameWord(charset, set); });
}

}  // namespace fenwire
