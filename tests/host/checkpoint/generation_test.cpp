// tests/host/checkpoint/generation_test.cpp - generations as bytes: whole ones come back, others are refused.

#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "host/checkpoint/generation.h"
#include "infrastructure/infrastructure.h"

using namespace fenwire;

namespace {

Generation Example()
{
    Generation generation;
    generation.run = "20261121-201500-3f9a12c4";
    generation.number = 7;
    generation.rows_ended = true;
    generation.saved_at = "2026-11-21T20:15:00Z";
    generation.fingerprint = std::string("a\0b\n", 4);
    generation.reading = {std::nullopt, Pack(""), Pack("12" + std::string(9000, '\0') + "7"),
                          Pack(std::string(4120, '\0'))};
    generation.writing = {Pack("w")};
    generation.inputs = {{"in/a.txt", 1, ~uint64_t{0}, 1LL << 40, -5, 2, 3},
                         {"in/ab", 1, 0, -1, std::numeric_limits<int64_t>::min()},
                         {"in", 0, 1, std::numeric_limits<int64_t>::max(), 0}};
    generation.outputs = {{"out", 4, 5, 6, 7, 1, 1}};
    generation.rows = 1'000'000'007;
    generation.refused = 3;
    generation.ledger = "ledger";
    generation.rejects = "rejects";
    return generation;
}

uint32_t SlowCrc32c(std::string_view bytes)
{
    uint32_t crc = ~0U;
    for (const char byte : bytes) {
        crc ^= static_cast<uint8_t>(byte);
        for (int i = 0; i < 8; ++i)
            crc = (crc >> 1) ^ (crc & 1 ? 0x82F63B78 : 0);
    }
    return ~crc;
}

// As someone would write them who means harm.
std::string WithRightChecksum(std::string bytes)
{
    const uint32_t crc = SlowCrc32c(std::string_view(bytes).substr(24));
    memcpy(bytes.data() + 12, &crc, sizeof crc);
    return bytes;
}

enum class End { Whole, Damaged };

End Decode(const std::string &bytes)
{
    try {
        DecodeGeneration(bytes);
        return End::Whole;
    } catch (const DamagedCheckpoint &) {
        return End::Damaged;
    }
}

}  // namespace

TEST(GenerationTest, WholeOnesComeBack)
{
    Generation before = Example();
    for (const size_t length : {3000, 2000, 3001, 0})  // more than they may share
        before.inputs.push_back({std::string(length, 'p'), 0, 0, -1, 0});
    const Generation after = DecodeGeneration(EncodeGeneration(before));
    EXPECT_EQ(after.run, before.run);
    EXPECT_EQ(after.number, before.number);
    EXPECT_EQ(after.rows_ended, before.rows_ended);
    EXPECT_EQ(after.saved_at, before.saved_at);
    EXPECT_EQ(after.fingerprint, before.fingerprint);
    EXPECT_EQ(after.reading, before.reading);
    EXPECT_EQ(after.writing, before.writing);
    EXPECT_EQ(after.inputs, before.inputs);
    EXPECT_EQ(after.outputs, before.outputs);
    EXPECT_EQ(after.rows, before.rows);
    EXPECT_EQ(after.refused, before.refused);
    EXPECT_EQ(after.ledger, before.ledger);
    EXPECT_EQ(after.rejects, before.rejects);
    EXPECT_EQ(Decode(EncodeGeneration({})), End::Whole);
}

TEST(GenerationTest, CutAndChangedOnesAreRefused)
{
    const std::string whole = EncodeGeneration(Example());
    EXPECT_EQ(whole, WithRightChecksum(whole)) << "not the checksum that is promised";
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_EQ(Decode(whole.substr(0, length)), End::Damaged) << length;
    EXPECT_EQ(Decode(whole + '\0'), End::Damaged);
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const int bits : {1, 0x80, 0xFF}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ bits);
            EXPECT_EQ(Decode(changed), End::Damaged) << at;
        }
    }
}

// Lies whose checksum is right end in the same words, never in a crash or for want of memory.
TEST(GenerationTest, LiesAreNotBelieved)
{
    const std::string whole = EncodeGeneration(Example());
    for (size_t at = 24; at < whole.size(); ++at) {
        for (const int byte : {0, 1, 0x7F, 0x80, 0xFF}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(byte);
            Decode(WithRightChecksum(changed));
        }
        for (const uint64_t number : {~uint64_t{0}, ~uint64_t{0} / 2, uint64_t{1} << 40}) {
            std::string changed = whole;
            memcpy(changed.data() + at, &number, std::min<size_t>(8, whole.size() - at));
            Decode(WithRightChecksum(changed));
        }
    }
}

// Elements of a list that differ here and there, cut off anywhere.
TEST(PackedBytesTest, AnyBytesComeBack)
{
    std::mt19937 random(1);
    for (const size_t most : {1, 9, 40, 4119, 4120, 4121, 9000, 30'000}) {
        for (int i = 0; i < 100; ++i) {
            std::string bytes(random() % most, '\0');
            for (size_t at = 0; at < bytes.size(); ++at)
                bytes[at] =
                    random() % 50 != 0 && at >= 4120 ? bytes[at - 4120] : "\0\0\0\0x"[random() % 5];
            PackedBytes packed = Pack(bytes);
            ASSERT_TRUE(IsSound(packed));
            ASSERT_EQ(Unpacked(packed), bytes) << most;
            EXPECT_LE(packed.pieces.size(), bytes.size() + 8);
            ++packed.size;
            EXPECT_FALSE(IsSound(packed));
        }
    }
}

TEST(PackedBytesTest, ListOfFilesIsLittleMoreThanItsNames)
{
    std::string record(12376, '\0');
    for (int i = 0; i < 1000; ++i) {
        PxFileNamesEntry entry = {};
        entry.size = 1'000'000 + i * 7919 % 1000;
        snprintf(entry.name, sizeof entry.name, "part-%05d.csv", i);
        record.append(reinterpret_cast<const char *>(&entry), sizeof entry);
    }
    EXPECT_LT(Pack(record).pieces.size(), 25'000U);
}
