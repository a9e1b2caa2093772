// host/targets/sqlite_binding.h - a row's values as parameters of an insert.
//
// How a column's values go in is decided once, by its type and by what the table's column makes of what it is
// given. Exact numbers go in as integers where they are whole, as floating point up to 15 digits, and as
// text where the table keeps text; what the table would round is refused.

#ifndef FENWIRE_HOST_TARGETS_SQLITE_BINDING_H
#define FENWIRE_HOST_TARGETS_SQLITE_BINDING_H

#include <sqlite3.h>
#include <string>
#include <vector>

#include "host/job/job.h"
#include "host/sqlite/sqlite_types.h"
#include "host/streams/row_record.h"
#include "host/values/values.h"

namespace fenwire {

struct SqliteMisfit {
    std::string words;
};

class SqliteBinding {
public:
    explicit SqliteBinding(const Job &job);

    // affinities: of the table's columns, in the job's order. rows: bound at most before they are inserted.
    void Begin(const std::vector<SqliteAffinity> &affinities, size_t rows);

    // Binds behind parameter `at`, which moves on; 0 begins an insert. The row must stay where it is until the
    // insert is done. A code of SQLite; throws SqliteMisfit for a value that the table would change.
    int Bind(sqlite3_stmt *insert, int &at, const RowRecord &row);

    bool IsText(uint32_t column) const { return IsPlainText(columns_[column].type); }
    // For messages.
    std::string Shown(uint32_t column, const uint8_t *value, uint32_t bytes) const;

private:
    enum class Way : uint8_t {
        Text,
        Text16,
        Integer,
        WholeReal,
        Real,
        Blob,
        Words,
        Exact,
        Graphic
    };
    struct Bound {
        std::string name;
        ValueType type;
        Way way = Way::Text;
        SqliteAffinity affinity = SqliteAffinity::None;
    };

    static Way WayOf(const ValueType &type, SqliteAffinity affinity);
    int BindValue(sqlite3_stmt *insert, int at, const Bound &column, const uint8_t *value,
                  uint32_t bytes);
    int BindExact(sqlite3_stmt *insert, int at, const Bound &column, const uint8_t *value,
                  uint32_t bytes);
    int BindReal(sqlite3_stmt *insert, int at, const Bound &column, const uint8_t *value,
                 uint32_t bytes);
    int BindWords(sqlite3_stmt *insert, int at, const Bound &column, const uint8_t *value,
                  uint32_t bytes);
    [[noreturn]] static void Refuse(const Bound &column, const uint8_t *value, uint32_t bytes,
                                    const char *why);

    std::vector<Bound> columns_;
    std::vector<char> words_;  // texts of values that are bound, until they are inserted
    size_t words_used_ = 0;
};

}  // namespace fenwire

#endif
