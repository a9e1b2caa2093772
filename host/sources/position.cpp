// host/sources/position.cpp - places in a source as text.

#include "host/sources/position.h"

#include <charconv>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/sources/source.h"

namespace fenwire {

std::string_view PositionReader::Word()
{
    if (began_) {
        if (!rest_.starts_with(' '))
            Refuse();
        rest_.remove_prefix(1);
    }
    began_ = true;
    const std::string_view word = rest_.substr(0, rest_.find(' '));
    if (word.empty())
        Refuse();
    rest_.remove_prefix(word.size());
    return word;
}

template <std::integral Number>
Number PositionReader::Whole()
{
    const std::string_view word = Word();
    Number number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size())
        Refuse();
    return number;
}

template int64_t PositionReader::Whole<int64_t>();
template uint64_t PositionReader::Whole<uint64_t>();
template uint32_t PositionReader::Whole<uint32_t>();

void PositionReader::End() const
{
    if (!rest_.empty())
        Refuse();
}

void PositionReader::Refuse() const
{
    throw SourceError(fmt::format("{} in the checkpoint is no place in this part of the source; "
                                  "the job can only begin anew",
                                  Quoted(whole_)));
}

}  // namespace fenwire
