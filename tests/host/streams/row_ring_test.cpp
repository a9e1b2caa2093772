// tests/host/streams/row_ring_test.cpp - rows between two processes: all of them, in order, or a clean end.

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <thread>

#include "host/streams/row_ring.h"

using namespace fenwire;

namespace {

struct Fixture {
    RingWriter Writer() { return {ring, board, board.Sender(1), bell}; }
    UniqueFd block = MakeSharedBlock("test", Board::Bytes(1, 1));
    Mapping map{block};
    Board &board = Board::Make(map.data(), 1, 1);
    Doorbell &bell = board.BellOf(1);
    RowRing ring;
};

// A record of one column whose bytes follow from its number.
void PutNumbered(RingWriter &writer, uint32_t number, uint32_t length)
{
    const size_t bytes = (12 + size_t{length} + 7) & ~size_t{7};
    uint8_t *record = writer.Reserve(bytes);
    const uint32_t words[] = {static_cast<uint32_t>(bytes), length, length};
    memcpy(record, words, sizeof words);
    memset(record + 12, static_cast<int>(number & 0xFF), length);
    writer.Append(bytes);
}

uint32_t LengthOf(std::mt19937 &random)
{
    constexpr uint32_t kBig = 900000;
    return random() % 5000 == 0 ? kBig : static_cast<uint32_t>(random() % 300);
}

}  // namespace

TEST(RowRing, EveryRecordArrivesInOrderThroughAFullRing)
{
    constexpr uint32_t kRecords = 200000;
    Fixture f;
    std::thread producer([&] {
        RingWriter writer = f.Writer();
        std::mt19937 random(7);
        for (uint32_t i = 0; i < kRecords; ++i)
            PutNumbered(writer, i, LengthOf(random));
        writer.Publish();
    });
    RingReader reader(f.ring);
    std::mt19937 random(7);
    uint32_t seen = 0;
    while (seen < kRecords) {
        const uint32_t bell = f.bell.rung.load();
        const RowBatch batch = reader.Next(1, 64 << 10);
        batch.ForEach([&](const RowRecord &row) {
            const uint32_t length = LengthOf(random);
            ASSERT_EQ(row.length(0), length) << seen;
            const std::string wanted(length, static_cast<char>(seen & 0xFF));
            ASSERT_EQ(memcmp(row.data(1), wanted.data(), length), 0) << seen;
            ++seen;
        });
        if (batch.start == batch.end)
            WaitForDoorbell(f.bell, bell, 1000);
        if (seen % 7 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(200));  // now and then too slow
        reader.Release(batch);
    }
    producer.join();
    EXPECT_EQ(f.board.Sender(1).rows.load(), kRecords);
}

TEST(RowRing, WritersWaitForTheReaderUntilTheAbort)
{
    constexpr uint32_t kRecords = 3 * RowRing::kBytes / 1000;
    Fixture f;
    std::atomic<uint32_t> written = 0;
    std::thread producer([&] {
        RingWriter writer = f.Writer();
        for (; written < kRecords; ++written)
            PutNumbered(writer, written, 1000);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_LT(written, RowRing::kBytes / 1000);
    f.board.abort.store(1);
    producer.join();
    EXPECT_EQ(written, kRecords);
}

TEST(RowRing, DamagedRecordsAreRefusedBeforeTheyAreUsed)
{
    // clang-format off
    static constexpr struct {
        const char *about;
        uint32_t bytes, data_bytes;
    } kCases[] = {
        {"size zero",               0,          0 },
        {"size beyond the ring",    0xFFFFFFF8, 0 },
        {"size not a multiple of 8", 20,        0 },
        {"data beyond the record",  24,         13},
    };
    // clang-format on
    for (const auto &c : kCases) {
        Fixture f;
        RingWriter writer = f.Writer();
        uint8_t *record = writer.Reserve(24);
        const uint32_t words[] = {c.bytes, c.data_bytes, 0};
        memcpy(record, words, sizeof words);
        writer.Append(24);
        writer.Publish();
        RingReader reader(f.ring);
        EXPECT_THROW(reader.Next(1, 1000), std::runtime_error) << c.about;
    }
}
