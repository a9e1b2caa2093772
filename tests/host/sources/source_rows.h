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

// Of a job that fails: in Check or later.
inline std::string SourceErrorOf(const fenwire::Job &job)
{
    try {
        fenwire::MakeSource(job)->Check();
        RowsOf(job, 1, job.source_instances);
    } catch (const fenwire::SourceError &error) {
        return error.what();
    }
    return "no error";
}

// The rows of each part, in a job that is stopped behind every Read and goes on where it stood.
inline std::vector<std::vector<std::string>> RowsWithStops(const fenwire::Job &job, int parts)
{
    const auto count = static_cast<size_t>(parts);
    std::vector<KeepingOutlet> outlets(count, KeepingOutlet(job.columns));
    std::vector<std::string> places(count);
    for (int ended = 0, again = 0; again < 2; again += ended == parts ? 1 : 0) {
        std::vector<std::unique_ptr<fenwire::Source>> sources;
        for (int part = 1; part <= parts; ++part) {
            sources.push_back(fenwire::MakeSource(job));
            sources.back()->Open(part, parts);
        }
        ended = 0;
        for (size_t i = 0; i < count; ++i) {
            if (!places[i].empty())
                sources[i]->GoTo(places[i]);
            ended += sources[i]->Read(outlets[i]) ? 0 : 1;
            places[i] = sources[i]->Position().value_or("no place");
        }
    }
    std::vector<std::vector<std::string>> rows;
    for (const KeepingOutlet &outlet : outlets)
        rows.push_back(outlet.kept);
    return rows;
}

// What GoTo says to a place, in part 1 of so many; empty: it goes there.
inline std::string RefusalOf(const fenwire::Job &job, const std::string &place, int parts = 1)
{
    const auto source = fenwire::MakeSource(job);
    source->Open(1, parts);
    try {
        source->GoTo(place);
        return {};
    } catch (const fenwire::SourceError &error) {
        return error.what();
    }
}

#endif
