// host/postgres/postgres_table.cpp

#include "host/postgres/postgres_table.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr const char *kColumns =
    "SELECT a.attname, format_type(b.id, b.modifier), b.id, "
    "(a.attnotnull OR t.typnotnull) AND NOT a.atthasdef AND a.attidentity = '', "
    "a.attgenerated <> '' "
    "FROM pg_catalog.pg_attribute a JOIN pg_catalog.pg_type t ON t.oid = a.atttypid "
    "CROSS JOIN LATERAL (SELECT "
    "CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END AS id, "
    "CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END AS modifier) b "
    "WHERE a.attrelid = $1::oid AND a.attnum > 0 AND NOT a.attisdropped ORDER BY a.attnum";

uint32_t Id(std::string_view text)
{
    uint32_t id = 0;
    std::from_chars(text.data(), text.data() + text.size(), id);
    return id;
}

// One part of a name, which goes from the text. False: it is none.
bool TakePart(std::string_view &text, std::string &part)
{
    if (!text.starts_with('"')) {
        const size_t end = std::min(text.find('.'), text.size());
        part = text.substr(0, end);
        text.remove_prefix(end);
        return !part.empty() && part.find('"') == std::string::npos;
    }
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] != '"') {
            part += text[i];
        } else if (i + 1 < text.size() && text[i + 1] == '"') {
            part += text[i++];
        } else {
            text.remove_prefix(i + 1);
            return !part.empty();
        }
    }
    return false;
}

void ReadColumns(PostgresConnection &connection, PostgresTable &table)
{
    const PostgresResult rows = connection.Run(kColumns, {std::to_string(table.id)});
    for (int i = 0; i < rows.rows(); ++i)
        table.columns.push_back({rows.Text(i, 0), rows.Text(i, 1), Id(rows.At(i, 2)),
                                 rows.At(i, 3) == "t", rows.At(i, 4) == "t"});
}

}  // namespace

std::string PostgresName::Sql() const
{
    return schema.empty() ? SqlName(table) : SqlName(schema) + "." + SqlName(table);
}

std::string PostgresName::Words() const
{
    return Quoted(schema.empty() ? table : schema + "." + table);
}

std::optional<PostgresName> ParsePostgresName(const std::string &text)
{
    PostgresName name;
    std::string_view rest = text;
    if (!TakePart(rest, name.table))
        return std::nullopt;
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        name.schema = std::move(name.table);
        name.table.clear();
        if (!TakePart(rest, name.table))
            return std::nullopt;
    }
    if (!rest.empty() || text.find('\0') != std::string::npos)
        return std::nullopt;
    return name;
}

const PostgresColumn *PostgresTable::Named(const std::string &column) const
{
    auto found = std::ranges::find(columns, column, &PostgresColumn::name);
    if (found == columns.end())
        found = std::ranges::find_if(
            columns, [&](const PostgresColumn &has) { return SameWord(has.name, column); });
    return found != columns.end() ? &*found : nullptr;
}

std::optional<PostgresTable> FindPostgresTable(PostgresConnection &connection,
                                               const PostgresName &name)
{
    const PostgresResult row = connection.Run(
        "SELECT c.oid, n.nspname, c.relname, c.relkind FROM pg_catalog.pg_class c "
        "JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE c.oid = to_regclass($1)",
        {name.Sql()});
    if (row.rows() == 0)
        return std::nullopt;
    PostgresTable table;
    table.name = {row.Text(0, 1), row.Text(0, 2)};
    table.id = Id(row.At(0, 0));
    table.kind = row.At(0, 3).front();
    ReadColumns(connection, table);
    return table;
}

std::string NoPostgresTable(PostgresConnection &connection, const PostgresName &name)
{
    constexpr int kShown = 20;
    const std::string schema =
        name.schema.empty() ? connection.Value("SELECT current_schema()") : name.schema;
    const PostgresResult rows = connection.Run(
        "SELECT relname FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = "
        "c.relnamespace WHERE n.nspname = $1 AND relkind IN ('r', 'p', 'v', 'm', 'f') ORDER BY 1",
        {schema});
    std::string names;
    for (int i = 0; i < std::min(rows.rows(), kShown); ++i)
        names += (i > 0 ? ", " : "") + Escaped(rows.At(i, 0));
    if (rows.rows() > kShown)
        names += fmt::format(" and {} more", rows.rows() - kShown);
    return fmt::format("there is no table {}; schema {} {}", name.Words(), Quoted(schema),
                       names.empty() ? "has no tables" : "has " + names);
}

}  // namespace fenwire
