// host/streams/row_layout.cpp

#include "host/streams/row_layout.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace fenwire {

namespace {

constexpr uint32_t kInlineTypes[] = {39, 40, 65, 67};
constexpr uint32_t kVariableTypes[] = {7, 8, 10, 13, 14, 41, 42, 61, 62, 66, 68};
constexpr uint32_t kNumber = 63;

bool Among(std::span<const uint32_t> types, uint32_t type)
{
    return std::ranges::find(types, type) != types.end();
}

// A length prefix of 1, 2 or 8 bytes. Only the first two of eight count: the rest must be zero, so what
// does not fit any column comes out of it.
inline uint64_t ReadPrefix(const uint8_t *at, uint32_t bytes)
{
    uint64_t length = 0;
    memcpy(&length, at, bytes);
    return length;
}

}  // namespace

uint32_t PrefixBytes(uint32_t type)
{
    if (type == kNumber)
        return 1;
    if (Among(kInlineTypes, type))
        return 8;
    return Among(kVariableTypes, type) ? 2 : 0;
}

RowLayout::RowLayout(const std::vector<Column> &columns)
{
    for (const Column &column : columns) {
        slots_.push_back({column.length, PrefixBytes(column.type)});
        const Slot &slot = slots_.back();
        most_bytes_ += uint64_t{slot.length} + slot.prefix;
        fixed_and_prefix_bytes_ += slot.prefix != 0 ? slot.prefix : slot.length;
        two_byte_prefixes_ = two_byte_prefixes_ && slot.prefix == 2;
    }
    most_bytes_ += indicator_bytes();
}

// Mostly no column is NULL.
void RowLayout::ExpandIndicators(const uint8_t *row, uint8_t *indicators) const
{
    uint8_t any = 0;
    for (uint32_t i = 0; i < indicator_bytes(); ++i)
        any |= row[i];
    if (any == 0) {
        memset(indicators, 0, slots_.size());
        return;
    }
    for (uint32_t i = 0; i < columns(); ++i)
        indicators[i] = row[i / 8] >> (7 - i % 8) & 1;
}

// The columns' places, from at. Nothing is read beyond the end. Two: every prefix has two bytes, as nearly
// always; then there is less to ask of a column. What comes back is where the walk ended, null: not well.
template <bool Two>
const uint8_t *RowLayout::Place(const uint8_t *row, const uint8_t *at, const uint8_t *end,
                                uint32_t *offsets, uint32_t *lengths, uint32_t *bad) const
{
    const Slot *const slots = slots_.data();
    const uint32_t count = columns();
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t prefix = Two ? 2 : slots[i].prefix;
        auto left = static_cast<size_t>(end - at);
        *bad = i + 1;
        if (left < prefix) [[unlikely]]
            return nullptr;
        const uint64_t length = Two           ? ReadPrefix(at, 2)
                                : prefix == 0 ? slots[i].length
                                : prefix == 2 ? ReadPrefix(at, 2)
                                              : ReadPrefix(at, prefix);
        left -= prefix;
        at += prefix;
        if (length > slots[i].length || length > left) [[unlikely]]
            return nullptr;
        offsets[i] = static_cast<uint32_t>(at - row);
        lengths[i] = static_cast<uint32_t>(length);
        at += length;
    }
    *bad = count + 1;
    return at;
}

// Hot.
bool RowLayout::Walk(const uint8_t *row, size_t bytes, uint8_t *indicators, uint32_t *offsets,
                     uint32_t *lengths, uint32_t *bad) const
{
    const uint8_t *const at = row + indicator_bytes(), *const end = row + bytes;
    *bad = 1;
    if (bytes < indicator_bytes())
        return false;
    ExpandIndicators(row, indicators);
    const uint8_t *reached = two_byte_prefixes_ ? Place<true>(row, at, end, offsets, lengths, bad)
                                                : Place<false>(row, at, end, offsets, lengths, bad);
    return reached == end && reached != nullptr;
}

void RowBuilder::Begin(uint8_t *to)
{
    row_ = to;
    at_ = to + layout_.indicator_bytes();
    column_ = 0;
    memset(to, 0, layout_.indicator_bytes());
}

void RowBuilder::Null()
{
    const RowLayout::Slot &slot = layout_.slots()[column_];
    const uint32_t zeros = slot.prefix != 0 ? slot.prefix : slot.length;
    memset(at_, 0, zeros);
    at_ += zeros;
    row_[column_ / 8] |= static_cast<uint8_t>(0x80 >> column_ % 8);
    ++column_;
}

bool RowBuilder::Put(const void *value, size_t bytes)
{
    const RowLayout::Slot &slot = layout_.slots()[column_];
    if (slot.prefix == 0 ? bytes != slot.length : bytes > slot.length)
        return false;
    const uint64_t length = bytes;
    memcpy(at_, &length, slot.prefix);
    at_ += slot.prefix;
    if (bytes != 0)
        memcpy(at_, value, bytes);
    at_ += bytes;
    ++column_;
    return true;
}

}  // namespace fenwire
