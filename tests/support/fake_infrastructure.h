// tests/support/fake_infrastructure.h - the infrastructure as a unit test plays it, in one process.
//
//     Fake fake;                                   // an instance: producer 1 of 1
//     fake.integer["SkipRows"] = 2;
//     fake.text["FileName"] = "a.csv";
//     PX_Initiate(fake.op(), 1);
//     EXPECT_EQ(fake.public_log, "19201(FileName) 19015(12) ");
//
// A test is a process of its own, so nothing has to be put back.

#ifndef FENWIRE_TESTS_SUPPORT_FAKE_INFRASTRUCTURE_H
#define FENWIRE_TESTS_SUPPORT_FAKE_INFRASTRUCTURE_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fenwire/infrastructure.h"

struct FakeColumn {
    std::string name;
    uint32_t type = 7;
    uint32_t length = 10;
    uint32_t metadata = 0;
    uint16_t precision = 0, scale = 0;
    const char *input_format = nullptr, *output_format = nullptr;  // of dates
};

// A row as PX_GetRow hands it out. What it says of itself may be made to lie.
struct FakeRow {
    std::vector<uint8_t> bytes;  // indicator bytes, then the columns behind their length prefixes
    std::vector<uint8_t> indicators;
    std::vector<uint32_t> offsets, lengths;
    int32_t columns = 0;
    uint32_t length = 0;
    bool complete = true;  // false: there is no array of offsets
};

class Fake {
public:
    Fake();  // with the attributes that every infrastructure supplies
    PxOperator *op() { return &handle_.object; }

    // What the operator is given.
    std::map<std::string, int32_t> integer;
    std::map<std::string, std::string> text;
    std::set<std::string> lists;              // attributes that answer 13
    std::map<std::string, PxStatus> failing;  // service or "PX_GetAttribute:Name" -> its status
    std::vector<FakeColumn> columns;
    PxStatus put_row_status = PXSTC_Success;
    std::vector<FakeRow> stream;  // of PX_GetRow, which then fails, or answers the end of data
    // A row of the schema's columns from their bytes; nullopt is NULL.
    FakeRow Row(const std::vector<std::optional<std::string>> &values) const;
    size_t rows_taken() const { return next_row_; }
    std::optional<std::string> restart_record;  // handed out once

    // What the operator did.
    std::string public_log;   // "19222(1,/in/a.csv) ": number and arguments without the leader
    std::string last_leader;  // of the last public message
    bool Told(const std::string &words) const
    {
        return public_log.find(words) != std::string::npos;
    }
    std::string private_log;  // lines without their prefix
    bool Traced(const std::string &words) const
    {
        return private_log.find(words) != std::string::npos;
    }
    std::string private_prefixes;
    std::string console;
    std::string private_log_name;
    int exit_code = 0;
    std::vector<std::string>
        rows;  // "a|NULL|c": the columns of each row that was put; or its bytes
    std::vector<std::string> statistics;  // "125=0"
    std::vector<PxFileCounts> file_counts;
    std::map<std::string, std::vector<std::string>> globals;  // elements
    std::vector<std::string> written_records;                 // of checkpoints
    std::vector<std::string> calls;  // every service but attribute reads, log writes and rows

private:
    struct Handle {
        PxOperator object;
        Fake *fake;
    } handle_ = {};
    struct SchemaHandle {
        PxSchema object;
        Fake *fake;
    } schema_ = {};
    struct LogHandle {
        PxLog object;
        Fake *fake;
        bool is_private;
    } public_ = {}, private_ = {};
    struct ColumnHandle {
        PxColumn object;
        Fake *fake;
        size_t index;
    };
    std::vector<ColumnHandle> column_handles_;
    std::vector<PxColumn *> column_list_;
    PxSchema *schema_list_[1] = {};
    size_t next_row_ = 0;
    std::string kept_;         // the value handed out last
    std::string kept_record_;  // the record; gone with the next update of a variable

    PxStatus Fail(const char *service);
    std::string *Element(const char *name, uint32_t index);
    static Fake &Of(PxOperator *op) { return *reinterpret_cast<Handle *>(op)->fake; }
    static Fake &Of(PxSchema *schema) { return *reinterpret_cast<SchemaHandle *>(schema)->fake; }
    static LogHandle &Of(PxLog *log) { return *reinterpret_cast<LogHandle *>(log); }
    static ColumnHandle &Of(PxColumn *column) { return *reinterpret_cast<ColumnHandle *>(column); }
    void FillOperator();
    void FillSchema();
};

#endif
