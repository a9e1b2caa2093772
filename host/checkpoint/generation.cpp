// host/checkpoint/generation.cpp - a generation as bytes.
//
//     0   8   "FENWCKPT"
//     8   4   version of what follows
//     12  4   CRC-32C (Castagnoli) of everything from byte 24
//     16  8   how many bytes there are from byte 24
//     24      the members in the order of Generation
//
// Numbers have their lowest byte first. A text is its length in 8 bytes and itself; a list how many there
// are in 8 bytes and they. Operators' records and the other two that may be long are packed (zero_runs.h):
// their length, their packed length, and what is packed. A record's length has one added, and 0 stands for
// no record.

#include "host/checkpoint/generation.h"

#include <array>
#include <fmt/format.h>
#include <type_traits>

#include "host/checkpoint/zero_runs.h"

namespace fenwire {

namespace {

constexpr std::string_view kMagic = "FENWCKPT";
constexpr uint32_t kLayoutVersion = 1;
constexpr size_t kHeaderBytes = 24;

// Eight bytes at a time: table [i] is what a byte does that i more bytes follow.
constexpr auto kCrcTables = [] {
    constexpr uint32_t kPolynomial = 0x82F63B78;
    std::array<std::array<uint32_t, 256>, 8> tables{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
        tables[0][byte] = crc;
    }
    for (size_t i = 1; i < tables.size(); ++i) {
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint32_t before = tables[i - 1][byte];
            tables[i][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}();

uint32_t Crc32c(std::string_view bytes)
{
    uint32_t crc = ~0U;
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(bytes[i]); };
    for (; bytes.size() >= 8; bytes.remove_prefix(8)) {
        uint32_t next = 0;
        for (size_t i = 0; i < 8; ++i) {
            const uint32_t mixed = i < 4 ? (crc >> (8 * i)) & 0xFF : 0;
            next ^= kCrcTables[7 - i][byte(i) ^ mixed];
        }
        crc = next;
    }
    for (size_t i = 0; i < bytes.size(); ++i)
        crc = (crc >> 8) ^ kCrcTables[0][(crc ^ byte(i)) & 0xFF];
    return ~crc;
}

[[noreturn]] void Damaged(const std::string &why)
{
    throw DamagedCheckpoint("the checkpoint is damaged: " + why);
}

class Writer {
public:
    template <class Number>
    void operator()(const Number &number) requires std::is_integral_v<Number>
    {
        const auto bits = static_cast<std::make_unsigned_t<Number>>(number);
        for (size_t i = 0; i < sizeof bits; ++i)
            out_ += static_cast<char>(bits >> (8 * i));
    }
    void operator()(const bool &flag) { (*this)(static_cast<uint8_t>(flag)); }
    void operator()(const std::string &text)
    {
        (*this)(uint64_t{text.size()});
        out_ += text;
    }
    template <class Element>
    void operator()(const std::vector<Element> &list)
    {
        (*this)(uint64_t{list.size()});
        for (const Element &element : list)
            (*this)(element);
    }
    void operator()(const std::optional<std::string> &record)
    {
        (*this)(uint64_t{record ? record->size() + 1 : 0});
        if (record)
            PutPacked(*record);
    }
    void Packed(const std::string &text)
    {
        (*this)(uint64_t{text.size()});
        PutPacked(text);
    }
    void operator()(const FileIdentity &file);
    std::string Take() { return std::move(out_); }

private:
    void PutPacked(const std::string &bytes)
    {
        const size_t length_at = out_.size();
        (*this)(uint64_t{0});
        PackZeros(bytes, out_);
        const uint64_t length = out_.size() - length_at - sizeof length;
        for (size_t i = 0; i < sizeof length; ++i)
            out_[length_at + i] = static_cast<char>(length >> (8 * i));
    }

    std::string out_;
};

class Reader {
public:
    explicit Reader(std::string_view bytes) : left_(bytes) {}

    template <class Number>
    void operator()(Number &number) requires std::is_integral_v<Number>
    {
        const std::string_view bytes = Bytes(sizeof number);
        std::make_unsigned_t<Number> bits = 0;
        for (size_t i = 0; i < sizeof bits; ++i) {
            const auto byte = static_cast<uint8_t>(bytes[i]);
            bits = static_cast<decltype(bits)>(bits | static_cast<decltype(bits)>(byte) << (8 * i));
        }
        number = static_cast<Number>(bits);
    }
    void operator()(bool &flag)
    {
        uint8_t byte = 0;
        (*this)(byte);
        if (byte > 1)
            Damaged("a flag is neither set nor clear");
        flag = byte == 1;
    }
    void operator()(std::string &text) { text = Bytes(Length()); }
    template <class Element>
    void operator()(std::vector<Element> &list)
    {
        const uint64_t count = Length();
        if (count > left_.size() / sizeof(uint64_t))  // none of our elements is shorter
            Damaged("a list is longer than what is stored");
        list.resize(count);
        for (Element &element : list)
            (*this)(element);
    }
    void operator()(std::optional<std::string> &record)
    {
        if (const uint64_t size = Length(); size > 0)
            record = TakePacked(size - 1);
    }
    void Packed(std::string &text) { text = TakePacked(Length()); }
    void operator()(FileIdentity &file);
    bool AtEnd() const { return left_.empty(); }
    std::string_view Bytes(uint64_t count)
    {
        if (count > left_.size())
            Damaged("it ends too early");
        const std::string_view bytes = left_.substr(0, count);
        left_.remove_prefix(count);
        return bytes;
    }

private:
    uint64_t Length()
    {
        uint64_t length = 0;
        (*this)(length);
        return length;
    }
    std::string TakePacked(uint64_t size)
    {
        auto bytes = UnpackZeros(Bytes(Length()), size);
        if (!bytes)
            Damaged("a record has not the length that is said");
        return std::move(*bytes);
    }

    std::string_view left_;
};

// What is stored, in its order: the one place for both directions.
template <class Way, class File>
void EachOfFile(Way &way, File &file)
{
    way(file.path);
    way(file.device);
    way(file.inode);
    way(file.size);
    way(file.time_ns);
    way(file.status);
    way(file.instance);
}

template <class Way, class Whole>
void EachMember(Way &way, Whole &generation)
{
    way(generation.run);
    way(generation.number);
    way(generation.rows_ended);
    way(generation.saved_at);
    way(generation.fingerprint);
    way(generation.reading);
    way(generation.writing);
    way(generation.inputs);
    way(generation.outputs);
    way(generation.rows);
    way(generation.refused);
    way.Packed(generation.ledger);
    way.Packed(generation.rejects);
}

void Writer::operator()(const FileIdentity &file) { EachOfFile(*this, file); }

void Reader::operator()(FileIdentity &file)
{
    EachOfFile(*this, file);
    if (file.size < -1 || file.status > FileIdentity::kFinished || file.instance < 0)
        Damaged("a file is told of in a way that none can be");
}

}  // namespace

std::string EncodeGeneration(const Generation &generation)
{
    Writer body;
    EachMember(body, generation);
    const std::string bytes = body.Take();
    Writer header;
    header(kLayoutVersion);
    header(Crc32c(bytes));
    header(uint64_t{bytes.size()});
    return std::string(kMagic) + header.Take() + bytes;
}

Generation DecodeGeneration(std::string_view bytes)
{
    if (bytes.size() < kHeaderBytes || !bytes.starts_with(kMagic))
        Damaged("it does not begin as one does");
    Reader header(bytes.substr(kMagic.size(), kHeaderBytes - kMagic.size()));
    uint32_t version = 0, crc = 0;
    uint64_t length = 0;
    header(version);
    header(crc);
    header(length);
    if (version != kLayoutVersion)
        throw DamagedCheckpoint(fmt::format(
            "the checkpoint is of version {}, and this fenwire reads version {}; go on with the "
            "fenwire that took it",
            version, kLayoutVersion));
    bytes.remove_prefix(kHeaderBytes);
    if (bytes.size() != length)
        Damaged(fmt::format("{} bytes are there of {}", bytes.size(), length));
    if (Crc32c(bytes) != crc)
        Damaged("its checksum is not that of its bytes");
    Reader body(bytes);
    Generation generation;
    EachMember(body, generation);
    if (!body.AtEnd())
        Damaged("more is there than belongs to it");
    return generation;
}

}  // namespace fenwire
