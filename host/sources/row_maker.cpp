// host/sources/row_maker.cpp

#include "host/sources/row_maker.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/sources/source.h"

namespace fenwire {

namespace {

// The widest value of a type without a declared length.
constexpr uint32_t kRoom = 64;

}  // namespace

RowMaker::RowMaker(const Job &job, const RowRule &rule) : rule_(rule), layout_(job.columns)
{
    uint32_t longest = kRoom;
    for (const Column &column : job.columns) {
        const ValueShape shape = {column.type,  column.length,        column.precision,
                                  column.scale, IsUtf16(job.charset), rule.text,
                                  rule.edges};
        if (const std::string why = WhyNotMade(shape); !why.empty())
            throw SourceError(fmt::format("column {}: {}", Quoted(column.name), why));
        columns_.push_back({MakerOf(column.type), shape});
        longest = std::max(longest, column.length);
    }
    value_.resize(longest);
}

size_t RowMaker::Make(uint64_t row, uint8_t *to)
{
    Draw draw(rule_.seed, row);
    RowBuilder builder(layout_, to);
    for (const MadeColumn &column : columns_) {
        if (rule_.null_percent > 0 && draw.Below(100) < rule_.null_percent) {
            builder.Null();
            continue;
        }
        const size_t bytes = column.make(draw, column.shape, value_.data());
        if (!builder.Put(value_.data(), bytes))
            throw SourceError(
                fmt::format("the generator made {} bytes for a column of type {} with {}", bytes,
                            column.shape.type, column.shape.length));
    }
    return builder.bytes();
}

}  // namespace fenwire
