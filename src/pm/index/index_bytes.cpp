// pm/index/index_bytes.cpp - BuildIndexByBytes: what the kernels find, byte by byte.
//
// Quotes are followed from mark to mark here, not by parity, and nothing is shared with the kernels, so
// that each is a check of the other.

#include "pm/index/record_index.h"

namespace {

class Walk {
public:
    explicit Walk(IndexWork &work) : work_(work), marks_(*work.marks) {}

    // Stops at what breaks the window, and like the kernels at a word's border behind enough fields.
    void Run()
    {
        for (uint32_t at = 0; at < work_.length; ++at) {
            if (at % kWordBytes == 0 && work_.fields >= kFieldLimit)
                return;
            if (!Step(at))
                return;
        }
    }

private:
    enum class Before : uint8_t { Separator, Data, Closing };

    IndexWork &work_;
    const IndexMarks &marks_;
    uint32_t packed_ = 0;
    Before before_ = Before::Separator;
    bool inside_ = false;
    bool rest_of_eor_ = false;

    bool Is(uint32_t at, uint8_t byte) const { return at < work_.length && work_.data[at] == byte; }

    bool EndsRecord(uint32_t at) const
    {
        return Is(at, work_.eor[0]) && (!work_.eor_of_two || Is(at + 1, work_.eor[1]));
    }

    bool Step(uint32_t at)
    {
        const uint8_t byte = work_.data[at];
        const bool quote = marks_.quotes && byte == marks_.quote;
        if (rest_of_eor_) {
            rest_of_eor_ = false;
            before_ = Before::Separator;
            return true;
        }
        if (marks_.quotes && marks_.quote_escape && byte == marks_.escapes[1])
            return false;
        if ((marks_.escape && byte == marks_.escapes[0]) || (marks_.high_is_odd && byte >= 0x80))
            work_.odd[work_.odds++] = at;
        if (inside_)
            return InQuotes(byte, quote);
        if (quote)
            return Opens(byte);
        const bool ends = EndsRecord(at);
        if (ends || byte == marks_.delimiter) {
            EndField(at, ends);
            return true;
        }
        if (before_ == Before::Closing)
            return false;
        Keep(byte);
        before_ = Before::Data;
        return true;
    }

    bool InQuotes(uint8_t byte, bool quote)
    {
        if (quote) {
            inside_ = false;
            before_ = Before::Closing;
        } else {
            Keep(byte);
        }
        return true;
    }

    bool Opens(uint8_t byte)
    {
        if (before_ == Before::Data)
            return false;
        if (before_ == Before::Closing)
            Keep(byte);  // the second one of a pair
        inside_ = true;
        return true;
    }

    void Keep(uint8_t byte) { work_.packed[packed_++] = byte; }

    void EndField(uint32_t at, bool ends_record)
    {
        const bool quoted = before_ == Before::Closing;
        if (marks_.quotes && marks_.only_quoted && before_ == Before::Data)
            work_.odd[work_.odds++] = at;
        work_.field_end[work_.fields++] = packed_ | (quoted ? kQuotedField : 0);
        if (ends_record) {
            work_.record_end[work_.records] = at;
            work_.record_fields[work_.records++] = work_.fields;
            rest_of_eor_ = work_.eor_of_two;
        }
        before_ = Before::Separator;
    }
};

void CutRows(IndexWork &work)
{
    const auto columns = static_cast<uint32_t>(work.marks->columns);
    uint32_t field = 0, begin = 0, odd = 0;
    for (uint32_t r = 0; r < work.records; ++r) {
        const uint32_t first = field, row = begin;
        bool regular = true;
        uint32_t last_length = 0;
        bool last_quoted = false;
        for (uint32_t i = 0; field < work.record_fields[r]; ++i, ++field) {
            const uint32_t end = work.field_end[field] & ~kQuotedField;
            last_quoted = (work.field_end[field] & kQuotedField) != 0;
            last_length = end - begin;
            work.offsets[field] = begin - row;
            work.lengths[field] = last_length;
            work.indicators[field] = last_length == 0 && !last_quoted && work.marks->empty_is_null;
            if (i < columns && last_length > work.limits[i])
                regular = false;
            begin = end;
        }
        const uint32_t found = field - first;
        const bool empty_rest = found == columns + 1 && last_length == 0 && !last_quoted;
        if (found != columns && !empty_rest)
            regular = false;
        for (; odd < work.odds && work.odd[odd] <= work.record_end[r]; ++odd)
            regular = false;
        work.regular[r] = regular;
    }
}

}  // namespace

void BuildIndexByBytes(IndexWork &work)
{
    work.records = work.fields = work.odds = 0;
    Walk(work).Run();
    CutRows(work);
}
