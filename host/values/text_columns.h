// host/values/text_columns.h - columns of a database in a format that can't hold their types.

#ifndef FENWIRE_HOST_VALUES_TEXT_COLUMNS_H
#define FENWIRE_HOST_VALUES_TEXT_COLUMNS_H

#include <vector>

#include "host/job/job.h"

namespace fenwire {

// Replaces types that the job's formats can't hold by VARCHAR (CHAR for text records) that is wide enough for
// each of their values as text. Bytes that are to be written as text stay as they are: a job with them is
// refused.
std::vector<Column> ColumnsForFormat(const Job &job, std::vector<Column> columns);

}  // namespace fenwire

#endif
