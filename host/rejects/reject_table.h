// host/rejects/reject_table.h - bad records as a table for a person.

#ifndef FENWIRE_HOST_REJECTS_REJECT_TABLE_H
#define FENWIRE_HOST_REJECTS_REJECT_TABLE_H

#include <string>
#include <vector>

#include "host/rejects/reject_reader.h"

namespace fenwire {

// A title and a line for each. Nothing of what the data hold can drive a terminal. A narrow screen
// loses the offset, then the file, then what became of the row. width 0: no limit.
std::vector<std::string> RejectTableLines(const std::vector<RejectEntry> &entries, size_t width);

}  // namespace fenwire

#endif
