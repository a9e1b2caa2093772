// tests/host/sources/source_rows.h - what a source hands over, taken apart again.

#ifndef FENWIRE_TESTS_HOST_SOURCES_SOURCE_ROWS_H
#define FENWIRE_TESTS_HOST_SOURCES_SOURCE_ROWS_H

#include <optional>
#include <string>
#include <vector>

#include "host/job/column_syntax.h"
#include "host/sources/source.h"

using Value = std::optional<std::string>;  // empty: NULL
using Row = std::vector<Value>;

inline std::vector<fenwire::Column> Columns(const std::vector<std::string> &texts)
{
    std::vector<fenwire::Column> columns;
    std::vector<fenwire::Complaint> found;
    for (const std::string &text : texts) {
        columns.emplace_back();
        if (!fenwire::ParseColumn(text, {}, columns.back(), found))
            throw std::runtime_error(found[0].what);
    }
    return columns;
}

// Keeps the rows' bytes.
class KeepingOutlet final : public fenwire::RowOutlet {
public:
    explicit KeepingOutlet(const std::vector<fenwire::Column> &columns)
        : layout_(columns), room_(layout_.most_bytes())
    {
    }
    uint8_t *Reserve() override { return room_.data(); }
    void Append(size_t row_bytes) override
    {
        kept.emplace_back(room_.begin(), room_.begin() + row_bytes);
    }
    const fenwire::RowLayout &layout() const override { return layout_; }
    uint64_t rows() const override { return kept.size(); }

    // The values of row i; throws when its bytes are no row.
    Row Values(size_t i) const
    {
        const uint32_t n = layout_.columns();
        std::vector<uint8_t> indicators(n);
        std::vector<uint32_t> offsets(n), lengths(n);
        uint32_t bad = 0;
        const auto *bytes = reinterpret_cast<const uint8_t *>(kept[i].data());
        if (!layout_.Walk(bytes, kept[i].size(), indicators.data(), offsets.data(), lengths.data(),
                          &bad))
            throw std::runtime_error("no row: column " + std::to_string(bad));
        Row row;
        for (uint32_t c = 0; c < n; ++c)
            row.push_back(indicators[c] != 0 ? Value() : kept[i].substr(offsets[c], lengths[c]));
        return row;
    }

    std::vector<std::string> kept;

private:
    fenwire::RowLayout layout_;
    std::vector<uint8_t> room_;
};

// All rows of one part.
inline KeepingOutlet RowsOf(const fenwire::Job &job, int part = 1, int parts = 1)
{
    KeepingOutlet outlet(job.columns);
    const auto source = fenwire::MakeSource(job);
    source->Open(part, parts);
    while (source->Read(outlet)) {
    }
    return outlet;
}

#endif
