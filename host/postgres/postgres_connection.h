// host/postgres/postgres_connection.h - a connection to a PostgreSQL server, whose errors are words for users.

#ifndef FENWIRE_HOST_POSTGRES_POSTGRES_CONNECTION_H
#define FENWIRE_HOST_POSTGRES_POSTGRES_CONNECTION_H

#include <initializer_list>
#include <libpq-fe.h>
#include <memory>
#include <string>
#include <string_view>

namespace fenwire {

// What a statement came back with.
class PostgresResult {
public:
    explicit PostgresResult(PGresult *result = nullptr) : result_(result) {}

    PGresult *get() const { return result_.get(); }
    ExecStatusType status() const { return PQresultStatus(get()); }
    int rows() const { return PQntuples(get()); }
    bool IsNull(int row, int column) const { return PQgetisnull(get(), row, column) != 0; }
    std::string_view At(int row,
                        int column) const;  // its bytes; empty for NULL. As long as the result
    std::string Text(int row, int column) const { return std::string(At(row, column)); }
    uint64_t RowsChanged() const;  // of an INSERT, a DELETE, a COPY

    // Of a result that is an error.
    std::string_view State() const;  // SQLSTATE; empty: the connection broke
    std::string_view Context() const;

private:
    struct Clear {
        void operator()(PGresult *result) const { PQclear(result); }
    };
    std::unique_ptr<PGresult, Clear> result_;
};

// Members throw but where it is said: SourceError from a connection to read, TargetError from others.
class PostgresConnection {
public:
    enum class Access : uint8_t { Write, Read };

    // connection: "key=value .." or a URI, completed by the environment as all PostgreSQL programs do it.
    // Text goes to and fro in UTF-8, dates in ISO form. Waits at most 30 s unless the string says otherwise.
    PostgresConnection(const std::string &connection, Access access);

    PGconn *get() const { return connection_.get(); }

    // One statement, and parameters for its $1, $2 .. (text). What is no success is thrown.
    PostgresResult Run(const std::string &sql, std::initializer_list<std::string> values = {});
    // The same for one that only ever returns a value; empty for no row or NULL.
    std::string Value(const std::string &sql, std::initializer_list<std::string> values = {});
    // The same, and the result whatever it is.
    PostgresResult Try(const std::string &sql, std::initializer_list<std::string> values = {});

    bool broken() const { return PQstatus(get()) != CONNECTION_OK; }
    const std::string &shown() const { return shown_; }  // "database \"sales\" on \"db1\""

    // In words, with the database: what the server said, its detail and its hint, or that it is gone.
    [[noreturn]] void Fail(const PostgresResult &result) const;
    [[noreturn]] void Throw(const std::string &words) const;
    // Only what the server said.
    std::string Words(const PostgresResult &result) const;

private:
    void Connect(const std::string &connection);
    void RequireVersion() const;
    void SetUp();

    struct Finish {
        void operator()(PGconn *connection) const { PQfinish(connection); }
    };
    Access access_;
    std::string shown_;
    std::unique_ptr<PGconn, Finish> connection_;
};

// The connection string without its password, for what is kept or compared; empty: it can't be read.
std::string WithoutPassword(const std::string &connection);

// Text as a literal: 'it''s'. For the few statements that take no parameters.
std::string PostgresLiteral(std::string_view text);

}  // namespace fenwire

#endif
