// host/job/column_syntax.h - "id VARCHAR(12)" as a column.

#ifndef FENWIRE_HOST_JOB_COLUMN_SYNTAX_H
#define FENWIRE_HOST_JOB_COLUMN_SYNTAX_H

#include <string_view>
#include <vector>

#include "host/job/job.h"

namespace fenwire {

inline constexpr uint32_t kMaxColumnBytes = 64000;

// A name, plain or in double quotes ("" for one of them), blanks, and a type. What is wrong goes to found
// and false comes back.
bool ParseColumn(std::string_view text, SourcePosition at, Column &column,
                 std::vector<Complaint> &found);

// The two halves, for columns that are given as tables.
bool CheckColumnName(std::string_view name, SourcePosition at, std::vector<Complaint> &found);
bool ParseColumnType(std::string_view text, SourcePosition at, Column &column,
                     std::vector<Complaint> &found);

}  // namespace fenwire

#endif
