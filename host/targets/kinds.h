// host/targets/kinds.h - what the rows of kTargets point at.

#ifndef FENWIRE_HOST_TARGETS_KINDS_H
#define FENWIRE_HOST_TARGETS_KINDS_H

#include "host/targets/target.h"

namespace fenwire {

std::unique_ptr<Target> MakeNullTarget(const Job &job);

std::unique_ptr<Target> MakePrintTarget(const Job &job);
void CheckPrintSettings(const Job &job, std::vector<Complaint> &found);

std::unique_ptr<Target> MakeSqliteTarget(const Job &job);
void CheckSqliteSettings(const Job &job, std::vector<Complaint> &found);
CheckpointPlace SqlitePlace(const Job &job);
std::vector<Column> SqliteTargetColumns(const Job &job);
std::optional<StoredGeneration> FindInSqlite(const Job &job, const std::string &run,
                                             bool at_work = false);
void ForgetInSqlite(const Job &job, const std::string &run);

std::unique_ptr<Target> MakePostgresTarget(const Job &job);
void CheckPostgresSettings(const Job &job, std::vector<Complaint> &found);
std::vector<Column> PostgresTargetColumns(const Job &job);
std::optional<StoredGeneration> FindPostgresGeneration(const Job &job, const std::string &run,
                                                       bool at_work);
void ForgetPostgresGeneration(const Job &job, const std::string &run);

}  // namespace fenwire

#endif
