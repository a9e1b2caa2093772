// host/sources/position.h - places in a source as text: words and whole numbers with one blank between them.
//
// A place comes back from a store, perhaps years later. Whoever reads one takes exactly the words that its
// writer put, and checks what they say against the source itself.

#ifndef FENWIRE_HOST_SOURCES_POSITION_H
#define FENWIRE_HOST_SOURCES_POSITION_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace fenwire {

// Members throw SourceError where the text is no place.
class PositionReader {
public:
    explicit PositionReader(std::string_view text) : whole_(text), rest_(text) {}

    std::string_view Word();
    template <std::integral Number>
    Number Whole();
    void End() const;  // nothing is left over

    [[noreturn]] void Refuse() const;

private:
    std::string_view whole_, rest_;
    bool began_ = false;
};

extern template int64_t PositionReader::Whole<int64_t>();
extern template uint64_t PositionReader::Whole<uint64_t>();
extern template uint32_t PositionReader::Whole<uint32_t>();

}  // namespace fenwire

#endif
