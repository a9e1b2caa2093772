// host/console/table.h - aligned columns that fit a screen.

#ifndef FENWIRE_HOST_CONSOLE_TABLE_H
#define FENWIRE_HOST_CONSOLE_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace fenwire {

struct TableColumn {
    std::string title;
    int drop = 0;  // where the screen is narrow the highest goes first; 0 stays
};

// The first column holds names: it stands to the left and is shortened in the middle where there is
// no room. The others stand to the right and are whole, or not there.
struct Table {
    std::vector<TableColumn> columns;
    std::vector<std::vector<std::string>>
        rows;  // a cell for each column; only names come from outside
};

// The title line and a line for each row. A long table is cut to its first and last rows, with a
// count of the rest between them. width 0: as wide as the table needs.
std::vector<std::string> TableLines(const Table &table, size_t width);

}  // namespace fenwire

#endif
