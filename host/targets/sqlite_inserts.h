// host/targets/sqlite_inserts.h - rows as inserts into a table of SQLite, and refused ones in words.

#ifndef FENWIRE_HOST_TARGETS_SQLITE_INSERTS_H
#define FENWIRE_HOST_TARGETS_SQLITE_INSERTS_H

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "host/sqlite/sqlite_database.h"
#include "host/targets/sqlite_binding.h"
#include "host/targets/target.h"
#include "host/targets/text_check.h"

namespace fenwire {

class SqliteInserts {
public:
    SqliteInserts(const Job &job, std::filesystem::path file, std::string table);

    // The table is there and fits. The database stays open until End.
    void Begin(SqliteDatabase &database, const std::vector<SqliteAffinity> &affinities);
    void End() noexcept;

    // The rows are inserted when it returns. Throws TargetError for one that the table refuses.
    void Put(int instance, const RowBatch &rows);
    TargetReport Report() const;  // since Begin

private:
    static constexpr size_t kRowsAtOnce[] = {48, 8, 1};

    void Prepare();
    void CheckText(const RowRecord &row);
    void InsertWaiting();
    void Insert(const SqliteStatement &insert, const RowRecord *rows, size_t count);
    int Try(const SqliteStatement &insert, const RowRecord *rows, size_t count);
    int Bind(const SqliteStatement &insert, int &at, const RowRecord &row, size_t waiting);
    [[noreturn]] void Refuse(int code, const RowRecord *rows, size_t count);
    std::string ShowRow(const RowRecord &row) const;

    const Job job_;
    const std::filesystem::path file_;
    const std::string table_;
    const bool utf16_;
    SqliteBinding binding_;
    TextCheck text_check_;
    SqliteDatabase *database_ = nullptr;
    std::array<SqliteStatement, std::size(kRowsAtOnce)> inserts_;  // null: not for rows this wide
    std::array<RowRecord, kRowsAtOnce[0]> waiting_;
    size_t waits_ = 0;
    int instance_ = 0;
    std::vector<uint64_t> rows_of_;  // inserted, by instance
    TargetReport report_;
};

}  // namespace fenwire

#endif
