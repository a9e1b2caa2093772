// tests/delimited/literal_scan.h - the column scan spelled out byte by byte: what the scanners are held to.
//
// Nothing in here is clever: escapes are taken out by moving the rest of the record, every character is
// entered with its length, every mark is compared at every character. It reads the settings from the
// same variables as the scanners, and shares no code with them.

#ifndef FENWIRE_TESTS_DELIMITED_LITERAL_SCAN_H
#define FENWIRE_TESTS_DELIMITED_LITERAL_SCAN_H

#include <string>
#include <vector>

#include "attributes/attributes_state.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

class LiteralScan {
public:
    struct Column {
        uint32_t offset, length, received;
        bool null;
    };

    // characters: walked one by one, else bytes. by_columns: stops looking when the schema is full.
    LiteralScan(std::string bytes, bool characters, bool by_columns)
        : record(std::move(bytes)), end_(record.size()), characters_(characters)
    {
        record.append(128, '\0');
        by_columns ? ScanByColumns() : Scan();
        record.resize(end_);
        if (!stopped)
            verdict = count > SG_ColCount ? 1 : count < SG_ColCount ? 2 : overflow_ != 0 ? 3 : 0;
    }

    std::string record;  // compacted
    std::vector<Column> columns;
    int verdict = 0, count = 0;
    bool stopped = false;

private:
    size_t end_, cursor_ = 0, offset_ = 0, length_ = 0;
    bool characters_, unquoted_ = true;
    int overflow_ = 0;
    std::vector<uint32_t> entries_;

    bool Stop(int with)
    {
        verdict = with;
        stopped = true;
        return false;
    }

    bool Equals(size_t at, const SpecialCharValue &mark) const
    {
        return mark.length > 0 &&
               record.compare(at, mark.length, reinterpret_cast<const char *>(mark.value),
                              mark.length) == 0;
    }
    bool Holds(size_t at, const SpecialCharValue &mark) const
    {
        return at + mark.length <= end_ && Equals(at, mark);
    }

    void TakeOut(int32_t bytes)
    {
        record.erase(cursor_, bytes);
        record.append(bytes, '\0');
        end_ -= bytes;
    }

    void TakeData(uint32_t bytes)
    {
        length_ += bytes;
        cursor_ += bytes;
        entries_.push_back(bytes);
    }

    bool Step(uint32_t &width)
    {
        width = 1;
        if (!characters_)
            return true;
        badmbcs = fourByteUTF = 0;
        if (CharLengthFn(reinterpret_cast<const uint8_t *>(&record[cursor_]), &width) == 0)
            width = 1;
        if (width == 0 || badmbcs != 0 || fourByteUTF != 0) {
            ++count;
            return Stop(5);
        }
        width = std::min(width, static_cast<uint32_t>(end_ - cursor_));
        return true;
    }

    bool Close(size_t start)
    {
        uint32_t length = static_cast<uint32_t>(length_);
        size_t first = 0;
        if (!characters_)
            entries_.assign(length, 1);
        size_t last = entries_.size();
        const auto all = static_cast<int32_t>(last);
        length_ = 0;
        if (++count > SG_ColCount)
            return true;
        if (TrimLeadingChar.length != 0) {
            while (length > 0 && first < last && Holds(start, TrimLeadingChar)) {
                start += entries_[first];
                length -= entries_[first++];
            }
        } else if (TrimLeadingNchars != 0 && TrimLeadingNchars >= all) {
            length = 0;
        } else {
            for (int32_t n = TrimLeadingNchars; n > 0 && length > 0; --n) {
                start += entries_[first];
                length -= entries_[first++];
            }
        }
        if (TrimTrailingChar.length != 0) {
            while (length > 0 && first < last &&
                   Holds(start + length - entries_[last - 1], TrimTrailingChar))
                length -= entries_[--last];
        } else if (TrimTrailingNchars != 0 && TrimTrailingNchars >= all) {
            length = 0;
        } else {
            for (int32_t n = TrimTrailingNchars; n > 0 && length > 0 && first < last; --n)
                length -= entries_[--last];
        }
        const uint32_t received = length, maximum = SG_ColLensBase[count - 1];
        bool go_on = true;
        if (length > 65536) {
            go_on = Stop(3);
        } else if (maximum != 0 && length > maximum) {
            overflow_ = overflow_ == 0 ? count : overflow_;
            if (TruncateColumnsOpt == 0 && bTruncateUTF8 == 0) {
                go_on = Stop(3);
            } else {
                length = 0;
                while (first < last && length + entries_[first] <= maximum)
                    length += entries_[first++];
            }
        }
        const bool null = go_on && length == 0 && unquoted_ && bNullColumns != 0;
        columns.push_back({static_cast<uint32_t>(start), length, received, null});
        entries_.clear();
        unquoted_ = true;
        return go_on;
    }

    bool Unquoted()
    {
        uint32_t width;
        while (cursor_ < end_) {
            if (!Step(width))
                return false;
            if (Equals(cursor_ + EscapeTextCharacter.length, TextDelimiter) &&
                Holds(cursor_, EscapeTextCharacter)) {
                if (cursor_ + EscapeTextCharacter.length + TextDelimiter.length > end_)
                    return Stop(11);
                TakeOut(EscapeTextCharacter.length);
                TakeData(TextDelimiter.length);
            } else if (Holds(cursor_, TextDelimiter)) {
                if (!Close(offset_))
                    return false;
                cursor_ += TextDelimiter.length;
                offset_ = cursor_;
                return true;
            } else {
                TakeData(width);
            }
        }
        return true;
    }

    bool Quoted()
    {
        uint32_t width;
        const SpecialCharValue &escape = EscapeQuoteCharacter;
        unquoted_ = false;
        cursor_ += OpenQuoteMark.length;
        while (cursor_ < end_) {
            if (!Step(width))
                return false;
            if (Holds(cursor_, escape)) {
                const size_t next = cursor_ + escape.length;
                const SpecialCharValue *mark = Equals(next, CloseQuoteMark)  ? &CloseQuoteMark
                                               : Equals(next, OpenQuoteMark) ? &OpenQuoteMark
                                               : Equals(next, escape)        ? &escape
                                                                             : nullptr;
                if (mark != nullptr) {
                    if (next + mark->length > end_)
                        return Stop(10);
                    TakeOut(escape.length);
                    TakeData(mark->length);
                } else if (escape.length == EscapeTextCharacter.length &&
                           Holds(cursor_, EscapeTextCharacter)) {
                    length_ += escape.length;
                    cursor_ += escape.length;
                } else {
                    return Stop(10);
                }
            } else if (Holds(cursor_, CloseQuoteMark)) {
                const size_t next = cursor_ + CloseQuoteMark.length;
                if (Holds(next, CloseQuoteMark)) {
                    TakeOut(CloseQuoteMark.length);
                    TakeData(CloseQuoteMark.length);
                    continue;
                }
                if (next < end_ && !Holds(next, TextDelimiter))
                    return Stop(9);
                if (!Close(offset_ + OpenQuoteMark.length))
                    return false;
                cursor_ += CloseQuoteMark.length + TextDelimiter.length;
                offset_ = cursor_;
                return true;
            } else {
                TakeData(width);
            }
        }
        return true;
    }

    void Scan()
    {
        uint32_t width;
        while (cursor_ < end_) {
            if (!Step(width))
                return;
            const bool quoted = Holds(cursor_, OpenQuoteMark);
            if (!quoted && bQuotedData == kYes && !Holds(cursor_, TextDelimiter)) {
                Stop(8);
                return;
            }
            if (quoted ? !Quoted() : !Unquoted())
                return;
        }
        if (length_ != 0 || count + 1 == SG_ColCount)
            Close(offset_);
    }

    void ScanByColumns()
    {
        bool ended = false;
        while (count < SG_ColCount && !ended) {
            while (cursor_ < end_ && !Holds(cursor_, TextDelimiter))
                ++cursor_, ++length_;
            ended = cursor_ >= end_;
            if (!Close(offset_))
                return;
            offset_ = cursor_ += TextDelimiter.length;
        }
        if (ended || cursor_ >= end_ || TruncateColumnsOpt != 0 || bTruncateUTF8 != 0)
            return;
        while (cursor_ < end_) {
            const bool delimiter = Holds(cursor_, TextDelimiter);
            count += delimiter;
            cursor_ += delimiter ? TextDelimiter.length : 1;
        }
        ++count;
    }
};

#endif
