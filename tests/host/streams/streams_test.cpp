// tests/host/streams/streams_test.cpp - rows from several senders to several receivers, in the job's layout.

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <random>

#include "host/streams/ring_outlet.h"
#include "host/streams/row_inlet.h"

using namespace fenwire;

namespace {

Column ColumnOf(uint32_t type, uint32_t length)
{
    Column column;
    column.type = type;
    column.length = length;
    return column;
}

// A sender's number, the row's number there, something of any length, and a large object.
Job StreamJob(int senders, int receivers)
{
    Job job;
    job.producer.instances = senders;
    job.consumer.instances = receivers;
    job.columns = {ColumnOf(1, 4), ColumnOf(1, 4), ColumnOf(7, 300), ColumnOf(40, 500),
                   ColumnOf(63, 19)};
    return job;
}

struct Streams {
    explicit Streams(const Job &job)
        : map(MakeSharedBlock("board", Board::Bytes(job.readers(), job.writers()))),
          board(Board::Make(map.data(), job.readers(), job.writers())),
          rings(static_cast<size_t>(StreamPlan{job.readers(), job.writers()}.rings()))
    {
        for (int i = 1; i <= job.readers(); ++i)
            senders.push_back(std::make_unique<RingOutlet>(job, board, rings, i));
        for (int i = 1; i <= job.writers(); ++i)
            receivers.push_back(std::make_unique<RowInlet>(job, board, rings, i));
    }
    Mapping map;
    Board &board;
    std::vector<RowRing> rings;
    std::vector<std::unique_ptr<RingOutlet>> senders;
    std::vector<std::unique_ptr<RowInlet>> receivers;
};

// One row as columns that lie apart, the way an operator hands it over.
PxStatus PutNumbered(RingOutlet &to, int32_t sender, int32_t number, std::mt19937 &random)
{
    uint8_t row[1000];
    memset(row, 'a' + number % 26, sizeof row);
    memcpy(row, &sender, 4);
    memcpy(row + 10, &number, 4);
    const uint32_t lengths[] = {4, 4, static_cast<uint32_t>(random() % 301),
                                static_cast<uint32_t>(random() % 501), 0};
    const uint32_t offsets[] = {0, 10, 20, 400, 0xFFFFFFFF};
    const uint8_t nulls[] = {0, 0, number % 3 == 0, number % 5 == 0, number % 7 == 0};
    return to.PutColumns(nulls, offsets, lengths, row, sizeof row);
}

void CheckRow(const InletRow &row, std::map<int32_t, int32_t> &last)
{
    int32_t sender = 0, number = 0;
    memcpy(&sender, row.bytes + row.offsets[0], 4);
    memcpy(&number, row.bytes + row.offsets[1], 4);
    EXPECT_EQ(row.indicators[2], number % 3 == 0);
    EXPECT_EQ(row.indicators[3], number % 5 == 0);
    EXPECT_EQ(row.indicators[4], number % 7 == 0);
    for (int i = 2; i < 4; ++i) {
        const std::string wanted(row.lengths[i], static_cast<char>('a' + number % 26));
        EXPECT_EQ(memcmp(row.bytes + row.offsets[i], wanted.data(), wanted.size()), 0);
    }
    EXPECT_GT(number, last[sender]);
    last[sender] = number;
}

}  // namespace

TEST(Streams, EveryRowArrivesOnceAndInItsSendersOrder)
{
    constexpr int32_t kRows = 3000;
    for (const auto &[senders, receivers] : std::initializer_list<std::pair<int, int>>{
             {1, 1}, {3, 1}, {1, 3}, {2, 5}, {5, 2}, {4, 4}}) {
        SCOPED_TRACE(std::to_string(senders) + " to " + std::to_string(receivers));
        Streams streams(StreamJob(senders, receivers));
        std::mt19937 random(11);
        for (int32_t i = 1; i <= kRows; ++i) {
            for (int32_t s = 1; s <= senders; ++s)
                ASSERT_EQ(PutNumbered(*streams.senders[static_cast<size_t>(s - 1)], s, i, random),
                          PXSTC_Success);
        }
        for (auto &sender : streams.senders)
            sender->Publish();
        for (RowRing &ring : streams.rings)
            ring.words().ended = 1;
        uint64_t rows = 0;
        for (auto &receiver : streams.receivers) {
            InletRow row;
            std::map<int32_t, int32_t> last;
            while (receiver->Next(row) == RowInlet::Result::Row)
                CheckRow(row, last);
            EXPECT_GT(receiver->rows(), 0U);
            rows += receiver->rows();
        }
        EXPECT_EQ(rows, static_cast<uint64_t>(senders) * kRows);
    }
}

TEST(Streams, EndIsKnownOnlyWhenEveryRingHasEnded)
{
    Streams streams(StreamJob(2, 1));
    RowInlet &in = *streams.receivers[0];
    EXPECT_FALSE(in.Ready());
    streams.rings[0].words().ended = 1;
    EXPECT_FALSE(in.Ready());
    streams.rings[1].words().ended = 1;
    InletRow row;
    EXPECT_TRUE(in.Ready());
    EXPECT_EQ(in.Next(row), RowInlet::Result::End);
}

// Whatever a sender's process wrote there: a row that does not fit the columns is not handed on.
TEST(Streams, RowsThatDoNotFitTheLayoutAreRefused)
{
    const Job job = StreamJob(1, 1);
    const RowLayout layout(job.columns);
    std::vector<uint8_t> row(layout.most_bytes());
    RowBuilder builder(layout, row.data());
    EXPECT_FALSE(builder.Put("abc", 3));  // a column of four bytes
    EXPECT_TRUE(builder.Put("abcd", 4));
    EXPECT_TRUE(builder.Put("abcd", 4));
    EXPECT_FALSE(builder.Put(std::string(301, 'x').data(), 301));
    EXPECT_TRUE(builder.Put("x", 1));
    builder.Null();
    EXPECT_TRUE(builder.Put("\1\2", 2));
    const size_t size = builder.bytes();
    for (size_t cut = 0; cut < size; ++cut) {
        Streams streams(job);
        EXPECT_EQ(streams.senders[0]->PutLayout(row.data(), cut), PXSTC_Length) << cut;
    }
    for (const size_t at : {size_t{9}, size_t{12}, size_t{14}, size_t{20}}) {  // lengths
        Streams streams(job);
        std::vector<uint8_t> lying = row;
        lying[at] = 0xFF;
        uint8_t *record = streams.senders[0]->Reserve();
        memcpy(record, lying.data(), size);
        streams.senders[0]->Append(size);
        streams.senders[0]->Publish();
        InletRow seen;
        EXPECT_THROW(streams.receivers[0]->Next(seen), std::runtime_error) << at;
    }
}
