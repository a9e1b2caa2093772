// host/sources/kinds.h - what the rows of kSources point at.

#ifndef FENWIRE_HOST_SOURCES_KINDS_H
#define FENWIRE_HOST_SOURCES_KINDS_H

#include "host/sources/source.h"

namespace fenwire {

inline constexpr size_t kBatchBytes =
    64 * 1024;  // that a source hands out in one call, and a little more

std::unique_ptr<Source> MakeGeneratorSource(const Job &job);
void CheckGeneratorSettings(const Job &job, std::vector<Complaint> &found);

std::unique_ptr<Source> MakeStdinSource(const Job &job);
void CheckStdinSettings(const Job &job, std::vector<Complaint> &found);

std::unique_ptr<Source> MakeSqliteSource(const Job &job);
void CheckSqliteSourceSettings(const Job &job, std::vector<Complaint> &found);
std::vector<Column> SqliteSourceColumns(const Job &job);

std::unique_ptr<Source> MakePostgresSource(const Job &job);
void CheckPostgresSourceSettings(const Job &job, std::vector<Complaint> &found);
std::vector<Column> PostgresSourceColumns(const Job &job);

}  // namespace fenwire

#endif
