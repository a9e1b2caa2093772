// host/sources/postgres_copy.cpp - the rows that a server sends for COPY .. TO STDOUT in binary form.

#include "host/sources/postgres_copy.h"

#include <fmt/format.h>

#include "host/sources/source.h"

namespace fenwire {

namespace {

constexpr std::string_view kSignature("PGCOPY\n\377\r\n\0", 11);
constexpr uint32_t kFlagsToKnow = 0xFFFF0000;  // who does not know them can't read on

}  // namespace

void PostgresCopy::Begin(PostgresConnection &connection, const std::string &select, size_t fields)
{
    connection_ = &connection;
    fields_ = fields;
    const PostgresResult begun =
        connection.Run(fmt::format("COPY ({}) TO STDOUT (FORMAT binary)", select));
    if (begun.status() != PGRES_COPY_OUT)
        connection.Throw(fmt::format("{} sends no rows", connection.shown()));
}

bool PostgresCopy::Next(PostgresFields &row)
{
    while (!ended_) {
        char *message = nullptr;
        const int bytes = PQgetCopyData(connection_->get(), &message, 0);
        message_.reset(message);
        if (bytes < 0) {
            End();
            return false;
        }
        std::string_view rest(message, static_cast<size_t>(bytes));
        if (header_)
            SkipHeader(rest);
        if (rest.empty())
            continue;
        row = PostgresFields(rest);
        const auto count = row.Number<int16_t>();
        trailer_ = count == -1;
        if (trailer_)
            continue;
        if (count != static_cast<int64_t>(fields_))
            RefuseNonsense();
        return true;
    }
    return false;
}

void PostgresCopy::SkipHeader(std::string_view &bytes)
{
    header_ = false;
    if (!bytes.starts_with(kSignature))
        RefuseNonsense();
    bytes.remove_prefix(kSignature.size());
    PostgresFields words(bytes);
    const auto flags = words.Number<uint32_t>();
    const auto extension = words.Number<uint32_t>();
    const size_t length = 2 * sizeof(uint32_t) + size_t{extension};
    if ((flags & kFlagsToKnow) != 0 || bytes.size() < length)
        RefuseNonsense();
    bytes.remove_prefix(length);
}

// Only now it is known whether the server could send all.
void PostgresCopy::End()
{
    ended_ = true;
    while (PGresult *result = PQgetResult(connection_->get())) {
        const PostgresResult last(result);
        if (last.status() != PGRES_COMMAND_OK)
            connection_->Fail(last);
    }
    if (connection_->broken())
        connection_->Fail(PostgresResult());
    if (!trailer_)
        RefuseNonsense();
}

void PostgresCopy::RefuseNonsense() const
{
    connection_->Throw(fmt::format("{} sent bytes that are no row", connection_->shown()));
}

}  // namespace fenwire
