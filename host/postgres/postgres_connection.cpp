// host/postgres/postgres_connection.cpp

#include "host/postgres/postgres_connection.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <vector>

#include "host/job/words.h"
#include "host/sources/source.h"
#include "host/targets/target.h"

namespace fenwire {

namespace {

constexpr int kLeastVersion = 120000;          // generated columns came with it
constexpr const char *kLongestConnect = "30";  // seconds

// What a server or a user may have set that a long load does not survive, or whose values would read
// otherwise. Settings that a server does not know yet are left out.
constexpr const char *kSetUp =
    "SELECT set_config(s.name, v.value, false) FROM (VALUES ('DateStyle', 'ISO, YMD'), "
    "('IntervalStyle', 'postgres'), ('bytea_output', 'hex'), ('extra_float_digits', '3'), "
    "('statement_timeout', '0'), ('lock_timeout', '0'), "
    "('idle_in_transaction_session_timeout', '0'), ('idle_session_timeout', '0'), "
    "('transaction_timeout', '0'), ('client_connection_check_interval', '2s'), "
    "('default_transaction_isolation', 'read committed'), "
    "('default_transaction_read_only', 'off'), ('client_min_messages', 'error')) "
    "v(name, value) JOIN pg_catalog.pg_settings s ON lower(s.name) = lower(v.name)";

struct FreeOptions {
    void operator()(PQconninfoOption *options) const { PQconninfoFree(options); }
};
using Options = std::unique_ptr<PQconninfoOption, FreeOptions>;

Options ParseConnection(const std::string &connection)
{
    char *error = nullptr;
    Options options(PQconninfoParse(connection.c_str(), &error));
    PQfreemem(error);  // repeats parts of the string, which may be parts of a password
    return options;
}

// A password with an @ that is not written %40 ends too early, and its rest would be shown as a host.
bool HasLooseAt(std::string_view connection)
{
    for (const std::string_view scheme : {"postgresql://", "postgres://"}) {
        if (!connection.starts_with(scheme))
            continue;
        const std::string_view authority = connection.substr(scheme.size());
        return std::ranges::count(authority.substr(0, authority.find_first_of("/?")), '@') > 1;
    }
    return false;
}

// Several lines as one.
std::string OneLine(std::string_view text)
{
    std::string line;
    for (const char c : text) {
        const bool blank = c == '\n' || c == '\t' || c == ' ';
        if (!blank)
            line += c;
        else if (!line.empty() && !line.ends_with(' '))
            line += c == '\n' ? "; " : " ";
    }
    while (line.ends_with(' ') || line.ends_with(';'))
        line.pop_back();
    return Escaped(line);
}

std::string Field(const PGresult *result, int field)
{
    const char *text = PQresultErrorField(result, field);
    return text != nullptr ? OneLine(text) : "";
}

std::string Where(const PGconn *connection)
{
    const char *host = PQhost(connection);
    return fmt::format("database {} on {}", Quoted(PQdb(connection)),
                       host != nullptr && *host != '\0' ? Quoted(host) : "this machine");
}

}  // namespace

std::string_view PostgresResult::At(int row, int column) const
{
    return {PQgetvalue(get(), row, column), static_cast<size_t>(PQgetlength(get(), row, column))};
}

uint64_t PostgresResult::RowsChanged() const
{
    const std::string_view text = PQcmdTuples(get());
    uint64_t rows = 0;
    std::from_chars(text.data(), text.data() + text.size(), rows);
    return rows;
}

std::string_view PostgresResult::State() const
{
    const char *state = PQresultErrorField(get(), PG_DIAG_SQLSTATE);
    return state != nullptr ? state : "";
}

std::string_view PostgresResult::Context() const
{
    const char *context = PQresultErrorField(get(), PG_DIAG_CONTEXT);
    return context != nullptr ? context : "";
}

PostgresConnection::PostgresConnection(const std::string &connection, Access access)
    : access_(access), shown_("the database")
{
    Connect(connection);
    RequireVersion();
    SetUp();
}

void PostgresConnection::Connect(const std::string &connection)
{
    const Options options = ParseConnection(connection);
    if (!options)
        Throw("connection can't be read; give it as \"host=db1 dbname=sales user=loader\" or "
              "\"postgresql://loader@db1/sales\", a word with blanks in single quotes");
    if (HasLooseAt(connection))
        Throw("connection has more than one @; write one that belongs to the password as %40");
    // Later ones win, so the string's own wait, but not its encoding.
    const char *const keys[] = {"fallback_application_name", "connect_timeout", "dbname",
                                "client_encoding", nullptr};
    const char *const values[] = {"fenwire", kLongestConnect, connection.c_str(), "UTF8", nullptr};
    connection_.reset(PQconnectdbParams(keys, values, 1));
    if (connection_ == nullptr)
        throw std::bad_alloc();
    if (broken())
        Throw(fmt::format("no connection to PostgreSQL: {}", OneLine(PQerrorMessage(get()))));
    shown_ = Where(get());
}

void PostgresConnection::RequireVersion() const
{
    const int version = PQserverVersion(get());
    if (version < kLeastVersion)
        Throw(fmt::format("{} has PostgreSQL {}; version {} or a later one is wanted", shown_,
                          version / 10000, kLeastVersion / 10000));
}

void PostgresConnection::SetUp()
{
    PQsetNoticeProcessor(
        get(), [](void *, const char *) {}, nullptr);
    Run(kSetUp);
    if (access_ == Access::Read)
        Run("SET default_transaction_read_only = on");
}

PostgresResult PostgresConnection::Try(const std::string &sql,
                                       std::initializer_list<std::string> values)
{
    std::vector<const char *> texts;
    for (const std::string &value : values)
        texts.push_back(value.c_str());
    return PostgresResult(PQexecParams(get(), sql.c_str(), static_cast<int>(texts.size()), nullptr,
                                       texts.data(), nullptr, nullptr, 0));
}

PostgresResult PostgresConnection::Run(const std::string &sql,
                                       std::initializer_list<std::string> values)
{
    PostgresResult result = Try(sql, values);
    switch (result.status()) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
    case PGRES_COPY_IN:
    case PGRES_COPY_OUT:
        return result;
    default:
        Fail(result);
    }
}

std::string PostgresConnection::Value(const std::string &sql,
                                      std::initializer_list<std::string> values)
{
    const PostgresResult result = Run(sql, values);
    return result.rows() > 0 ? result.Text(0, 0) : "";
}

std::string PostgresConnection::Words(const PostgresResult &result) const
{
    if (broken())
        return fmt::format("the connection broke: {}; what was not committed is undone",
                           OneLine(PQerrorMessage(get())));
    std::string words = Field(result.get(), PG_DIAG_MESSAGE_PRIMARY);
    if (words.empty())
        return OneLine(PQerrorMessage(get()));
    if (const std::string detail = Field(result.get(), PG_DIAG_MESSAGE_DETAIL); !detail.empty())
        words += ": " + detail;
    if (const std::string hint = Field(result.get(), PG_DIAG_MESSAGE_HINT); !hint.empty())
        words += fmt::format(" ({})", hint);
    return words;
}

void PostgresConnection::Fail(const PostgresResult &result) const
{
    Throw(fmt::format("{}: {}", shown_, Words(result)));
}

void PostgresConnection::Throw(const std::string &words) const
{
    if (access_ == Access::Read)
        throw SourceError(words);
    throw TargetError(words);
}

std::string WithoutPassword(const std::string &connection)
{
    const Options options = ParseConnection(connection);
    std::string text;
    for (const PQconninfoOption *option = options.get();
         option != nullptr && option->keyword != nullptr; ++option) {
        const std::string_view keyword = option->keyword;
        if (option->val != nullptr && keyword != "password" && keyword != "sslpassword")
            text += fmt::format("{}{}={}", text.empty() ? "" : " ", keyword,
                                PostgresLiteral(option->val));
    }
    return text;
}

std::string PostgresLiteral(std::string_view text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted.append(c == '\'' ? 2 : 1, c);
    return quoted + '\'';
}

}  // namespace fenwire
