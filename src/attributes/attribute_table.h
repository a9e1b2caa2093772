// attributes/attribute_table.h - attributes as rows of a table, and the routine that reads a row.
//
// A row says everything that is regular about an attribute: name, kind, default, limits, who may give
// it, where the value goes, how it is echoed. What is peculiar to one attribute is a function in its
// row; what lies between two attributes is a row of its own, of kind Rule. The order of the rows is the
// order of reading, which is visible in the logs.
//
// A row is handled like this: asked for at all (wanted), fetched, side, length, value, store, on_given,
// echo. An absent attribute: 19201 when required, else the default is stored and on_absent runs.

#ifndef FENWIRE_ATTRIBUTES_ATTRIBUTE_TABLE_H
#define FENWIRE_ATTRIBUTES_ATTRIBUTE_TABLE_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <span>

#include "attributes/attributes_state.h"
#include "infrastructure/infrastructure.h"

enum class AttrKind : uint8_t {
    Integer,  // four bytes
    Text,     // at most what the target holds
    Word,     // one of a list, in any case
    YesNo,    // through FW_GetYN
    Refused,  // belongs to a feature that this version does not have
    Rule,     // no attribute: a step between attributes, with the name of what it settles
};
enum class Side : uint8_t { Both, ProducerOnly };

// Where the value goes: one constructor for each type of global, so a row can't name a wrong one.
struct AttrTarget {
    enum class Type : uint8_t { None, Integer, Counter, Small, Text };
    constexpr AttrTarget() = default;
    constexpr AttrTarget(int32_t *p) : type(Type::Integer), integer(p) {}
    constexpr AttrTarget(uint32_t *p) : type(Type::Counter), counter(p) {}
    constexpr AttrTarget(uint16_t *p) : type(Type::Small), small(p) {}
    template <size_t N>
    constexpr AttrTarget(char (*p)[N]) : type(Type::Text), text(*p), capacity(N)
    {
    }
    Type type = Type::None;
    int32_t *integer = nullptr;
    uint32_t *counter = nullptr;
    uint16_t *small = nullptr;
    char *text = nullptr;
    uint32_t capacity = 0;  // of text, with its terminating zero
};

struct AttrWord {
    const char *word;  // upper case
    int32_t value;
};
inline constexpr int32_t kFatalWord = INT_MIN;

struct AttributeRow {
    const char *name;
    AttrKind kind;
    AttrTarget target = {};
    int32_t absent = 0;     // the value when the job does not give the attribute
    bool required = false;  // absence is 19201
    int32_t minimum = INT_MIN, maximum = INT_MAX;  // outside is 19204
    int32_t limit = 0;   // most bytes of a text or word; 0: what the target holds
    bool exact = false;  // limit bytes, no fewer
    bool upper = false;  // a text is stored in upper case
    std::span<const AttrWord> words = {};
    const char *valid = nullptr;        // the right words, for 19205 and the log
    const char *valid_trace = nullptr;  // the log's own form of them
    AttrTarget keep = {};               // takes the recognised word itself
    int32_t unknown = kFatalWord;   // the value that an unknown word gives, if the job may go on
    int32_t mode = 0;               // yes/no: FW_GetYN's mode
    bool boxed = false;             // yes/no: echo as a box line
    Side side = Side::Both;         // given to the other side is 19230
    const char *feature = nullptr;  // what a refused attribute asks for
    const char *echo = nullptr;     // the private log's line: name and value
    bool (*wanted)() = nullptr;     // asked for only when this holds
    PxStatus (*on_given)() = nullptr;
    PxStatus (*on_absent)() = nullptr;
    PxStatus (*rule)() = nullptr;
};

inline constexpr int32_t kLongestWord = 255;

// An echo must print what its kind stores: "%s" for the name, then %d, %u or %s for the value.
constexpr bool EchoFitsKind(const AttributeRow &row)
{
    char conversions[4] = {};
    size_t count = 0;
    for (const char *p = row.echo; p != nullptr && *p != '\0'; ++p) {
        if (*p == '%' && count < 3)
            conversions[count++] = p[1];
    }
    if (row.echo == nullptr)
        return true;
    if (count != 2 || conversions[0] != 's')
        return false;
    return row.kind == AttrKind::Integer ? conversions[1] == 'd' || conversions[1] == 'u'
                                         : row.kind == AttrKind::Text && conversions[1] == 's';
}

// A row has what its kind needs. Every table is held to this where it is defined.
constexpr bool RowsAreSound(std::span<const AttributeRow> rows)
{
    for (const AttributeRow &row : rows) {
        using Type = AttrTarget::Type;  // sanitizers take no test of an address for a constant
        const AttrTarget &to = row.target;
        const bool number =
            to.type == Type::Integer || to.type == Type::Counter || to.type == Type::Small;
        const bool sound[] = {
            /* Integer */ number,
            /* Text    */ to.type == Type::Text && row.limit < static_cast<int32_t>(to.capacity),
            /* Word    */ number && row.limit > 0 && row.limit <= kLongestWord &&
                !row.words.empty() && row.valid != nullptr,
            /* YesNo   */ to.type == Type::Integer,
            /* Refused */ row.feature != nullptr,
            /* Rule    */ row.rule != nullptr,  // sanitizers want it local to its file
        };
        if (!sound[static_cast<size_t>(row.kind)] || !EchoFitsKind(row))
            return false;
    }
    return true;
}

// Reads the rows in their order, up to the first failure. 0, 16, 19 or 48, reported.
PxStatus ReadAttributes(std::span<const AttributeRow> rows);

// ---- For attributes that no row describes

// Fetches a value; its length is in PX_Len, which is never negative, and the pointer is valid until
// the next attribute is read. 0; 5: absent; 48: reported.
PxStatus FetchAttribute(const char *name, const void **value);

bool IsGiven(const char *name);  // the infrastructure has a value, of whatever kind

// 0, or 48 after 19202, when the value that was fetched last has more bytes than limit.
PxStatus CheckLength(const char *name, int32_t limit);

PxStatus NotAcceptedByConsumer(const char *name);  // 19230, fatal

// Copies at most room - 1 bytes in upper case and ends them with a zero.
void CopyUpper(char *to, size_t room, const void *from, int32_t length);

#endif
