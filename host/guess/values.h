// host/guess/values.h - what a single value looks like, and what the values of a column have in common.

#ifndef FENWIRE_HOST_GUESS_VALUES_H
#define FENWIRE_HOST_GUESS_VALUES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fenwire {

enum class Look : uint8_t {
    Empty,
    Whole,         // digits, with a sign perhaps
    LeadingZeros,  // digits that lose something as a number
    Decimal,       // 1.5, 1e9
    DecimalComma,  // 1,5
    Date,          // of a row in kDateFormats, date or time
    Text,
};
inline constexpr size_t kLooks = static_cast<size_t>(Look::Text) + 1;

struct Seen {
    Look look = Look::Empty;
    uint32_t date_formats = 0;  // a bit for each row of kDateFormats that fits
};

Seen LookAt(std::string_view value);

// The looks of many values.
class Tally {
public:
    void Add(const Seen &seen);
    uint64_t values() const { return values_; }  // with the empty ones
    uint64_t empty() const { return count(Look::Empty); }
    // All values that are not empty are numbers or dates, but for at most one in ten.
    bool Typed() const;
    // "whole numbers", "dates as YYYY-MM-DD"; empty: nothing in common.
    std::string Words() const;

private:
    uint64_t count(Look look) const { return counts_[static_cast<size_t>(look)]; }
    std::array<uint64_t, kLooks> counts_ = {};
    uint64_t values_ = 0;
    uint32_t date_formats_ = ~0U;
};

}  // namespace fenwire

#endif
