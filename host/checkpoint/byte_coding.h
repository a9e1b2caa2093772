// host/checkpoint/byte_coding.h - what a checkpoint holds as bytes, and back.
//
// Numbers are short: seven bits a byte, the lowest first; signed ones with their sign in the lowest bit. A
// text is its length and itself. In long lists a number is told as what it is more than that of the element
// before, and a text by how much of its beginning it shares with that one (After): a list of files is then
// little more than what makes them differ.
//
// Writer and reader have the same functions, so that one list of members serves both directions.

#ifndef FENWIRE_HOST_CHECKPOINT_BYTE_CODING_H
#define FENWIRE_HOST_CHECKPOINT_BYTE_CODING_H

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/checkpoint/packed_bytes.h"

namespace fenwire {

void PutShortNumber(uint64_t number, std::string &out);
// Takes its bytes away. None: cut off, or more than 64 bits.
std::optional<uint64_t> TakeShortNumber(std::string_view &left);

class ByteWriter {
public:
    template <std::integral Number>
    void operator()(const Number &number)
    {
        After(number, Number{});
    }
    void operator()(const std::string &text) { After(text, {}); }
    void operator()(const std::optional<PackedBytes> &packed)
    {
        (*this)(packed ? packed->size + 1 : 0);
        if (packed)
            (*this)(packed->pieces);
    }
    template <class Element>
    void operator()(const std::vector<Element> &list)
    {
        (*this)(list.size());
        for (const Element &element : list)
            (*this)(element);
    }
    template <std::integral Number>
    void After(const Number &number, const Number &before)
    {
        const uint64_t more = static_cast<uint64_t>(number) - static_cast<uint64_t>(before);
        PutShortNumber((more << 1) ^ (more >> 63 != 0 ? ~uint64_t{0} : 0), out_);
    }
    void After(const std::string &text, std::string_view before);
    std::string Take() { return std::move(out_); }

private:
    std::string out_;
};

// Bytes that a ByteWriter can't have written end in DamagedCheckpoint.
class ByteReader {
public:
    static constexpr size_t kLongestShared = 1024;  // by a text and the one before

    explicit ByteReader(std::string_view bytes) : left_(bytes) {}

    template <std::integral Number>
    void operator()(Number &number)
    {
        After(number, Number{});
    }
    void operator()(std::string &text) { After(text, {}); }
    void operator()(std::optional<PackedBytes> &packed);
    template <class Element>
    void operator()(std::vector<Element> &list)
    {
        list.resize(Count());
        for (Element &element : list)
            (*this)(element);
    }
    template <std::integral Number>
    void After(Number &number, const Number &before)
    {
        const uint64_t bits = Short(), half = bits >> 1;
        const uint64_t sum = static_cast<uint64_t>(before) + ((bits & 1) != 0 ? ~half : half);
        number = static_cast<Number>(sum);
        if (static_cast<uint64_t>(number) != sum)
            Refuse("a number is out of range");
    }
    void After(std::string &text, std::string_view before);
    // Of the elements that follow; each has one byte at least.
    size_t Count();
    bool AtEnd() const { return left_.empty(); }

private:
    [[noreturn]] static void Refuse(const char *why);
    uint64_t Short();
    std::string_view Bytes(uint64_t count);

    std::string_view left_;
};

}  // namespace fenwire

#endif
