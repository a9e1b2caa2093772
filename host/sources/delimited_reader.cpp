// host/sources/delimited_reader.cpp

#include "host/sources/delimited_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include <unistd.h>

#include "host/job/words.h"
#include "host/sources/source.h"

namespace fenwire {

namespace {

constexpr size_t kChunk = 256 * 1024;
// From here on a row that is not whole is looked at again only when there is twice as much of it.
constexpr size_t kLongRow = size_t{1} << 20;

}  // namespace

DelimitedReader::DelimitedReader(DelimitedKeys keys, int fd, std::string what,
                                 size_t most_row_bytes)
    : keys_(std::move(keys)), fd_(fd), what_(std::move(what)), most_row_bytes_(most_row_bytes)
{
    for (const char first : {keys_.delimiter[0], '\n'})
        special_[static_cast<uint8_t>(first)] = true;
}

std::string DelimitedReader::Place() const { return fmt::format("{}, line {}", what_, line_); }

bool DelimitedReader::Next()
{
    line_ = next_line_;
    while (true) {
        if (at_ < filled_ && ScanRow())
            return true;
        if (at_end_)
            return false;
        Refill();
    }
}

void DelimitedReader::SkipMark()
{
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    while (!at_end_ && filled_ - at_ < kMark.size())
        Refill();
    bool short_of = false;
    if (Is(at_, kMark, &short_of))
        at_ += kMark.size();
}

// False: its end is not there yet.
bool DelimitedReader::ScanRow()
{
    fields_.clear();
    size_t at = at_;
    for (Found behind = Found::Delimiter; behind == Found::Delimiter;) {
        if (!ScanField(at, behind)) {
            if (filled_ - at_ > most_row_bytes_)
                throw SourceError(fmt::format(
                    "{}: the row is longer than any row of the job could be; "
                    "{}",
                    Place(),
                    keys_.quote.empty() ? "is its line end missing?" : "is a quote not closed?"));
            return false;
        }
    }
    bool quoted = false;
    for (Field &field : fields_) {
        quoted |= field.quoted;
        if (field.doubled)
            Undouble(field);
    }
    next_line_ +=
        quoted ? static_cast<uint64_t>(std::count(&buffer_[at_], &buffer_[at - 1] + 1, '\n')) : 1;
    at_ = at;
    return true;
}

bool DelimitedReader::ScanField(size_t &at, Found &behind)
{
    bool short_of = false;
    if (!keys_.quote.empty() && Is(at, keys_.quote, &short_of))
        return ScanQuoted(at, behind);
    return !short_of && ScanPlain(at, behind);
}

bool DelimitedReader::ScanQuoted(size_t &at, Found &behind)
{
    const std::string &quote = keys_.quote;
    const size_t from = at += quote.size();
    const std::string_view all(buffer_.data(), filled_);
    bool doubled = false, short_of = false;
    while (true) {
        at = all.find(quote, at);
        if (at == std::string_view::npos) {
            if (at_end_)
                throw SourceError(fmt::format("{}: the quote that column {} begins with is not "
                                              "closed by the end of the input; "
                                              "a quote within a value must be doubled",
                                              Place(), fields_.size() + 1));
            return false;
        }
        if (!Is(at + quote.size(), quote, &short_of))
            break;
        doubled = true;
        at += 2 * quote.size();
    }
    if (short_of)
        return false;
    fields_.push_back({all.substr(from, at - from), true, doubled});
    at += quote.size();
    return FindBehindQuote(at, behind);
}

bool DelimitedReader::FindBehindQuote(size_t &at, Found &behind)
{
    const std::pair<std::string_view, Found> ends[] = {
        {keys_.delimiter, Found::Delimiter}, {"\n", Found::LineEnd}, {"\r\n", Found::LineEnd}};
    bool short_of = false;
    for (const auto &[text, found] : ends) {
        if (Is(at, text, &short_of)) {
            at += text.size();
            behind = found;
            return true;
        }
    }
    if (short_of)
        return false;
    if (at < filled_)
        throw SourceError(fmt::format(
            "{}: behind the closing quote of column {} stands {} instead of the delimiter {} or a "
            "line end; a quote within a value must be doubled",
            Place(), fields_.size(), Quoted({&buffer_[at], std::min<size_t>(filled_ - at, 8)}),
            Quoted(keys_.delimiter)));
    behind = Found::Nothing;
    return true;
}

bool DelimitedReader::ScanPlain(size_t &at, Found &behind)
{
    const size_t from = at;
    bool short_of = false;
    for (; at < filled_; ++at) {
        if (!special_[static_cast<uint8_t>(buffer_[at])])
            continue;
        if (buffer_[at] == '\n') {
            const size_t to = at > from && buffer_[at - 1] == '\r' ? at - 1 : at;
            fields_.push_back({{&buffer_[from], to - from}, false, false});
            ++at;
            behind = Found::LineEnd;
            return true;
        }
        if (Is(at, keys_.delimiter, &short_of)) {
            fields_.push_back({{&buffer_[from], at - from}, false, false});
            at += keys_.delimiter.size();
            behind = Found::Delimiter;
            return true;
        }
    }
    if (!at_end_)
        return false;
    fields_.push_back({{buffer_.data() + from, at - from}, false, false});
    behind = Found::Nothing;
    return true;
}

bool DelimitedReader::Is(size_t at, std::string_view text, bool *short_of) const
{
    const size_t there = std::min(filled_ - at, text.size());
    if (memcmp(buffer_.data() + at, text.data(), there) != 0)
        return false;
    *short_of |= there < text.size() && !at_end_;
    return there == text.size();
}

// In place: the row will not be looked at again.
void DelimitedReader::Undouble(Field &field)
{
    char *to = &buffer_[static_cast<size_t>(field.text.data() - buffer_.data())];
    const char *start = to;
    const std::string &quote = keys_.quote;
    std::string_view rest = field.text;
    for (size_t found; (found = rest.find(quote)) != std::string_view::npos;) {
        const size_t part = found + quote.size();
        to = std::copy_n(rest.data(), part, to);
        rest.remove_prefix(part + quote.size());
    }
    std::copy(rest.begin(), rest.end(), to);
    field.text = {start, static_cast<size_t>(to - start) + rest.size()};
}

void DelimitedReader::Refill()
{
    const size_t pending = filled_ - at_;
    if (at_ > 0 && pending > 0)
        memmove(buffer_.data(), &buffer_[at_], pending);
    at_ = 0;
    filled_ = pending;
    if (buffer_.size() < 2 * pending + kChunk)
        buffer_.resize(2 * pending + kChunk);
    do {
        const ssize_t got = read(fd_, &buffer_[filled_], buffer_.size() - filled_);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw SourceError(fmt::format("{} could not be read: {}", what_, strerror(errno)));
        at_end_ = got == 0;
        filled_ += static_cast<size_t>(got);
    } while (!at_end_ && pending > kLongRow && filled_ < 2 * pending);
}

}  // namespace fenwire
