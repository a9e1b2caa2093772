// pm/formats/text_fast.cpp - the end of a record by searches instead of steps.
//
// Only for byte-wise data with quote marks of one byte. A record that does not end within the buffer
// goes back to the literal scan, which alone knows how to refill between quotes; without quotes the
// search goes on behind a refill. Both ways find the same ends, which the tests hold them to.

#include "pm/formats/text_scan.h"
#include "pm/pm_state.h"

namespace {

bool IsByte(const SpecialCharValue &mark) { return mark.length == 1; }

bool IsInMark(const pmFile *file, const SpecialCharValue &mark)
{
    return mark.length != 0 && memchr(file->EOR, mark.value[0], file->EORLength) != nullptr;
}

// Marks that stand in each other's way are left to the literal scan.
bool QuotesAreSimple(const pmFile *file)
{
    return IsByte(OpenQuoteMark) && IsByte(CloseQuoteMark) && EscapeQuoteCharacter.length <= 1 &&
           !IsInMark(file, OpenQuoteMark) && !IsInMark(file, CloseQuoteMark) &&
           !IsInMark(file, EscapeQuoteCharacter);
}

const uint8_t *Find(const uint8_t *from, const uint8_t *end, uint8_t byte)
{
    return static_cast<const uint8_t *>(memchr(from, byte, static_cast<size_t>(end - from)));
}

// A hit on the mark's last byte, with the rest of the mark before it and inside the record.
bool EndsRecord(const pmFile *file, const uint8_t *start, const uint8_t *hit)
{
    const uint32_t before = file->EORLength - 1U;
    return static_cast<size_t>(hit - start) >= before &&
           memcmp(hit - before, file->EOR, before) == 0;
}

// ---- Without quotes ----------------------------------------------------------------------------

int ScanPlain(TextScan &scan)
{
    const pmFile *file = scan.file;
    const uint32_t before = file->EORLength - 1U;

    scan.offset = file->BufferPosition;
    for (;;) {
        const uint8_t *start = file->Buffer + file->BufferPosition;
        const uint8_t *end = file->Buffer + file->BufferEnd;
        const uint8_t *from = file->Buffer + scan.offset;
        while ((from = Find(from, end, file->EOR[before])) != nullptr) {
            if (EndsRecord(file, start, from)) {
                scan.length = static_cast<uint32_t>(from - start) - before;
                return pmrcOk;
            }
            ++from;
        }
        // Bytes of a mark that is not whole yet do not count as bytes of the record.
        const uint32_t unread = file->BufferEnd - file->BufferPosition;
        scan.offset = file->BufferPosition + (unread > before ? unread - before : 0);
        if (const int code = RefillForScan(scan); code != pmrcOk)
            return code;
    }
}

// ---- With quotes of one byte -------------------------------------------------------------------

// Searches in the record's bytes; a position stays good as long as the scan has not passed it.
class QuotedSearch {
public:
    explicit QuotedSearch(const pmFile *file)
        : file_(file), start_(file->Buffer + file->BufferPosition),
          end_(file->Buffer + file->BufferEnd), at_(start_)
    {
    }

    // The mark's last byte, or null when the buffer holds no end of this record.
    const uint8_t *FindEnd()
    {
        const uint8_t last = file_->EOR[file_->EORLength - 1];
        while (const uint8_t *mark = Next(&mark_, last)) {
            if (SkipQuotedFieldBefore(mark))
                continue;
            at_ = mark + 1;
            if (EndsRecord(file_, start_, mark))
                return mark;
        }
        return nullptr;
    }

private:
    const pmFile *file_;
    const uint8_t *start_, *end_, *at_;
    const uint8_t *mark_ = nullptr, *close_ = nullptr;  // the next ones, when not before at_

    const uint8_t *Next(const uint8_t **known, uint8_t byte) const
    {
        if (at_ == nullptr)
            return nullptr;
        if (*known == nullptr || *known < at_)
            *known = Find(at_, end_, byte);
        return *known;
    }

    // Moves behind the next quoted field if one begins before limit. An unclosed one leaves nothing.
    bool SkipQuotedFieldBefore(const uint8_t *limit)
    {
        while (const uint8_t *quote = Find(at_, limit, OpenQuoteMark.value[0])) {
            at_ = quote + 1;
            const auto offset = static_cast<uint32_t>(quote - file_->Buffer);
            if (quote == start_ || IsBehindDelimiter(file_, offset)) {
                at_ = BehindClose();
                return true;
            }
        }
        return false;
    }

    const uint8_t *BehindClose()
    {
        const uint8_t close = CloseQuoteMark.value[0], escape = EscapeQuoteCharacter.value[0];
        while (const uint8_t *next = Next(&close_, close)) {
            if (EscapeQuoteCharacter.length != 0) {
                const uint8_t *escaped = Find(at_, next + 1, escape);
                if (escaped != nullptr) {
                    at_ = escaped + 1;
                    if (at_ < end_ && (*at_ == escape || *at_ == close))
                        ++at_;
                    continue;
                }
            }
            at_ = next + 1;
            if (at_ == end_ || *at_ != close)
                return at_;
            ++at_;
        }
        return nullptr;
    }
};

int ScanQuoted(TextScan &scan)
{
    const pmFile *file = scan.file;
    const uint8_t *last = QuotedSearch(file).FindEnd();
    if (last == nullptr)
        return ScanLiteral(scan);
    const auto end = static_cast<uint32_t>(last - file->Buffer) + 1;
    scan.length = end - file->EORLength - file->BufferPosition;
    return pmrcOk;
}

}  // namespace

int ScanFast(TextScan &scan)
{
    if (CharSetFamily == kFamilyUtf16)
        return ScanLiteral(scan);
    if (scan.file->bQuotes == 0) [[likely]]
        return ScanPlain(scan);
    return QuotesAreSimple(scan.file) ? ScanQuoted(scan) : ScanLiteral(scan);
}
