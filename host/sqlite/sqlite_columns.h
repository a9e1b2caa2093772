// host/sqlite/sqlite_columns.h - what a table or a query has: its columns, and how its rows are told apart.

#ifndef FENWIRE_HOST_SQLITE_SQLITE_COLUMNS_H
#define FENWIRE_HOST_SQLITE_SQLITE_COLUMNS_H

#include <string>
#include <vector>

#include "host/job/job.h"
#include "host/sqlite/sqlite_database.h"

namespace fenwire {

struct SqliteRelation {
    std::string sql;               // what stands behind FROM
    std::string row_id;            // the expression that numbers the rows; empty: there is none
    bool in_row_id_order = false;  // as they are stored
    std::vector<std::string> names, types;  // of the columns; types as declared, may be empty
    std::vector<bool> computed;
};

// A table or view by its name. Throws when it is not there.
SqliteRelation SqliteTableNamed(SqliteDatabase &database, const std::string &table);

// A query, which must be one statement that only reads.
SqliteRelation SqliteQuery(SqliteDatabase &database, const std::string &query);

// Its columns for a job; values of the first rows tell where a type says nothing.
std::vector<Column> ColumnsOf(SqliteDatabase &database, const SqliteRelation &relation);

bool IsSqliteCharset(const std::string &charset);

}  // namespace fenwire

#endif
