// host/sources/postgres_snapshot.cpp - one state of a PostgreSQL database for all parts that read it.

#include "host/sources/postgres_snapshot.h"

#include <charconv>
#include <chrono>
#include <fmt/format.h>
#include <thread>

#include <unistd.h>

namespace fenwire {

namespace {

constexpr std::chrono::milliseconds kBetweenLooks{10};
constexpr std::chrono::seconds kLongestWait{60};

// The same in all parts of a run, and another in any other run: they have the same parent.
std::string RunMark(const Job &job)
{
    const size_t hash = std::hash<std::string>()(job.file.string() + '\n' + job.name);
    return fmt::format("fenwire {:x} {} ", static_cast<uint32_t>(hash), getppid());
}

void Begin(PostgresConnection &connection)
{
    connection.Run("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
}

uint64_t BlocksOf(PostgresConnection &connection, uint32_t table)
{
    if (table == 0)
        return 0;
    return PostgresNumber(
        connection,
        connection.Value("SELECT pg_relation_size($1::oid) / current_setting('block_size')::int8",
                         {std::to_string(table)}));
}

void Announce(PostgresConnection &connection, const std::string &mark, uint64_t blocks)
{
    const std::string id = connection.Value("SELECT pg_export_snapshot()");
    connection.Run("SELECT set_config('application_name', $1, false)",
                   {fmt::format("{}{} {}", mark, blocks, id)});
}

// What part 1 announced behind the mark.
std::string WaitForFirst(PostgresConnection &connection, const std::string &mark)
{
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (std::chrono::steady_clock::now() < end) {
        const std::string told =
            connection.Value("SELECT application_name FROM pg_catalog.pg_stat_activity WHERE "
                             "starts_with(application_name, $1) AND datname = current_database() "
                             "ORDER BY backend_start DESC LIMIT 1",
                             {mark});
        if (told.size() > mark.size())
            return told.substr(mark.size());
        std::this_thread::sleep_for(kBetweenLooks);
    }
    connection.Throw(fmt::format("instance 1 did not begin to read {} within {} s",
                                 connection.shown(), kLongestWait.count()));
}

// "BLOCKS NAME"
PostgresSnapshot TakeOver(PostgresConnection &connection, const std::string &told)
{
    const size_t blank = told.find(' ');
    if (blank == std::string::npos)
        connection.Throw(fmt::format("{} tells no snapshot", connection.shown()));
    PostgresSnapshot snapshot;
    snapshot.blocks = PostgresNumber(connection, told.substr(0, blank));
    Begin(connection);
    connection.Run("SET TRANSACTION SNAPSHOT " + PostgresLiteral(told.substr(blank + 1)));
    return snapshot;
}

}  // namespace

PostgresSnapshot BeginPostgresSnapshot(PostgresConnection &connection, const Job &job, int part,
                                       int parts, uint32_t table)
{
    PostgresSnapshot snapshot;
    if (part == 1) {
        Begin(connection);
        snapshot.blocks = BlocksOf(connection, table);
        if (parts > 1)
            Announce(connection, RunMark(job), snapshot.blocks);
    } else {
        snapshot = TakeOver(connection, WaitForFirst(connection, RunMark(job)));
    }
    snapshot.horizon = PostgresNumber(
        connection, connection.Value("SELECT txid_snapshot_xmin(txid_current_snapshot())"));
    return snapshot;
}

uint64_t PostgresNumber(const PostgresConnection &connection, const std::string &text)
{
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        connection.Throw(fmt::format("{} sent no number where one must be", connection.shown()));
    return number;
}

}  // namespace fenwire
