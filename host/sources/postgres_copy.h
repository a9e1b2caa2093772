// host/sources/postgres_copy.h - the rows that a server sends for COPY .. TO STDOUT in binary form.

#ifndef FENWIRE_HOST_SOURCES_POSTGRES_COPY_H
#define FENWIRE_HOST_SOURCES_POSTGRES_COPY_H

#include <string>

#include "host/postgres/postgres_connection.h"
#include "host/sources/postgres_rows.h"

namespace fenwire {

class PostgresCopy {
public:
    // select: what gives rows of so many fields. Members throw SourceError.
    void Begin(PostgresConnection &connection, const std::string &select, size_t fields);

    // Hot. The next row, whose bytes hold until the next call. False: there is none, and the server says
    // that these were all.
    bool Next(PostgresFields &row);

    [[noreturn]] void RefuseNonsense() const;

private:
    void SkipHeader(std::string_view &bytes);
    void End();

    struct Free {
        void operator()(char *message) const { PQfreemem(message); }
    };
    PostgresConnection *connection_ = nullptr;
    size_t fields_ = 0;
    bool header_ = true, trailer_ = false, ended_ = false;
    std::unique_ptr<char, Free> message_;  // libpq makes one for each row
};

}  // namespace fenwire

#endif
