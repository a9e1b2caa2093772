// host/checkpoint/packed_bytes.cpp

#include "host/checkpoint/packed_bytes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "host/checkpoint/byte_coding.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

namespace {

// How far back the bytes lie that a run is like. A run has so many bytes at most: then what is unpacked is
// never larger than so many times what was stored, whoever wrote it, and a run never overlaps its model.
constexpr size_t kBack = sizeof(PxFileNamesEntry), kLongestRun = 4096;
static_assert(kLongestRun <= kBack);
// A shorter run costs more as a piece of its own.
constexpr size_t kShortestRun = 4;

constexpr std::array<char, kBack> kNothing{};

size_t CountEqual(const char *a, const char *b, size_t most)
{
    size_t same = 0;
    for (uint64_t x[4], y[4]; same + sizeof x <= most; same += sizeof x) {
        memcpy(x, a + same, sizeof x);
        memcpy(y, b + same, sizeof y);
        if (((x[0] ^ y[0]) | (x[1] ^ y[1]) | (x[2] ^ y[2]) | (x[3] ^ y[3])) != 0)
            break;
    }
    while (same < most && a[same] == b[same])
        ++same;
    return same;
}

// How many bytes from there on are as those kBack before.
size_t RunAt(std::string_view bytes, size_t at, size_t most)
{
    const size_t end = std::min(bytes.size(), at + most);
    size_t here = at;
    if (here < kBack) {
        const size_t first = std::min(end, kBack) - here;
        const size_t same = CountEqual(bytes.data() + here, kNothing.data(), first);
        if (same < first)
            return same;
        here += same;
    }
    return here - at + CountEqual(bytes.data() + here, bytes.data() + here - kBack, end - here);
}

// Where the next run begins that is worth its piece, from there on; or the end.
size_t NextRun(std::string_view bytes, size_t at)
{
    while (at < bytes.size()) {
        const size_t same = RunAt(bytes, at, kShortestRun);
        if (same == kShortestRun)
            return at;
        at += same + 1;
    }
    return bytes.size();
}

struct Piece {
    std::string_view bytes;
    size_t run = 0;
};

std::optional<Piece> TakePiece(std::string_view &left)
{
    const auto length = TakeShortNumber(left);
    if (!length || *length > left.size())
        return std::nullopt;
    Piece piece{left.substr(0, *length)};
    left.remove_prefix(*length);
    const auto run = TakeShortNumber(left);
    if (!run || *run > kLongestRun)
        return std::nullopt;
    piece.run = *run;
    return piece;
}

}  // namespace

PackedBytes Pack(std::string_view bytes)
{
    PackedBytes packed = {bytes.size(), {}};
    for (size_t at = 0; at < bytes.size();) {
        const size_t begin = NextRun(bytes, at), run = RunAt(bytes, begin, kLongestRun);
        PutShortNumber(begin - at, packed.pieces);
        packed.pieces.append(bytes, at, begin - at);
        PutShortNumber(run, packed.pieces);
        at = begin + run;
    }
    return packed;
}

bool IsSound(const PackedBytes &packed)
{
    uint64_t size = 0;
    for (std::string_view left = packed.pieces; !left.empty();) {
        const auto piece = TakePiece(left);
        if (!piece)
            return false;
        size += piece->bytes.size() + piece->run;
    }
    return size == packed.size;
}

void Unpack(const PackedBytes &packed, char *zeros)
{
    size_t at = 0;
    for (std::string_view left = packed.pieces; !left.empty();) {
        const Piece piece = *TakePiece(left);
        std::ranges::copy(piece.bytes, zeros + at);
        at += piece.bytes.size();
        const size_t end = at + piece.run, from = std::min(std::max(at, kBack), end);
        if (from < end)
            memcpy(zeros + from, zeros + from - kBack, end - from);
        at = end;
    }
}

std::string Unpacked(const PackedBytes &packed)
{
    std::string bytes(packed.size, '\0');
    Unpack(packed, bytes.data());
    return bytes;
}

}  // namespace fenwire
