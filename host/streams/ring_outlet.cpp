// host/streams/ring_outlet.cpp

#include "host/streams/ring_outlet.h"

#include <cstring>
#include <fmt/format.h>
#include <stdexcept>

#include "host/targets/target.h"

namespace fenwire {

namespace {

constexpr size_t Aligned(size_t bytes) { return (bytes + 7) & ~size_t{7}; }

void WriteHead(uint8_t *record, size_t bytes, size_t data_bytes)
{
    const uint32_t words[] = {static_cast<uint32_t>(bytes), static_cast<uint32_t>(data_bytes)};
    memcpy(record, words, sizeof words);
}

}  // namespace

RowForm FormOfRows(const Job &job)
{
    if (!job.has_target())
        return RowForm::Layout;
    return TargetOnlyCounts(job) ? RowForm::CountsOnly : RowForm::Records;
}

RingOutlet::RingOutlet(const Job &job, Board &board, std::vector<RowRing> &rings, int sender)
    : form_(FormOfRows(job)), layout_(job.columns), indicators_(job.columns.size()),
      offsets_(job.columns.size()), lengths_(job.columns.size())
{
    const StreamPlan plan = {job.readers(), job.writers()};
    for (const int ring : plan.RingsOfSender(sender))
        writers_.emplace_back(rings[static_cast<size_t>(ring)], board, board.Sender(sender),
                              board.BellOf(plan.ReceiverOf(ring)));
    current_ = writers_.data();
}

uint64_t RingOutlet::rows() const
{
    uint64_t rows = 0;
    for (const RingWriter &writer : writers_)
        rows += writer.rows();
    return rows;
}

void RingOutlet::Publish()
{
    for (RingWriter &writer : writers_)
        writer.Publish();
}

// A block of rows each, and next to whom least is waiting for: so a slow receiver holds up nobody.
void RingOutlet::TakeTurns()
{
    if (writers_.size() == 1 || current_->position() - turn_began_ < kTurnBytes) [[likely]]
        return;
    current_->Publish();
    for (RingWriter &writer : writers_) {
        if (writer.Backlog() < current_->Backlog())
            current_ = &writer;
    }
    turn_began_ = current_->position();
}

// ---- Rows in the job's layout ------------------------------------------------------------------

uint8_t *RingOutlet::Reserve()
{
    const size_t most = layout_.most_bytes();
    if (form_ == RowForm::Layout && most <= kMostInPlace)
        return current_->Reserve(Aligned(kRecordHead + most)) + kRecordHead;
    row_.resize(most);
    return row_.data();
}

void RingOutlet::AppendToRing(size_t row_bytes)
{
    const size_t bytes = Aligned(kRecordHead + row_bytes);
    WriteHead(current_->Reserve(bytes), bytes, row_bytes);
    current_->Append(bytes);
    TakeTurns();
}

void RingOutlet::Append(size_t row_bytes)
{
    if (form_ == RowForm::Layout && layout_.most_bytes() <= kMostInPlace) {
        AppendToRing(row_bytes);
    } else if (PutLayout(row_.data(), row_bytes) != PXSTC_Success) {
        throw std::length_error(fmt::format("a row of {} bytes is longer than a job can carry ({})",
                                            row_bytes, RowRing::kMaxRecordBytes));
    }
}

// What a target gets: the values without prefixes, and NULL as a length. The row's own size bounds it.
void RingOutlet::MakeRecord(const uint8_t *row, size_t bytes)
{
    const uint32_t columns = layout_.columns();
    const size_t head = kRecordHead + 4 * size_t{columns};
    uint8_t *record = current_->Reserve(Aligned(head + bytes));
    auto *lengths = reinterpret_cast<uint32_t *>(record + kRecordHead);
    uint8_t *data = record + head;
    for (uint32_t i = 0; i < columns; ++i) {
        const bool null = indicators_[i] != 0;
        lengths[i] = null ? kNullColumn : lengths_[i];
        if (null || lengths_[i] == 0)
            continue;
        memcpy(data, row + offsets_[i], lengths_[i]);
        data += lengths_[i];
    }
    const auto used = static_cast<size_t>(data - record);
    WriteHead(record, Aligned(used), used - head);
    current_->Append(Aligned(used));
}

PxStatus RingOutlet::PutLayout(const uint8_t *row, size_t bytes)
{
    uint32_t bad = 0;
    if (Aligned(kRecordHead + 4 * size_t{layout_.columns()} + bytes) > RowRing::kMaxRecordBytes ||
        !layout_.Walk(row, bytes, indicators_.data(), offsets_.data(), lengths_.data(), &bad))
        return PXSTC_Length;
    if (form_ == RowForm::CountsOnly) {
        current_->Count(bytes);
    } else if (form_ == RowForm::Records) {
        MakeRecord(row, bytes);
    } else {
        memcpy(current_->Reserve(Aligned(kRecordHead + bytes)) + kRecordHead, row, bytes);
        AppendToRing(bytes);
    }
    return PXSTC_Success;
}

// ---- Rows of columns ---------------------------------------------------------------------------

PxStatus RingOutlet::PutColumns(const uint8_t *indicators, const uint32_t *offsets,
                                const uint32_t *lengths, const uint8_t *row, uint64_t size)
{
    // Besides the values: indicators, prefixes, and zeros for NULL.
    const uint64_t room = std::min(layout_.most_bytes(), size + layout_.indicator_bytes() +
                                                             layout_.fixed_and_prefix_bytes());
    if (size > RowRing::kMaxRecordBytes || kRecordHead + room + 7 > RowRing::kMaxRecordBytes)
        return PXSTC_Length;
    RowBuilder builder(layout_, current_->Reserve(Aligned(kRecordHead + room)) + kRecordHead);
    uint64_t taken = 0;
    for (uint32_t i = 0; i < layout_.columns(); ++i) {
        if (indicators[i] != 0) {
            builder.Null();
            continue;
        }
        // A column of no bytes may be said to lie anywhere. The others do not overlap.
        const uint32_t length = lengths[i], offset = length != 0 ? offsets[i] : 0;
        taken += length;
        if (uint64_t{offset} + length > size || taken > size || !builder.Put(row + offset, length))
            return PXSTC_Length;
    }
    AppendToRing(builder.bytes());
    return PXSTC_Success;
}

}  // namespace fenwire
