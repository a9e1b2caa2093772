// host/sources/named_columns.h - columns that a job names, among those that a table or a query has.

#ifndef FENWIRE_HOST_SOURCES_NAMED_COLUMNS_H
#define FENWIRE_HOST_SOURCES_NAMED_COLUMNS_H

#include <string>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

// "a, b, c"
std::string ShownNames(const std::vector<std::string> &names);

// Which of the names the column is, whatever the case of its letters. Throws SourceError when there is none, or
// several that could be it. what: "table \"t\"".
size_t FindNamedColumn(const std::vector<std::string> &names, const std::string &column,
                       const std::string &what);

// Complaints about table and query, which exclude each other. range_key: which setting names the column by
// whose ranges instances share a query.
void CheckTableOrQuery(const Job &job, const char *range_key, std::vector<Complaint> &found);

}  // namespace fenwire

#endif
