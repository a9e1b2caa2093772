// host/checkpoint/sqlite_checkpoints.cpp

#include "host/checkpoint/sqlite_checkpoints.h"

#include <fmt/format.h>

namespace fenwire {

namespace {

constexpr const char *kColumns = "run,job,job_file,generation,saved_at,state";
constexpr const char *kWhose = "(run = ?1 OR (?1 = '' AND job = ?2 AND job_file = ?3))";

void BindWhose(const SqliteStatement &statement, const Job &job, const std::string &run)
{
    BindSqliteText(statement, 1, run);
    BindSqliteText(statement, 2, job.name);
    BindSqliteText(statement, 3, job.file.string());
}

}  // namespace

bool SqliteCheckpoints::IsThere()
{
    const SqliteStatement row =
        database_.Prepare("SELECT (SELECT group_concat(name, ',') FROM pragma_table_xinfo(?1, "
                          "'main')) FROM pragma_table_list WHERE schema = 'main' AND name = ?1 "
                          "COLLATE NOCASE");
    BindSqliteText(row, 1, kCheckpointTable);
    if (!database_.Step(row))
        return false;
    if (SqliteText(row, 0) != kColumns)
        database_.Throw(fmt::format("the table {} is not one of checkpoints: they are kept under "
                                    "this name; give that table another one",
                                    kCheckpointTable));
    return true;
}

void SqliteCheckpoints::Save(const StoredGeneration &generation)
{
    if (!IsThere())
        database_.Run(fmt::format("CREATE TABLE main.{} (run TEXT PRIMARY KEY, job TEXT, job_file "
                                  "TEXT, generation INTEGER, saved_at, state BLOB)",
                                  kCheckpointTable));
    const SqliteStatement overtaken = database_.Prepare(
        fmt::format("SELECT 1 FROM main.{} WHERE job = ?2 AND job_file = ?3 AND NOT (run = ?1 AND "
                    "generation < ?4)",
                    kCheckpointTable));
    const SqliteStatement save =
        database_.Prepare(fmt::format("INSERT OR REPLACE INTO main.{} VALUES (?1, ?2, ?3, ?4, "
                                      "strftime('%Y-%m-%dT%H:%M:%SZ', 'now'), ?5)",
                                      kCheckpointTable));
    for (const SqliteStatement *statement : {&overtaken, &save}) {
        BindSqliteText(*statement, 1, generation.run);
        BindSqliteText(*statement, 2, generation.job);
        BindSqliteText(*statement, 3, generation.job_file);
        sqlite3_bind_int64(statement->get(), 4, static_cast<int64_t>(generation.number));
    }
    if (database_.Step(overtaken))
        database_.Throw(kOvertaken);
    if (sqlite3_bind_blob64(save.get(), 5, generation.bytes.data(), generation.bytes.size(),
                            SQLITE_STATIC) != SQLITE_OK)
        database_.Fail();
    database_.Step(save);
}

std::optional<StoredGeneration> SqliteCheckpoints::Find(const Job &job, const std::string &run)
{
    if (!IsThere())
        return std::nullopt;
    const SqliteStatement row =
        database_.Prepare(fmt::format("SELECT run, job, job_file, generation, state FROM main.{} "
                                      "WHERE {} ORDER BY rowid DESC",
                                      kCheckpointTable, kWhose));
    BindWhose(row, job, run);
    if (!database_.Step(row))
        return std::nullopt;
    StoredGeneration found{SqliteText(row, 0),
                           SqliteText(row, 1),
                           SqliteText(row, 2),
                           static_cast<uint64_t>(sqlite3_column_int64(row.get(), 3)),
                           {}};
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(row.get(), 4));
    if (bytes != nullptr)
        found.bytes.assign(bytes, static_cast<size_t>(sqlite3_column_bytes(row.get(), 4)));
    return found;
}

void SqliteCheckpoints::Forget(const Job &job, const std::string &run)
{
    if (!IsThere())
        return;
    const SqliteStatement forget =
        database_.Prepare(fmt::format("DELETE FROM main.{} WHERE {}", kCheckpointTable, kWhose));
    BindWhose(forget, job, run);
    database_.Step(forget);
    if (!Any())
        database_.Run(fmt::format("DROP TABLE main.{}", kCheckpointTable));
}

bool SqliteCheckpoints::Any()
{
    return IsThere() && database_.Step(database_.Prepare(
                            fmt::format("SELECT 1 FROM main.{} LIMIT 1", kCheckpointTable)));
}

}  // namespace fenwire
