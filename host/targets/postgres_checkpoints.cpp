// host/targets/postgres_checkpoints.cpp

#include "host/targets/postgres_checkpoints.h"

#include <charconv>
#include <chrono>
#include <fmt/format.h>
#include <thread>

#include "host/job/words.h"
#include "host/values/texts.h"

namespace fenwire {

namespace {

constexpr std::string_view kUndefinedTable = "42P01";

using namespace std::chrono_literals;

constexpr const char *kTable = "fenwire_checkpoints",
                     *kUnloggedTable = "fenwire_checkpoints_unlogged";
constexpr std::chrono::milliseconds kLongestWait = 60s, kLookAgain = 10ms;
// Held while the table of checkpoints is made, or dropped because it is empty.
constexpr const char *kTableLock = "SELECT pg_advisory_xact_lock(7310868718513546053)";

// FNV-1a: the same on every machine.
uint64_t HashOf(std::string_view text)
{
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return hash;
}

// "<run>-<generation>-<connection>" behind the prefix. False: it is not of this form.
bool ParsePrepared(std::string_view name, std::string &run, uint64_t &number)
{
    const size_t last = name.rfind('-');
    const size_t middle = last == std::string_view::npos ? last : name.rfind('-', last - 1);
    if (middle == std::string_view::npos || middle == 0)
        return false;
    run = name.substr(0, middle);
    const char *const end = name.data() + last;
    return std::from_chars(name.data() + middle + 1, end, number).ptr == end;
}

std::string Unescaped(const PostgresConnection &connection, std::string_view text)
{
    size_t length = 0;
    unsigned char *bytes = PQunescapeBytea(
        reinterpret_cast<const unsigned char *>(std::string(text).c_str()), &length);
    if (bytes == nullptr)
        connection.Throw("a checkpoint in the database can't be read: out of memory");
    std::string plain(reinterpret_cast<const char *>(bytes), length);
    PQfreemem(bytes);
    return plain;
}

}  // namespace

PostgresCheckpoints::PostgresCheckpoints(const Job &job, PostgresConnection &connection)
    : job_(job.name), job_file_(job.file.string()), home_(PostgresHomeOf(connection, job)),
      table_(SqlName(home_.schema) + "." + (home_.unlogged ? kUnloggedTable : kTable))
{
    const uint64_t hash = HashOf(job_file_ + '\0' + job_);
    lock_key_ = std::to_string(static_cast<int64_t>(hash));
    prefix_ = fmt::format("fenwire-{:016x}-", hash);
}

std::string PostgresCheckpoints::Prepared(const std::string &run, uint64_t number,
                                          size_t connection) const
{
    return PostgresLiteral(fmt::format("{}{}-{}-{}", prefix_, run, number, connection));
}

void PostgresCheckpoints::Hold(PostgresConnection &connection) const
{
    connection.Run("SELECT pg_advisory_lock_shared($1::bigint)", {lock_key_});
}

void PostgresCheckpoints::LetGo(PostgresConnection &connection) const
{
    connection.Run("SELECT pg_advisory_unlock_shared($1::bigint)", {lock_key_});
}

void PostgresCheckpoints::Settle(PostgresConnection &connection) const
{
    const auto until = std::chrono::steady_clock::now() + kLongestWait;
    while (connection.Value("SELECT pg_try_advisory_lock($1::bigint)", {lock_key_}) != "t") {
        if (std::chrono::steady_clock::now() > until) {
            const std::string who = connection.Value(
                "SELECT string_agg(pid::text, ', ') FROM pg_catalog.pg_locks WHERE locktype = "
                "'advisory' AND granted AND objsubid = 1 AND ((classid::bigint << 32) | "
                "objid::bigint) = $1::bigint",
                {lock_key_});
            connection.Throw(
                fmt::format("{}: sessions of an earlier run of this job are still at work (process "
                            "{} of the server); wait for them, or end them with "
                            "pg_terminate_backend",
                            connection.shown(), who));
        }
        std::this_thread::sleep_for(kLookAgain);
    }
    SettlePrepared(connection);
    connection.Run("SELECT pg_advisory_unlock($1::bigint)", {lock_key_});
}

void PostgresCheckpoints::SettlePrepared(PostgresConnection &connection) const
{
    const PostgresResult left = connection.Run(
        "SELECT gid FROM pg_catalog.pg_prepared_xacts WHERE database = current_database() AND "
        "starts_with(gid, $1)",
        {prefix_});
    if (left.rows() == 0)
        return;
    const std::optional<StoredGeneration> stored = Find(connection, {});
    for (int i = 0; i < left.rows(); ++i) {
        const std::string name = left.Text(i, 0);
        std::string run;
        uint64_t number = 0;
        const bool parsed =
            ParsePrepared(std::string_view(name).substr(prefix_.size()), run, number);
        const bool decided = parsed && stored && stored->run == run && number <= stored->number;
        connection.Run(
            fmt::format("{} PREPARED {}", decided ? "COMMIT" : "ROLLBACK", PostgresLiteral(name)));
    }
}

bool PostgresCheckpoints::HasTable(PostgresConnection &connection) const
{
    return connection.Value("SELECT to_regclass($1) IS NOT NULL", {table_}) == "t";
}

std::optional<StoredGeneration> PostgresCheckpoints::Find(PostgresConnection &connection,
                                                          const std::string &run) const
{
    if (!HasTable(connection))
        return std::nullopt;
    const PostgresResult row = connection.Try(
        fmt::format("SELECT run, generation, state FROM {} WHERE job = $1 AND job_file = $2 AND "
                    "(run = $3 OR $3 = '') ORDER BY saved_at DESC LIMIT 1",
                    table_),
        {job_, job_file_, run});
    if (row.State() ==
        kUndefinedTable)  // the last statement of a killed runner has removed it just now
        return std::nullopt;
    if (row.status() != PGRES_TUPLES_OK)
        connection.Fail(row);
    if (row.rows() == 0)
        return std::nullopt;
    StoredGeneration stored{row.Text(0, 0), job_, job_file_, 0,
                            Unescaped(connection, row.At(0, 2))};
    const std::string_view number = row.At(0, 1);
    std::from_chars(number.data(), number.data() + number.size(), stored.number);
    return stored;
}

void PostgresCheckpoints::RequireRights(PostgresConnection &connection) const
{
    if (HasTable(connection) ||
        connection.Value("SELECT has_schema_privilege($1, 'CREATE')", {home_.schema}) == "t")
        return;
    connection.Throw(fmt::format(
        "{}: checkpoints go into table {}, which this user may not make; GRANT CREATE ON "
        "SCHEMA {} would allow it",
        connection.shown(), table_, SqlName(home_.schema)));
}

void PostgresCheckpoints::Store(PostgresConnection &connection,
                                const StoredGeneration &generation) const
{
    connection.Run(kTableLock);
    if (!HasTable(connection))
        connection.Run(fmt::format(
            "CREATE {}TABLE {} (run text, job text, job_file text, generation bigint NOT NULL, "
            "saved_at timestamptz NOT NULL, state bytea NOT NULL, "
            "PRIMARY KEY (run, job, job_file))",
            home_.unlogged ? "UNLOGGED " : "", table_));
    const std::string number = std::to_string(generation.number);
    if (connection.Value(
            fmt::format("SELECT EXISTS (SELECT 1 FROM {} WHERE job = $1 AND job_file = $2 AND NOT "
                        "(run = $3 AND generation < $4::bigint))",
                        table_),
            {job_, job_file_, generation.run, number}) == "t")
        connection.Throw(kOvertaken);
    connection.Run(fmt::format("DELETE FROM {} WHERE job = $1 AND job_file = $2", table_),
                   {job_, job_file_});
    std::string state = "\\x";
    AppendHex(reinterpret_cast<const uint8_t *>(generation.bytes.data()),
              static_cast<uint32_t>(generation.bytes.size()), state);
    connection.Run(fmt::format("INSERT INTO {} VALUES ($1, $2, $3, $4, now(), $5)", table_),
                   {generation.run, job_, job_file_, number, state});
}

void PostgresCheckpoints::Forget(PostgresConnection &connection, const std::string &run) const
{
    if (!HasTable(connection))
        return;
    connection.Run("BEGIN");
    connection.Run(kTableLock);
    connection.Run(fmt::format("DELETE FROM {} WHERE job = $1 AND job_file = $2 AND (run = $3 OR "
                               "$3 = '')",
                               table_),
                   {job_, job_file_, run});
    const bool empty =
        connection.Value(fmt::format("SELECT NOT EXISTS (SELECT 1 FROM {})", table_)) == "t";
    const bool ours = connection.Value("SELECT pg_has_role(relowner, 'USAGE') FROM "
                                       "pg_catalog.pg_class WHERE oid = to_regclass($1)",
                                       {table_}) == "t";
    if (empty && ours)
        connection.Run("DROP TABLE " + table_);
    connection.Run("COMMIT");
}

}  // namespace fenwire
