// host/sources/postgres_plan.cpp - what is read from a PostgreSQL database, in which order, and by which part.

#include "host/sources/postgres_plan.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/postgres/postgres_types.h"
#include "host/sources/named_columns.h"
#include "host/sources/source.h"

namespace fenwire {

namespace {

constexpr int kRowBits = 16;              // of a row's number in its block
constexpr int kTidRangeVersion = 140000;  // that reads a range of blocks without the others

bool IsKeyType(uint32_t id)
{
    const auto type = static_cast<PgType>(id);
    return type == PgType::Int2 || type == PgType::Int4 || type == PgType::Int8;
}

// Rows that lie in blocks of their own: no views, no parts of others, no other ways of storing.
bool HasBlocks(PostgresConnection &connection, const PostgresTable &table)
{
    return !connection
                .Value("SELECT 1 FROM pg_catalog.pg_class c JOIN pg_catalog.pg_am a ON a.oid = "
                       "c.relam WHERE c.oid = $1::oid AND c.relkind IN ('r', 'm') AND NOT "
                       "c.relhassubclass AND a.amname = 'heap'",
                       {std::to_string(table.id)})
                .empty();
}

std::string PrimaryKey(PostgresConnection &connection, uint32_t table)
{
    return connection.Value("SELECT a.attname FROM pg_catalog.pg_index i JOIN "
                            "pg_catalog.pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = "
                            "i.indkey[0] WHERE i.indrelid = $1::oid AND i.indisprimary AND "
                            "i.indnkeyatts = 1",
                            {std::to_string(table)});
}

PostgresRelation TableRelation(PostgresConnection &connection, const std::string &text)
{
    const auto name = ParsePostgresName(text);
    if (!name)
        throw SourceError(fmt::format("{} is no name of a table; write orders or sales.orders, and "
                                      "a part that holds a point in double quotes",
                                      Quoted(text)));
    const auto table = FindPostgresTable(connection, *name);
    if (!table)
        throw SourceError(
            fmt::format("{}: {}", connection.shown(), NoPostgresTable(connection, *name)));
    PostgresRelation relation;
    relation.sql = table->name.Sql();
    relation.words = "table " + table->name.Words();
    relation.columns = table->columns;
    relation.id = table->id;
    if (HasBlocks(connection, *table)) {
        relation.order = PostgresOrder::Blocks;
        relation.key = "ctid";
    }
    return relation;
}

// Its columns are those of its result, of which no row is fetched.
PostgresRelation QueryRelation(PostgresConnection &connection, const std::string &query)
{
    std::string bare = query;
    while (!bare.empty() && (bare.back() == ';' || bare.back() == ' ' || bare.back() == '\n'))
        bare.pop_back();
    PostgresRelation relation;
    relation.sql = fmt::format("(\n{}\n) AS q", bare);  // a comment may end its last line
    relation.words = fmt::format("query {}", Quoted(query));
    const PostgresResult head =
        connection.Try(fmt::format("SELECT * FROM {} LIMIT 0", relation.sql));
    if (head.status() != PGRES_TUPLES_OK)
        throw SourceError(
            fmt::format("{} can't be run: {}", relation.words, connection.Words(head)));
    for (int i = 0; i < PQnfields(head.get()); ++i) {
        PostgresColumn column;
        column.name = PQfname(head.get(), i);
        column.type_id = PQftype(head.get(), i);
        column.type = connection.Value(
            "SELECT format_type($1::oid, $2::int)",
            {std::to_string(column.type_id), std::to_string(PQfmod(head.get(), i))});
        relation.columns.push_back(column);
    }
    return relation;
}

// An integer column orders the rows, and divides them.
void UseKey(PostgresRelation &relation, const std::string &key, bool given)
{
    const size_t at = FindNamedColumn(relation.names, key, relation.words);
    if (!IsKeyType(relation.columns[at].type_id)) {
        if (given)
            throw SourceError(fmt::format("{} can't be the key of {}: it has the type {}, and "
                                          "smallint, integer or bigint is wanted",
                                          Quoted(key), relation.words, relation.columns[at].type));
        return;
    }
    relation.key = SqlName(relation.names[at]);
    relation.order = PostgresOrder::Key;
}

void RequireParts(const PostgresConnection &connection, const PostgresRelation &relation, int parts)
{
    if (parts == 1 || relation.order == PostgresOrder::Key)
        return;
    if (relation.order == PostgresOrder::AsIs)
        throw SourceError(fmt::format("{} can't be shared by {} instances: it is no plain table, "
                                      "and has no key; name an integer column with key, or use "
                                      "one instance",
                                      relation.words, parts));
    if (PQserverVersion(connection.get()) < kTidRangeVersion)
        throw SourceError(fmt::format("{}: a PostgreSQL before version 14 can't read a part of a "
                                      "table by its blocks; name an integer column with key, or "
                                      "use one instance",
                                      relation.words));
}

std::string Tid(int64_t place)
{
    return fmt::format("'({},{})'::tid", place >> kRowBits, place & ((1 << kRowBits) - 1));
}

std::string KeyLiteral(const PostgresRelation &relation, int64_t key)
{
    return relation.order == PostgresOrder::Blocks ? Tid(key) : fmt::format("'{}'::int8", key);
}

// Where part 1, 2 .. begins, in keys or places of rows.
int64_t Bound(const PostgresRelation &relation, const KeyRange &whole, int part, int parts)
{
    const int64_t bound = whole.BoundBefore(part, parts);
    return relation.order == PostgresOrder::Blocks ? bound << kRowBits : bound;
}

}  // namespace

PostgresRelation FindPostgresRelation(PostgresConnection &connection, const Job &job)
{
    const auto table = SettingOr<std::string>(job.source, "table", {});
    const auto key = SettingOr<std::string>(job.source, "key", {});
    PostgresRelation relation =
        table.empty() ? QueryRelation(connection, SettingOr<std::string>(job.source, "query", {}))
                      : TableRelation(connection, table);
    for (const PostgresColumn &column : relation.columns)
        relation.names.push_back(column.name);
    if (key == "ctid") {
        if (relation.order != PostgresOrder::Blocks)
            throw SourceError(fmt::format("{} has no blocks of its own to go by; name an integer "
                                          "column as the key, or none",
                                          relation.words));
    } else if (!key.empty()) {
        UseKey(relation, key, true);
    } else if (const std::string primary = PrimaryKey(connection, relation.id); !primary.empty()) {
        UseKey(relation, primary, false);
    }
    RequireParts(connection, relation, job.source_instances);
    return relation;
}

std::string PostgresSelectList(const PostgresRelation &relation, const Job &job, PostgresRows &rows)
{
    std::string list = relation.order == PostgresOrder::Key      ? relation.key + "::int8"
                       : relation.order == PostgresOrder::Blocks ? relation.key
                                                                 : "";
    for (const Column &column : job.columns) {
        const size_t at = FindNamedColumn(relation.names, column.name, relation.words);
        list += list.empty() ? "" : ", ";
        list += rows.Add(column, relation.columns[at].type_id, SqlName(relation.names[at]));
    }
    return list;
}

void RequireWholeKeys(PostgresConnection &connection, const PostgresRelation &relation)
{
    if (relation.order == PostgresOrder::Key &&
        connection.Value(fmt::format("SELECT EXISTS (SELECT 1 FROM {} WHERE {} IS NULL)",
                                     relation.sql, relation.key)) == "t")
        throw SourceError(fmt::format("{} can't be the key of {}: it has NULLs, which are in no "
                                      "range; name another column",
                                      relation.key, relation.words));
}

KeyRange PostgresRange(PostgresConnection &connection, const PostgresRelation &relation,
                       uint64_t blocks, int parts)
{
    KeyRange range;
    if (relation.order == PostgresOrder::Blocks)
        return {0, static_cast<int64_t>(blocks), false};
    if (relation.order == PostgresOrder::AsIs || parts == 1)
        return range;
    const PostgresResult row = connection.Run(
        fmt::format("SELECT min({0})::int8, max({0})::int8 FROM {1}", relation.key, relation.sql));
    if (row.rows() != 1 || row.IsNull(0, 0))
        return range;
    const auto number = [&](int column) {
        const std::string_view text = row.At(0, column);
        int64_t value = 0;
        if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc())
            connection.Throw(fmt::format("{} sent no number for a key", connection.shown()));
        return value;
    };
    return {number(0), number(1), false};
}

std::string PostgresCondition(const PostgresRelation &relation, const PostgresPlace &place,
                              int part, int parts)
{
    if (relation.order == PostgresOrder::AsIs)
        return {};
    std::string conditions;
    const auto add = [&](const char *comparison, int64_t key) {
        conditions += fmt::format("{} {} {} {}", conditions.empty() ? " WHERE" : " AND",
                                  relation.key, comparison, KeyLiteral(relation, key));
    };
    if (place.behind)
        add(">", *place.behind);
    else if (part > 1)
        add(">=", Bound(relation, place.whole, part, parts));
    if (part < parts)
        add("<", Bound(relation, place.whole, part + 1, parts));
    return conditions + (relation.order == PostgresOrder::Key ? " ORDER BY " + relation.key : "");
}

bool IsPlaceOf(const PostgresRelation &relation, const PostgresPlace &place, int part, int parts)
{
    if (place.whole.low > place.whole.high)
        return false;
    if (relation.order == PostgresOrder::Blocks &&
        (place.whole.low != 0 || place.whole.high > int64_t{1} << 32 ||
         place.behind.value_or(0) < 0 || place.behind.value_or(0) >> (32 + kRowBits) != 0))
        return false;
    return !place.behind ||
           ((part == 1 || *place.behind >= Bound(relation, place.whole, part, parts)) &&
            (part == parts || *place.behind < Bound(relation, place.whole, part + 1, parts)));
}

std::string PostgresPlaceWords(const PostgresRelation &relation, int64_t key)
{
    if (relation.order == PostgresOrder::Key)
        return fmt::format("the row behind the one with {} {}", relation.key, key);
    return fmt::format("the row behind row {} of block {}", key & ((1 << kRowBits) - 1),
                       key >> kRowBits);
}

}  // namespace fenwire
