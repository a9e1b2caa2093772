// host/targets/text_check.cpp

#include "host/targets/text_check.h"

#include <cstring>
#include <fmt/format.h>

#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr uint64_t kTops = 0x8080808080808080, kOnes = 0x0101010101010101;

// A top bit where a byte is NUL or above 0x7F. Above a NUL further bits may be set: that is as good.
uint64_t Odd(uint64_t eight) { return (eight | (eight - kOnes)) & kTops; }

uint64_t Load(const char *from, size_t bytes)
{
    uint64_t eight = kOnes;
    memcpy(&eight, from, bytes);
    return eight;
}

std::string Values(uint64_t count)
{
    return count == 1 ? "one value" : fmt::format("{} values", count);
}

}  // namespace

bool TextCheck::IsPlain(const char *data, size_t length)
{
    uint64_t odd = 0;
    size_t at = 0;
    for (; at + 8 <= length; at += 8)
        odd |= Odd(Load(data + at, 8));
    return (odd | Odd(Load(data + at, length - at))) == 0;
}

bool TextCheck::IsUtf8Text(std::string_view value)
{
    while (!value.empty()) {
        const size_t length = Utf8Length(value);
        if (length == 0)
            return false;
        value.remove_prefix(length);
    }
    return true;
}

std::string TextCheck::Warning() const
{
    std::string words;
    if (malformed_ > 0)
        words =
            fmt::format("{} stored that {} not valid UTF-8, first {}: check that charset in [job] "
                        "is that of the files",
                        Values(malformed_), malformed_ == 1 ? "is" : "are", first_malformed_);
    if (with_nul_ > 0)
        words +=
            fmt::format("{}{} stored with a NUL byte, where many programs end a text, first {}",
                        words.empty() ? "" : "; ", Values(with_nul_), first_nul_);
    return words;
}

}  // namespace fenwire
