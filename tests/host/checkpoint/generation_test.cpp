// tests/host/checkpoint/generation_test.cpp - generations as bytes: whole ones come back, others are refused.

#include <cstring>
#include <gtest/gtest.h>
#include <random>

#include "host/checkpoint/generation.h"
#include "host/checkpoint/zero_runs.h"

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
    generation.reading = {std::nullopt, "", "12" + std::string(9000, '\0') + "7",
                          std::string(4120, '\0')};
    generation.writing = {"w"};
    generation.inputs = {{"in/a.txt", 1, ~uint64_t{0}, 1LL << 40, -5, 2, 3}, {"b", 0, 0, -1, 0}};
    generation.outputs = {{"out", 4, 5, 6, 7, 1, 1}};
    generation.rows = 1'000'000'007;
    generation.refused = 3;
    generation.ledger = "ledger";
    generation.rejects = std::string(5000, '\0');
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
    const Generation before = Example(), after = DecodeGeneration(EncodeGeneration(before));
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

TEST(ZeroRunsTest, AnyBytesComeBack)
{
    std::mt19937 random(1);
    for (const size_t most : {3, 8, 9, 40, 5000, 9000}) {
        for (int i = 0; i < 200; ++i) {
            std::string bytes, packed;
            for (auto run = random() % 5; run > 0; --run)
                bytes += std::string(random() % most, '\0') + std::string(random() % 9, 'x');
            PackZeros(bytes, packed);
            ASSERT_EQ(UnpackZeros(packed, bytes.size()), bytes) << most;
            EXPECT_LE(packed.size(), bytes.size() + 4);
            EXPECT_EQ(UnpackZeros(packed, bytes.size() + 1), std::nullopt);
        }
    }
}
