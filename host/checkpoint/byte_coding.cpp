// host/checkpoint/byte_coding.cpp

#include "host/checkpoint/byte_coding.h"

#include "host/checkpoint/generation.h"

namespace fenwire {

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

void ByteWriter::After(const std::string &text, std::string_view before)
{
    const size_t most = std::min({text.size(), before.size(), ByteReader::kLongestShared});
    const auto shared = static_cast<size_t>(
        std::mismatch(text.begin(), text.begin() + static_cast<ptrdiff_t>(most), before.begin())
            .first -
        text.begin());
    PutShortNumber(shared, out_);
    PutShortNumber(text.size() - shared, out_);
    out_.append(text, shared);
}

void ByteReader::Refuse(const char *why)
{
    throw DamagedCheckpoint(std::string("the checkpoint is damaged: ") + why);
}

uint64_t ByteReader::Short()
{
    const auto number = TakeShortNumber(left_);
    if (!number)
        Refuse("it ends within a number");
    return *number;
}

std::string_view ByteReader::Bytes(uint64_t count)
{
    if (count > left_.size())
        Refuse("it ends too early");
    const std::string_view bytes = left_.substr(0, count);
    left_.remove_prefix(count);
    return bytes;
}

// What a short text shares is bounded, lest a few bytes for each of many become long texts.
void ByteReader::After(std::string &text, std::string_view before)
{
    const uint64_t shared = Short();
    if (shared > before.size() || shared > kLongestShared)
        Refuse("a text shares more than there is");
    const std::string_view own = Bytes(Short());
    text.reserve(shared + own.size());
    text.assign(before.substr(0, shared)).append(own);
}

void ByteReader::operator()(std::optional<PackedBytes> &packed)
{
    uint64_t size = 0;
    (*this)(size);
    packed.reset();
    if (size == 0)
        return;
    packed = {size - 1, {}};
    (*this)(packed->pieces);
    if (!IsSound(*packed))
        Refuse("a record has not the length that is said");
}

size_t ByteReader::Count()
{
    uint64_t count = 0;
    (*this)(count);
    if (count > left_.size())
        Refuse("a list is longer than what is stored");
    return count;
}

}  // namespace fenwire
