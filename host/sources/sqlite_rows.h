// host/sources/sqlite_rows.h - rows of an SQLite statement in a job's row layout.
//
// How a column's values are written is decided once. A value goes from SQLite to the row: numbers and text of
// the column's own kind without a detour, all others through the conversions of host/values.

#ifndef FENWIRE_HOST_SOURCES_SQLITE_ROWS_H
#define FENWIRE_HOST_SOURCES_SQLITE_ROWS_H

#include <span>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "host/job/job.h"
#include "host/values/values.h"

namespace fenwire {

class SqliteRows {
public:
    using Values = std::span<sqlite3_value *const>;

    SqliteRows(const std::vector<Column> &columns, bool utf16);

    // The values of a statement's row, by column. They hold until its next step.
    Values ValuesOf(sqlite3_stmt *statement);

    // Hot. Writes a row of one value for each column, with room for the longest; how many bytes it has. 0: a
    // value does not fit its column, see Fault.
    size_t Write(Values values, uint8_t *to);

    // Why the row of these values was not written: the column, the value and what would fit.
    std::string Fault(Values values) const;

private:
    struct Slot;
    // Writes a value of this type, not NULL; null: it does not fit, and why is in misfit.
    using Put = uint8_t *(*)(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                             Misfit &misfit);
    struct Slot {
        Put put;
        uint32_t bytes, prefix;
        ValueType type;
        std::string name;
    };

    static Put PutOf(const ValueType &type, uint32_t prefix);
    static uint8_t *PutText(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                            Misfit &misfit);
    template <class Integer>
    static uint8_t *PutInteger(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                               Misfit &misfit);
    static uint8_t *PutFloat(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                             Misfit &misfit);
    static uint8_t *PutAny(const Slot &slot, int type, sqlite3_value *from, uint8_t *at,
                           Misfit &misfit);
    static Misfit Convert(const ValueType &type, sqlite3_value *from, uint8_t *to, uint32_t *bytes);

    std::vector<Slot> slots_;
    std::vector<sqlite3_value *> values_;
    size_t faulty_ = 0;
    Misfit misfit_ = Misfit::None;
};

}  // namespace fenwire

#endif
