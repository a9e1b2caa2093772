// host/job/words.cpp - words as people write them: compared, guessed, quoted.

#include "host/job/words.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>

namespace fenwire {

namespace {

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

std::string UpperCase(std::string_view text)
{
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), Upper);
    return upper;
}

bool SameWord(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, {}, Upper, Upper);
}

std::string_view Trimmed(std::string_view text)
{
    const size_t from = text.find_first_not_of(kBlanks);
    if (from == std::string_view::npos)
        return {};
    return text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

size_t EditDistance(std::string_view a, std::string_view b)
{
    std::vector<size_t> before_last, last(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool same = Upper(a[i - 1]) == Upper(b[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && Upper(a[i - 1]) == Upper(b[j - 2]) &&
                Upper(a[i - 2]) == Upper(b[j - 1]))
                row[j] = std::min(row[j], before_last[j - 2] + 1);
        }
        before_last = last;
        last = row;
    }
    return last[b.size()];
}

std::string_view NearestWord(std::string_view word, std::span<const std::string_view> words)
{
    constexpr size_t kLongestWord =
        80;  // nobody mistypes longer words, and the search is quadratic
    if (word.empty() || word.size() > kLongestWord)
        return {};
    std::string_view nearest;
    size_t best = std::max<size_t>(1, word.size() / 3) + 1;
    for (const std::string_view candidate : words) {
        const size_t distance = EditDistance(word, candidate);
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string DidYouMean(std::string_view word, std::span<const std::string_view> words)
{
    const std::string_view nearest = NearestWord(word, words);
    return nearest.empty() ? std::string() : fmt::format("did you mean \"{}\"?", nearest);
}

std::string OrList(std::span<const std::string_view> words)
{
    std::string text;
    for (size_t i = 0; i < words.size(); ++i)
        text += fmt::format("{}{}", i == 0 ? "" : i + 1 < words.size() ? ", " : " or ", words[i]);
    return text;
}

size_t Utf8Length(std::string_view text)
{
    if (text.empty())
        return 0;
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(0);
    const size_t length = lead < 0x80   ? 1
                          : lead < 0xC2 ? 0
                          : lead < 0xE0 ? 2
                          : lead < 0xF0 ? 3
                          : lead < 0xF5 ? 4
                                        : 0;
    if (length == 0 || length > text.size())
        return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    }
    const bool overlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool no_character = (lead == 0xED && byte(1) > 0x9F) || (lead == 0xF4 && byte(1) > 0x8F);
    return overlong || no_character ? 0 : length;
}

std::string Escaped(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const size_t length = Utf8Length(text);
        const auto byte = static_cast<uint8_t>(text[0]);
        // The second row of control characters (U+0080 to U+009F) drives terminals as well.
        const bool control = byte < 0x20 || byte == 0x7F ||
                             (byte == 0xC2 && length == 2 && static_cast<uint8_t>(text[1]) < 0xA0);
        if (length == 0 || control) {
            for (const char c : text.substr(0, std::max<size_t>(length, 1)))
                shown += fmt::format("\\x{:02x}", static_cast<uint8_t>(c));
        } else {
            shown += text.substr(0, length);
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return shown;
}

std::string Quoted(std::string_view text)
{
    constexpr size_t kLongestShown = 80;
    size_t end = std::min(text.size(), kLongestShown);
    while (end < text.size() && end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80)
        --end;
    return fmt::format("\"{}{}\"", Escaped(text.substr(0, end)), end < text.size() ? "..." : "");
}

std::string SqlName(std::string_view name)
{
    std::string quoted = "\"";
    for (const char c : name)
        quoted.append(c == '"' ? 2 : 1, c);
    return quoted + '"';
}

std::string ShownPath(const std::filesystem::path &path)
{
    std::error_code failure;
    const std::filesystem::path near = std::filesystem::proximate(path, failure);
    return failure || near.string().starts_with("..") ? path.string() : near.string();
}

}  // namespace fenwire
