// host/checkpoint/generation.cpp - a generation as bytes.
//
//     0   8   "FENWCKPT"
//     8   4   version of what follows
//     12  4   CRC-32C (Castagnoli) of everything from byte 24
//     16  8   how many bytes there are from byte 24
//     24      the members in the order of Generation
//
// In front the lowest byte of a number comes first; the members are told short (byte_coding.h), operators'
// records as pieces (packed_bytes.h).

#include "host/checkpoint/generation.h"

#include <array>
#include <fmt/format.h>

#include "host/checkpoint/byte_coding.h"

namespace fenwire {

namespace {

constexpr std::string_view kMagic = "FENWCKPT";
constexpr uint32_t kLayoutVersion = 2;
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

template <class Number>
void PutFixed(Number number, std::string &out)
{
    for (size_t i = 0; i < sizeof number; ++i)
        out += static_cast<char>(number >> (8 * i));
}

template <class Number>
Number Fixed(std::string_view bytes)
{
    Number number = 0;
    for (size_t i = 0; i < sizeof number; ++i)
        number |= static_cast<Number>(static_cast<uint8_t>(bytes[i])) << (8 * i);
    return number;
}

// What is stored, in its order: the one place for both directions.
template <class Way, class File>
void EachOfFile(Way &way, File &file, const FileIdentity &before)
{
    way.After(file.path, before.path);
    way.After(file.device, before.device);
    way.After(file.inode, before.inode);
    way.After(file.size, before.size);
    way.After(file.time_ns, before.time_ns);
    way.After(file.status, before.status);
    way.After(file.instance, before.instance);
}

void EachFile(ByteWriter &out, const std::vector<FileIdentity> &files)
{
    const FileIdentity none;
    const FileIdentity *before = &none;
    out(files.size());
    for (const FileIdentity &file : files) {
        EachOfFile(out, file, *before);
        before = &file;
    }
}

void EachFile(ByteReader &in, std::vector<FileIdentity> &files)
{
    const FileIdentity none;
    const FileIdentity *before = &none;
    files.resize(in.Count());
    for (FileIdentity &file : files) {
        EachOfFile(in, file, *before);
        if (file.size < -1 || file.status > FileIdentity::kFinished || file.instance < 0)
            Damaged("a file is told of in a way that none can be");
        before = &file;
    }
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
    EachFile(way, generation.inputs);
    EachFile(way, generation.outputs);
    way(generation.rows);
    way(generation.refused);
    way(generation.ledger);
    way(generation.rejects);
}

}  // namespace

std::string EncodeGeneration(const Generation &generation)
{
    ByteWriter body;
    EachMember(body, generation);
    const std::string bytes = body.Take();
    std::string whole(kMagic);
    whole.reserve(kHeaderBytes + bytes.size());
    PutFixed(kLayoutVersion, whole);
    PutFixed(Crc32c(bytes), whole);
    PutFixed(uint64_t{bytes.size()}, whole);
    whole += bytes;
    return whole;
}

Generation DecodeGeneration(std::string_view bytes)
{
    if (bytes.size() < kHeaderBytes || !bytes.starts_with(kMagic))
        Damaged("it does not begin as one does");
    const auto version = Fixed<uint32_t>(bytes.substr(8)), crc = Fixed<uint32_t>(bytes.substr(12));
    const auto length = Fixed<uint64_t>(bytes.substr(16));
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
    ByteReader body(bytes);
    Generation generation;
    EachMember(body, generation);
    if (!body.AtEnd())
        Damaged("more is there than belongs to it");
    return generation;
}

}  // namespace fenwire
