// host/checkpoint/zero_runs.cpp

#include "host/checkpoint/zero_runs.h"

#include <algorithm>
#include <cstring>

namespace fenwire {

namespace {

// A shorter run costs more as a piece of its own.
constexpr size_t kShortestRun = 8;

size_t ZerosAt(std::string_view bytes, size_t at, size_t most)
{
    const size_t end = std::min(bytes.size(), at + most);
    size_t here = at;
    for (uint64_t words[4]; here + sizeof words <= end; here += sizeof words) {
        memcpy(words, bytes.data() + here, sizeof words);
        if ((words[0] | words[1] | words[2] | words[3]) != 0)
            break;
    }
    while (here < end && bytes[here] == 0)
        ++here;
    return here - at;
}

// Where the next run begins that is worth its piece, from there on; or the end.
size_t NextRun(std::string_view bytes, size_t at)
{
    while (at < bytes.size()) {
        at = std::min(bytes.find('\0', at), bytes.size());
        const size_t zeros = ZerosAt(bytes, at, kShortestRun);
        if (zeros == kShortestRun)
            return at;
        at += zeros;
    }
    return at;
}

struct Piece {
    std::string_view bytes;
    size_t zeros = 0;
};

std::optional<Piece> TakePiece(std::string_view &left)
{
    const auto length = TakeShortNumber(left);
    if (!length || *length > left.size())
        return std::nullopt;
    Piece piece{left.substr(0, *length)};
    left.remove_prefix(*length);
    const auto zeros = TakeShortNumber(left);
    if (!zeros || *zeros > kMostZerosOfPiece)
        return std::nullopt;
    piece.zeros = *zeros;
    return piece;
}

bool HasSize(std::string_view packed, uint64_t size)
{
    uint64_t sum = 0;
    while (!packed.empty()) {
        const auto piece = TakePiece(packed);
        if (!piece)
            return false;
        sum += piece->bytes.size() + piece->zeros;
    }
    return sum == size;
}

}  // namespace

void PutShortNumber(uint64_t number, std::string &out)
{
    for (; number >= 0x80; number >>= 7)
        out += static_cast<char>(number | 0x80);
    out += static_cast<char>(number);
}

std::optional<uint64_t> TakeShortNumber(std::string_view &left)
{
    uint64_t number = 0;
    for (unsigned shift = 0; !left.empty() && shift < 64; shift += 7) {
        const auto byte = static_cast<uint8_t>(left.front());
        left.remove_prefix(1);
        if (shift == 63 && byte > 1)
            return std::nullopt;
        number |= static_cast<uint64_t>(byte & 0x7F) << shift;
        if (byte < 0x80)
            return number;
    }
    return std::nullopt;
}

void PackZeros(std::string_view bytes, std::string &packed)
{
    for (size_t at = 0; at < bytes.size();) {
        const size_t run = NextRun(bytes, at), zeros = ZerosAt(bytes, run, kMostZerosOfPiece);
        PutShortNumber(run - at, packed);
        packed.append(bytes, at, run - at);
        PutShortNumber(zeros, packed);
        at = run + zeros;
    }
}

std::optional<std::string> UnpackZeros(std::string_view packed, uint64_t size)
{
    if (!HasSize(packed, size))
        return std::nullopt;
    std::string bytes(size, '\0');
    for (char *to = bytes.data(); !packed.empty();) {
        const Piece piece = *TakePiece(packed);
        std::ranges::copy(piece.bytes, to);
        to += piece.bytes.size() + piece.zeros;
    }
    return bytes;
}

}  // namespace fenwire
