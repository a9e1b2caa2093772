// host/guess/sample.h - the part of a data file that a guess is made from.
//
// A file of up to kWhole bytes is looked at as a whole, a longer one at its head, its middle and its tail,
// so that the time does not grow with the file and what changes later in it still has a chance to be seen.
// The encoding is settled on the head, the text of all pieces is then UTF-8 (or bytes of a set that can't be
// told, as they are), and everything behind this works on one kind of text.

#ifndef FENWIRE_HOST_GUESS_SAMPLE_H
#define FENWIRE_HOST_GUESS_SAMPLE_H

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace fenwire {

struct GuessError : std::runtime_error {
    explicit GuessError(const std::string &what, std::string likely = {})
        : std::runtime_error(what), hint(std::move(likely))
    {
    }
    std::string hint;
};

enum class Encoding : uint8_t { Ascii, Utf8, SingleByte, Utf16 };

struct Piece {
    uint64_t offset = 0;  // of its first byte in the file
    std::string text;
    bool to_end = false;  // it ends where the file ends
};

struct Sample {
    static constexpr size_t kWhole = 1 << 20, kHead = 512 << 10, kPart = 256 << 10;

    std::filesystem::path path;  // as given
    uint64_t size = 0, looked_at = 0;
    Encoding encoding = Encoding::Ascii;
    bool byte_order_mark = false;
    uint64_t nul_bytes = 0;     // in the text
    uint64_t odd_bytes = 0;     // that are no UTF-8 though the rest is
    uint64_t wide_units = 0;    // surrogate pairs of UTF-16
    std::vector<Piece> pieces;  // the first begins at the file's start, behind its mark

    bool whole() const { return pieces.size() == 1 && pieces[0].to_end; }
};

// Opens and reads. GuessError for what is no data file: missing, a directory, a pipe, empty, binary,
// compressed, or in an encoding that the operator can't read.
Sample TakeSample(const std::filesystem::path &path);

}  // namespace fenwire

#endif
