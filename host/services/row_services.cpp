// host/services/row_services.cpp - rows on their way into the ring, and out of it.
//
// Nearly every row comes with its columns touching each other and without NULL. Whether one does is told
// by loops that the compiler makes vectors of, and its bytes and lengths are copied as a whole.

#include <cstring>

#include "host/services/operator_services.h"

namespace fenwire {

namespace {

constexpr PxStatus kCountError = 20;
constexpr uint32_t kNoBytes = 0xFFFFFFFF;

constexpr size_t Aligned(size_t bytes) { return (bytes + 7) & ~size_t{7}; }

struct PutArrays {
    const uint8_t *indicators;
    const uint32_t *offsets, *lengths;
    const void *row;
    uint32_t size;
};

// No NULL, every column where the one before it ends, and the last one ends with the row.
bool IsPacked(uint32_t columns, const PutArrays &from)
{
    uint32_t differs = from.offsets[0], nulls = 0;
    for (uint32_t i = 0; i < columns; ++i)
        nulls |= from.indicators[i];
    for (uint32_t i = 0; i + 1 < columns; ++i)
        differs |= from.offsets[i + 1] - from.offsets[i] - from.lengths[i];
    // Sums that wrap around: with the row's size as a bound of each part there can't be any.
    uint32_t longest = 0;
    for (uint32_t i = 0; i < columns; ++i)
        longest = from.lengths[i] > longest ? from.lengths[i] : longest;
    const uint32_t last = columns - 1;
    return (differs | nulls) == 0 && longest <= from.size &&
           uint64_t{from.offsets[last]} + from.lengths[last] == from.size;
}

// Rows with NULL, or with bytes between the columns. False: a column lies outside the row.
bool PackColumns(uint32_t columns, const PutArrays &from, uint8_t *record, uint64_t *total)
{
    auto *words = reinterpret_cast<uint32_t *>(record);
    uint8_t *const data = record + 8 + 4 * size_t{columns};
    *total = 0;
    for (uint32_t i = 0; i < columns; ++i) {
        if (from.indicators[i] != 0) {
            words[2 + i] = kNullColumn;
            continue;
        }
        const uint32_t length = words[2 + i] = from.lengths[i];
        if (length == 0)
            continue;  // wherever it is said to lie
        if (uint64_t{from.offsets[i]} + length > from.size || *total + length > from.size)
            return false;
        memcpy(data + *total, static_cast<const uint8_t *>(from.row) + from.offsets[i], length);
        *total += length;
    }
    return true;
}

// What is wrong with the arguments; 0: nothing.
inline PxStatus CheckArguments(uint32_t wanted, int32_t columns, const PutArrays &from)
{
    if (static_cast<uint32_t>(columns) != wanted || wanted == 0)
        return kCountError;
    if (from.indicators == nullptr || from.offsets == nullptr || from.lengths == nullptr ||
        from.row == nullptr)
        return PXSTC_NullPointer;
    return PXSTC_Success;
}

// Rows in the job's layout come without arrays.
inline bool InLayout(int32_t columns, const PutArrays &from)
{
    return columns == 0 && from.indicators == nullptr && from.row != nullptr;
}

PxStatus PutInLayout(RingOutlet &out, const PutArrays &from)
{
    return out.PutLayout(static_cast<const uint8_t *>(from.row), from.size);
}

}  // namespace

// Hot: a row costs a pass over its columns and one copy of its bytes.
PxStatus OperatorServices::PutRow(PxSchema *schema, int32_t columns, const uint8_t *indicators,
                                  const uint32_t *offsets, const uint32_t *lengths, const void *row,
                                  uint32_t row_length)
{
    Stream &stream = *reinterpret_cast<Stream *>(schema);
    const uint32_t count = stream.columns, size = row_length == kNoBytes ? 0 : row_length;
    const PutArrays from = {indicators, offsets, lengths, row, size};
    if (const PxStatus status = CheckArguments(count, columns, from); status != PXSTC_Success)
        [[unlikely]]
        return InLayout(columns, from) ? PutInLayout(*stream.out, from) : status;
    RingWriter &writer = stream.out->writer();
    const size_t head = 8 + 4 * size_t{count};
    // The row's own size bounds what its columns may need: they do not overlap.
    if (Aligned(head + size) > RowRing::kMaxRecordBytes)
        return PXSTC_Length;
    uint8_t *record = writer.Reserve(Aligned(head + size));

    uint64_t total = size;
    if (IsPacked(count, from)) [[likely]] {
        memcpy(record + 8, lengths, 4 * size_t{count});
        memcpy(record + head, row, size);
    } else if (!PackColumns(count, from, record, &total)) {
        return PXSTC_Length;
    }
    auto *words = reinterpret_cast<uint32_t *>(record);
    words[0] = static_cast<uint32_t>(Aligned(head + total));
    words[1] = static_cast<uint32_t>(total);
    writer.Append(words[0]);
    return PXSTC_Success;
}

// For a target that only counts: the rows stay where they are, and nobody looks for their columns.
PxStatus OperatorServices::CountRow(PxSchema *schema, int32_t columns, const uint8_t *indicators,
                                    const uint32_t *offsets, const uint32_t *lengths,
                                    const void *row, uint32_t row_length)
{
    Stream &stream = *reinterpret_cast<Stream *>(schema);
    const uint32_t size = row_length == kNoBytes ? 0 : row_length;
    const PutArrays from = {indicators, offsets, lengths, row, size};
    if (const PxStatus status = CheckArguments(stream.columns, columns, from);
        status != PXSTC_Success && !InLayout(columns, from)) [[unlikely]]
        return status;
    stream.out->writer().Count(size);
    return PXSTC_Success;
}

// For consumers, who get every row in the job's layout.
PxStatus OperatorServices::PutLayoutRow(PxSchema *schema, int32_t columns,
                                        const uint8_t *indicators, const uint32_t *offsets,
                                        const uint32_t *lengths, const void *row,
                                        uint32_t row_length)
{
    Stream &stream = *reinterpret_cast<Stream *>(schema);
    const uint32_t size = row_length == kNoBytes ? 0 : row_length;
    const PutArrays from = {indicators, offsets, lengths, row, size};
    if (InLayout(columns, from))
        return PutInLayout(*stream.out, from);
    if (const PxStatus status = CheckArguments(stream.columns, columns, from);
        status != PXSTC_Success) [[unlikely]]
        return status;
    return stream.out->PutColumns(indicators, offsets, lengths, static_cast<const uint8_t *>(row),
                                  size);
}

PxStatus OperatorServices::StreamFailed(const char *words) noexcept
{
    try {
        link_.Tell(OutMessage(MessageKind::Trouble).Put(std::string_view(words)));
    } catch (const std::exception &) {
        // The coordinator is gone; the status tells the operator enough.
    }
    return PXSTC_DataStream;
}

// Hot. A consumer is called when a row or the end is at hand, so there is nothing to wait for.
PxStatus OperatorServices::GetRow(PxSchema *schema, int32_t *columns, const uint8_t **indicators,
                                  const uint32_t **offsets, const uint32_t **lengths, void **row,
                                  uint32_t *row_length)
{
    Stream &stream = *reinterpret_cast<Stream *>(schema);
    InletRow next;
    if (columns == nullptr || indicators == nullptr || offsets == nullptr || lengths == nullptr ||
        row == nullptr || row_length == nullptr)
        return PXSTC_NullPointer;
    try {
        const RowInlet::Result result = stream.in->Next(next);
        if (result != RowInlet::Result::Row) [[unlikely]]
            return result == RowInlet::Result::End ? PXSTC_EndOfData : PXSTC_WaitTimeout;
    } catch (const std::exception &failure) {
        return stream.owner->StreamFailed(failure.what());
    }
    *columns = static_cast<int32_t>(stream.columns);
    *indicators = next.indicators;
    *offsets = next.offsets;
    *lengths = next.lengths;
    *row = const_cast<uint8_t *>(next.bytes);
    *row_length = next.size;
    return PXSTC_Success;
}

}  // namespace fenwire
