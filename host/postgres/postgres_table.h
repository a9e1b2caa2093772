// host/postgres/postgres_table.h - tables as jobs name them, and what they have for columns.

#ifndef FENWIRE_HOST_POSTGRES_POSTGRES_TABLE_H
#define FENWIRE_HOST_POSTGRES_POSTGRES_TABLE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/postgres/postgres_connection.h"

namespace fenwire {

// "orders" or "sales.orders"; a part that holds a point stands in double quotes. Names count as they are
// written, upper and lower case too.
struct PostgresName {
    std::string schema;  // empty: where the server looks first
    std::string table;
    std::string Sql() const;    // quoted
    std::string Words() const;  // for messages
};
std::optional<PostgresName> ParsePostgresName(const std::string &text);

struct PostgresColumn {
    std::string name;
    std::string type;       // "character varying(40)"; of a domain, the type below it
    uint32_t type_id = 0;   // its OID
    bool required = false;  // NOT NULL, and the table gives no value by itself
    bool computed = false;  // takes no values
};

struct PostgresTable {
    PostgresName name;
    uint32_t id = 0;
    char kind = 'r';  // r table, p partitioned; v, m views; f foreign
    std::vector<PostgresColumn> columns;
    const PostgresColumn *Named(const std::string &column) const;  // exactly, else but for case
};

std::optional<PostgresTable> FindPostgresTable(PostgresConnection &connection,
                                               const PostgresName &name);

// Why no table is there, with the names of those that are.
std::string NoPostgresTable(PostgresConnection &connection, const PostgresName &name);

}  // namespace fenwire

#endif
