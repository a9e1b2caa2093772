// host/sources/postgres_snapshot.h - one state of a PostgreSQL database for all parts that read it.
//
// Part 1 exports its snapshot; the others, which are other processes, take it over. They learn its name from the
// server itself: part 1 tells it in its application_name, which sessions of the same role see. With it go the
// blocks of the table, which no snapshot holds still.

#ifndef FENWIRE_HOST_SOURCES_POSTGRES_SNAPSHOT_H
#define FENWIRE_HOST_SOURCES_POSTGRES_SNAPSHOT_H

#include <cstdint>
#include <string>

#include "host/job/job.h"
#include "host/postgres/postgres_connection.h"

namespace fenwire {

struct PostgresSnapshot {
    // Every transaction below this number was over: what it left is seen, or is no more.
    uint64_t horizon = 0;
    uint64_t blocks = 0;  // of the table, when it began
};

// Begins the transaction in which this part reads. table: OID whose blocks are shared; 0: none are. Parts
// other than the first wait until that has begun. Throws SourceError.
PostgresSnapshot BeginPostgresSnapshot(PostgresConnection &connection, const Job &job, int part,
                                       int parts, uint32_t table);

// A number that the server wrote as text.
uint64_t PostgresNumber(const PostgresConnection &connection, const std::string &text);

}  // namespace fenwire

#endif
