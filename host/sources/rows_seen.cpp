// host/sources/rows_seen.cpp - the place of a part whose rows have no key.

#include "host/sources/rows_seen.h"

#include <fmt/format.h>

#include "host/sources/source.h"

namespace fenwire {

namespace {

// Takes rows that were handed over before.
class Nowhere final : public RowOutlet {
public:
    explicit Nowhere(const RowLayout &layout) : layout_(layout), row_(layout.most_bytes()) {}
    uint8_t *Reserve() override { return row_.data(); }
    void Append(size_t) override { ++rows_; }
    const RowLayout &layout() const override { return layout_; }
    uint64_t rows() const override { return rows_; }

private:
    const RowLayout &layout_;
    std::vector<uint8_t> row_;
    uint64_t rows_ = 0;
};

}  // namespace

std::string RowsSeen::Text() const { return fmt::format("rows {} {}", count_, sum_); }

void RowsSeen::Repeat(PositionReader &place, const RowLayout &layout,
                      const std::function<bool(RowOutlet &)> &read_row)
{
    const auto count = place.Whole<uint64_t>();
    const auto sum = place.Whole<uint64_t>();
    place.End();
    Nowhere nowhere(layout);
    while (count_ < count && read_row(nowhere)) {
    }
    if (count_ != count || sum_ != sum)
        throw SourceError(fmt::format(
            "the first {} rows are not those that were read before the checkpoint: they were "
            "changed, or come in another order; the job can only begin anew (a key column, or "
            "ORDER BY in a query, keeps their order)",
            count));
}

}  // namespace fenwire
