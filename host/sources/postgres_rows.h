// host/sources/postgres_rows.h - rows of a binary COPY in a job's row layout.
//
// What is asked of the server for a column, and how its bytes become a value, is decided once: whole numbers, doubles,
// text and bytes come as they are, everything else as text, which host/values reads. Binary, since text then needs
// no escapes on one side and no search for them on the other.

#ifndef FENWIRE_HOST_SOURCES_POSTGRES_ROWS_H
#define FENWIRE_HOST_SOURCES_POSTGRES_ROWS_H

#include <string>
#include <string_view>
#include <vector>

#include "host/job/job.h"
#include "host/values/values.h"

namespace fenwire {

// What a server sends is no row. The bytes may be anything.
class PostgresNonsense : public std::exception {};

// The bytes of a row, field by field.
class PostgresFields {
public:
    PostgresFields() = default;
    explicit PostgresFields(std::string_view bytes) : rest_(bytes) {}

    // The next field's bytes; null data: NULL. Throws PostgresNonsense when there is none.
    std::string_view Next()
    {
        const auto length = Number<int32_t>();
        if (length == -1)
            return {};
        if (length < 0)
            throw PostgresNonsense();
        return Take(static_cast<size_t>(length));
    }
    template <class Integer>
    Integer Number()
    {
        return NumberIn<Integer>(Take(sizeof(Integer)));
    }
    bool AtEnd() const { return rest_.empty(); }

    // The number that a field holds, high byte first.
    template <class Integer>
    static Integer NumberIn(std::string_view field)
    {
        if (field.size() != sizeof(Integer))
            throw PostgresNonsense();
        uint64_t number = 0;
        for (const char byte : field)
            number = number << 8 | static_cast<uint8_t>(byte);
        return static_cast<Integer>(number);
    }

private:
    std::string_view Take(size_t bytes)
    {
        if (rest_.size() < bytes)
            throw PostgresNonsense();
        const std::string_view taken = rest_.substr(0, bytes);
        rest_.remove_prefix(bytes);
        return taken;
    }
    std::string_view rest_;
};

class PostgresRows {
public:
    explicit PostgresRows(bool utf16) : utf16_(utf16) {}

    // The job's next column, whose values come from a column of this type. What to ask the server for;
    // name: the column as SQL has it.
    std::string Add(const Column &column, uint32_t type_id, const std::string &name);

    // Hot. Writes the row of these fields, with room for the longest; how many bytes it has. 0: a value does
    // not fit its column, see Fault.
    size_t Write(PostgresFields fields, uint8_t *to);

    // Why the row that was to be written last was not: the column, the value and what would fit.
    std::string Fault() const;

    size_t columns() const { return slots_.size(); }

private:
    struct Slot;
    // Writes a value that is not NULL; null: it does not fit, and why is in misfit.
    using Put = uint8_t *(*)(const Slot &slot, std::string_view from, uint8_t *at, Misfit &misfit);
    struct Slot {
        Put put;
        uint32_t bytes, prefix;
        ValueType type;
        std::string name;
    };

    static uint8_t *PutText(const Slot &slot, std::string_view from, uint8_t *at, Misfit &misfit);
    static uint8_t *PutInteger(const Slot &slot, std::string_view from, uint8_t *at,
                               Misfit &misfit);
    static uint8_t *PutDouble(const Slot &slot, std::string_view from, uint8_t *at, Misfit &misfit);
    static uint8_t *PutBytes(const Slot &slot, std::string_view from, uint8_t *at, Misfit &misfit);
    static uint8_t *PutConverted(const Slot &slot, std::string_view from, uint8_t *at,
                                 Misfit &misfit);
    using Convert = Misfit (*)(const ValueType &, std::string_view, uint8_t *, uint32_t *);
    static uint8_t *PutBy(Convert convert, const Slot &slot, std::string_view from, uint8_t *at,
                          Misfit &misfit);

    bool utf16_;
    std::vector<Slot> slots_;
    size_t faulty_ = 0;
    std::string_view at_fault_;
    Misfit misfit_ = Misfit::None;
};

}  // namespace fenwire

#endif
