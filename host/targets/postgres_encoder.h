// host/targets/postgres_encoder.h - a job's rows as what COPY takes.
//
// Text columns go as text, which the server reads about as fast as anything and puts into a column of any type.
// Once a job has values that are no text, and each column has a binary form for its own, all of them go in
// binary, so that nobody writes numbers out for the other side to read.

#ifndef FENWIRE_HOST_TARGETS_POSTGRES_ENCODER_H
#define FENWIRE_HOST_TARGETS_POSTGRES_ENCODER_H

#include <string>
#include <string_view>
#include <vector>

#include "host/job/job.h"
#include "host/postgres/postgres_binary.h"
#include "host/postgres/postgres_table.h"
#include "host/streams/row_record.h"
#include "host/values/values.h"

namespace fenwire {

// A value that the server can't take.
struct PostgresMisfit {
    std::string words;
};

class PostgresEncoder {
public:
    explicit PostgresEncoder(const Job &job);

    // The table's columns, in the job's order.
    void Begin(const std::vector<const PostgresColumn *> &columns);

    bool binary() const { return binary_; }
    std::string_view Head() const;  // in front of a COPY's first row
    std::string_view Tail() const;  // behind its last one

    // Bytes that the row needs at most.
    size_t Room(const RowRecord &row) const { return 2 * row.data_bytes() + row_room_; }
    // Hot. The row at `to`; its end. Throws PostgresMisfit.
    char *Put(const RowRecord &row, char *to);

private:
    enum class Way : uint8_t { Text, Utf16, Hex, Words, Interval };  // of text
    struct Sent {
        std::string name;
        ValueType type;
        Way way = Way::Text;
        PgForm form = PgForm::Bytes;
    };

    static Way WayOf(const ValueType &type, const PostgresColumn &column);
    char *PutText(const RowRecord &row, char *to);
    char *PutPlainText(const RowRecord &row, char *to) const;
    char *PutTextValue(const Sent &column, const uint8_t *value, uint32_t bytes, char *to);
    char *PutBinary(const RowRecord &row, char *to);
    char *PutBinaryValue(const Sent &column, const uint8_t *value, uint32_t bytes, char *to);
    const std::string &Utf8(const Sent &column, const uint8_t *value, uint32_t bytes);
    [[noreturn]] static void Refuse(const Sent &column, const uint8_t *value, uint32_t bytes);

    std::vector<Sent> columns_;
    bool binary_ = false, all_text_ = false;
    size_t row_room_ = 0;
    std::string utf8_;
};

}  // namespace fenwire

#endif
