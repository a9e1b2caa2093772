// delimited/read_back.cpp - the reader's rules, applied to a record that is about to be written.
//
// Only records that hold something suspicious come here, so it goes character by character.

#include "delimited/read_back.h"

#include <string_view>

#include "attributes/attributes_state.h"
#include "delimited/assemble.h"
#include "delimited/characters.h"
#include "pm/pm_state.h"

namespace {

bool SameMarks(const MarkText &one, const MarkText &other)
{
    return one.length == other.length && memcmp(one.bytes, other.bytes, one.length) == 0;
}

bool HoldsMark(const uint8_t *at, const uint8_t *end, const MarkText &mark)
{
    return mark.length != 0 && end - at >= static_cast<ptrdiff_t>(mark.length) &&
           memcmp(at, mark.bytes, mark.length) == 0;
}

class FieldReader {
public:
    explicit FieldReader(const uint8_t *end) : end_(end) {}

    // Reads the field at a place, which must hold the value. Answers where it ends; null: it doesn't.
    const uint8_t *Read(const uint8_t *at, OutgoingValue value)
    {
        value_ = value.begin;
        value_end_ = value.begin + value.length;
        const bool quoted = quotes_ && Holds(at, Marks.open_quote);
        const uint8_t *field_end = quoted ? Quoted(at + Marks.open_quote.length) : Unquoted(at);
        const bool whole =
            field_end != nullptr && value_ == value_end_ && value.length <= kMaxColumnBytes;
        return whole && (quoted || !HoldsLineFeed(at, field_end)) ? field_end : nullptr;
    }

private:
    const uint8_t *end_, *value_ = nullptr, *value_end_ = nullptr;
    const bool quotes_ = bQuotedData != kNo && Marks.open_quote.length != 0;
    const bool kept_escape_ = SameMarks(Marks.quote_escape, Marks.escape);

    bool Holds(const uint8_t *at, const MarkText &mark) const { return HoldsMark(at, end_, mark); }

    bool Take(const uint8_t *at, uint32_t length)
    {
        const bool same = value_end_ - value_ >= static_cast<ptrdiff_t>(length) &&
                          memcmp(value_, at, length) == 0;
        value_ += same ? length : 0;
        return same;
    }

    // Records are searched for their end byte by byte, also in UTF-16.
    static bool HoldsLineFeed(const uint8_t *at, const uint8_t *end)
    {
        if (CharSetFamily != kFamilyUtf16)
            return at < end && memchr(at, '\n', static_cast<size_t>(end - at)) != nullptr;
        for (; end - at >= 2; ++at) {
            if (at[0] == '\n' && at[1] == 0)
                return true;
        }
        return false;
    }

    bool TakeCharacter(const uint8_t *&at)
    {
        uint32_t width = 0;
        if (!IsReadableCharacter(at, static_cast<uint32_t>(end_ - at), &width) || !Take(at, width))
            return false;
        at += width;
        return true;
    }

    const uint8_t *Unquoted(const uint8_t *at)
    {
        const MarkText &escape = Marks.escape, &delimiter = Marks.delimiter;
        while (at < end_) {
            if (Holds(at, escape) && Holds(at + escape.length, delimiter)) {
                if (!Take(at + escape.length, delimiter.length))
                    return nullptr;
                at += escape.length + delimiter.length;
            } else if (Holds(at, delimiter)) {
                return at;
            } else if (!TakeCharacter(at)) {
                return nullptr;
            }
        }
        return at;
    }

    // What an escape makes data of; null: nothing, and the record is refused.
    const MarkText *Escaped(const uint8_t *at) const
    {
        for (const MarkText *mark : {&Marks.close_quote, &Marks.open_quote, &Marks.quote_escape}) {
            if (Holds(at, *mark))
                return mark;
        }
        return nullptr;
    }

    bool TakeEscape(const uint8_t *&at)
    {
        const uint32_t length = Marks.quote_escape.length;
        const MarkText *mark = Escaped(at + length);
        if (mark == nullptr && !kept_escape_)
            return false;
        if (!(mark != nullptr ? Take(at + length, mark->length) : Take(at, length)))
            return false;
        at += length + (mark != nullptr ? mark->length : 0);
        return true;
    }

    const uint8_t *Quoted(const uint8_t *at)
    {
        const MarkText &close = Marks.close_quote;
        while (at < end_) {
            if (Holds(at, Marks.quote_escape)) {
                if (!TakeEscape(at))
                    return nullptr;
            } else if (Holds(at, close) && Holds(at + close.length, close)) {
                if (!Take(at, close.length))
                    return nullptr;
                at += 2 * size_t{close.length};
            } else if (Holds(at, close)) {
                at += close.length;
                return at == end_ || Holds(at, Marks.delimiter) ? at : nullptr;
            } else if (!TakeCharacter(at)) {
                return nullptr;
            }
        }
        return nullptr;
    }
};

bool BeginsWith(const uint8_t *at, const uint8_t *end, std::string_view bytes)
{
    return static_cast<size_t>(end - at) >= bytes.size() &&
           memcmp(at, bytes.data(), bytes.size()) == 0;
}

// Bytes at the head of a file that would be taken for its byte order mark.
bool LooksLikeByteOrderMark(const uint8_t *record, const uint8_t *end)
{
    using namespace std::string_view_literals;
    if (bWriteBOM != 0 || CharSetFamily == kFamilyOrdinary)
        return false;
    const auto marks = {"\xFE\xFF"sv, "\xFF\xFE"sv, "\xEF\xBB\xBF"sv, "\x00\x00\xFE\xFF"sv};
    return std::any_of(marks.begin(), marks.end(),
                       [&](std::string_view mark) { return BeginsWith(record, end, mark); });
}

// Whether a reader that looks for the end of a record finds it at the record's own, as far as quote marks go.
// Where fields begin it knows from the bytes before them, whatever those belong to.
class RecordWalk {
public:
    RecordWalk(const uint8_t *record, const uint8_t *end) : record_(record), at_(record), end_(end)
    {
    }

    // Once it is known how records end: a quote mark opens where a field begins.
    bool EndsOutsideQuotes()
    {
        while (at_ < end_) {
            if (inside_)
                StepInside(1);
            else if (!(IsFieldStart() && Open()))
                ++at_;
        }
        return !inside_;
    }

    // Before that a quote mark opens wherever it stands, and a CR before the line end becomes a half of it.
    bool EndsWithTheRecord()
    {
        while (at_ < end_) {
            if (inside_)
                StepInside(Width());
            else if (!StepOutside())
                return false;
        }
        return !inside_ && !cr_;
    }

private:
    const uint8_t *record_, *at_, *end_;
    bool inside_ = false, cr_ = false;

    bool Skip(const MarkText &mark)
    {
        const bool holds = HoldsMark(at_, end_, mark);
        at_ += holds ? mark.length : 0;
        return holds;
    }

    uint32_t Width() const { return CharacterWidth(at_, static_cast<uint32_t>(end_ - at_)); }

    bool IsFieldStart() const
    {
        const MarkText &delimiter = Marks.delimiter;
        return at_ == record_ || (at_ - record_ >= static_cast<ptrdiff_t>(delimiter.length) &&
                                  HoldsMark(at_ - delimiter.length, at_, delimiter));
    }

    bool Open()
    {
        inside_ = bQuotedData != kNo && Skip(Marks.open_quote);
        return inside_;
    }

    void StepInside(uint32_t width)
    {
        if (Skip(Marks.quote_escape))
            (void)(Skip(Marks.quote_escape) || Skip(Marks.close_quote));
        else if (Skip(Marks.close_quote))
            inside_ = Skip(Marks.close_quote);
        else
            at_ += width;
    }

    bool StepOutside()
    {
        cr_ = false;
        if (Open())
            return true;
        const uint32_t width = Width();
        const uint8_t low = width == 2 && at_[1] != 0 ? uint8_t{0} : at_[0];
        cr_ = low == '\r';
        at_ += width;
        return low != '\n';
    }
};

}  // namespace

bool ReadsBack(const OutgoingRow &row, const uint8_t *record, const uint8_t *end, bool leads)
{
    FieldReader reader(end);
    const uint8_t *at = record;

    if (leads &&
        (LooksLikeByteOrderMark(record, end) || !RecordWalk(record, end).EndsWithTheRecord()))
        return false;
    if (!RecordWalk(record, end).EndsOutsideQuotes())
        return false;
    for (int32_t i = 0; i < row.columns; ++i) {
        at = reader.Read(at, row.IsNull(i) ? OutgoingValue{row.data, 0} : row.Value(i));
        if (at == nullptr ||
            (row.IsDelimited(i) ? !HoldsMark(at, end, Marks.delimiter) : at != end))
            return false;
        at += row.IsDelimited(i) ? Marks.delimiter.length : 0;
    }
    return true;
}
