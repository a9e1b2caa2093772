// host/checkpoint/zero_runs.h - bytes with their long runs of zeros told short.
//
// An operator's record keeps 4 KB for each file of its list, of which the name fills a few dozen bytes.
// What is packed is a sequence of pieces: how many bytes follow, those bytes, how many zeros stand behind
// them; both numbers seven bits a byte, the lowest first. A piece has so many zeros at most, so that what
// is unpacked is never larger than so many times what was stored, whoever wrote it.

#ifndef FENWIRE_HOST_CHECKPOINT_ZERO_RUNS_H
#define FENWIRE_HOST_CHECKPOINT_ZERO_RUNS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fenwire {

inline constexpr size_t kMostZerosOfPiece = 4096;

void PackZeros(std::string_view bytes, std::string &packed);  // appended

// None: not what PackZeros makes of so many bytes.
std::optional<std::string> UnpackZeros(std::string_view packed, uint64_t size);

// Numbers as above; the second takes its bytes away. None: cut off, or more than 64 bits.
void PutShortNumber(uint64_t number, std::string &out);
std::optional<uint64_t> TakeShortNumber(std::string_view &left);

}  // namespace fenwire

#endif
