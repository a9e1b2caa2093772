// host/sqlite/sqlite_table.h - the table that takes a job's rows: made, or compared with the job.

#ifndef FENWIRE_HOST_SQLITE_SQLITE_TABLE_H
#define FENWIRE_HOST_SQLITE_SQLITE_TABLE_H

#include <string>
#include <vector>

#include "host/job/job.h"
#include "host/sqlite/sqlite_database.h"
#include "host/sqlite/sqlite_types.h"

namespace fenwire {

// Whether the database has a table of this name. Throws TargetError when a view has it.
bool HasSqliteTable(SqliteDatabase &database, const std::string &table);

// Makes the table with the job's columns.
void CreateSqliteTable(SqliteDatabase &database, const std::string &table, const Job &job);

// Throws TargetError when the table can't take the job's columns. What it makes of their values, by column.
std::vector<SqliteAffinity> CompareSqliteTable(SqliteDatabase &database, const std::string &table,
                                               const Job &job);

// Why no table is there, with the names of those that are.
std::string NoSqliteTable(SqliteDatabase &database, const std::string &table);

// Whether SQLite takes the text as the type of a column, and as nothing more.
bool IsSqliteType(const std::string &sql_type);

}  // namespace fenwire

#endif
