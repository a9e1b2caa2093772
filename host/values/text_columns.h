// host/values/text_columns.h - columns that a database tells of, for a job.

#ifndef FENWIRE_HOST_VALUES_TEXT_COLUMNS_H
#define FENWIRE_HOST_VALUES_TEXT_COLUMNS_H

#include <optional>
#include <string>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

// Replaces types that the job's formats can't hold by VARCHAR (CHAR for text records) that is wide enough for
// each of their values as text. Bytes that are to be written as text stay as they are: a job with them is
// refused.
std::vector<Column> ColumnsForFormat(const Job &job, std::vector<Column> columns);

// A column of a type in the words of a job file; nothing where it is none.
std::optional<Column> ColumnIfWords(const std::string &name, const std::string &type);
Column ColumnOfWords(const std::string &name, const std::string &type);

}  // namespace fenwire

#endif
