// host/sources/row_maker.h - rows by rule: row k of a seed is the same wherever and whenever it is made.

#ifndef FENWIRE_HOST_SOURCES_ROW_MAKER_H
#define FENWIRE_HOST_SOURCES_ROW_MAKER_H

#include <vector>

#include "host/sources/made_values.h"
#include "host/streams/row_layout.h"

namespace fenwire {

struct RowRule {
    uint64_t seed = 1;
    uint32_t null_percent = 0;
    TextStyle text = TextStyle::Plain;
    bool edges = false;
};

class RowMaker {
public:
    // Throws SourceError for a column whose values can't be made.
    RowMaker(const Job &job, const RowRule &rule);

    // to has room for the longest row. What comes back is the row's bytes.
    size_t Make(uint64_t row, uint8_t *to);

    const RowLayout &layout() const { return layout_; }

private:
    struct MadeColumn {
        ValueMaker make;
        ValueShape shape;
    };
    RowRule rule_;
    RowLayout layout_;
    std::vector<MadeColumn> columns_;
    std::vector<uint8_t> value_;  // room for any one value
};

}  // namespace fenwire

#endif
