// host/console/figures.cpp - numbers, sizes, durations and names as a person reads them.
//
// A figure is rounded before its unit is chosen, so that no "1024.0 KiB" and no "60.0 s" come out.

#include "host/console/figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <iterator>

#include "host/job/words.h"

namespace fenwire {

namespace {

struct Range {
    uint32_t first, last;
};

// clang-format off
constexpr Range kNoColumn[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x064B, 0x065F}, {0x093C, 0x093C},
    {0x094D, 0x094D}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x202A, 0x202E}, {0x2060, 0x206F}, {0x20D0, 0x20FF},
    {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF},
};
constexpr Range kTwoColumns[] = {
    {0x1100, 0x115F}, {0x2E80, 0x303E}, {0x3041, 0x3247}, {0x3250, 0x4DBF}, {0x4E00, 0xA4CF},
    {0xA960, 0xA97F}, {0xAC00, 0xD7A3}, {0xF900, 0xFAFF}, {0xFE30, 0xFE6F}, {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1FAFF}, {0x20000, 0x3FFFD},
};
// clang-format on

template <size_t N>
bool IsIn(const Range (&ranges)[N], uint32_t code)
{
    const auto *after = std::ranges::upper_bound(ranges, code, {}, &Range::first);
    return after != std::begin(ranges) && code <= std::prev(after)->last;
}

// The character at the start of text: its bytes and its columns. A byte that is no UTF-8 counts as a
// character of one column.
struct Character {
    size_t bytes, columns;
};

Character FirstCharacter(std::string_view text)
{
    const size_t length = Utf8Length(text);
    if (length < 2)
        return {1, 1};
    uint32_t code = static_cast<uint8_t>(text[0]) & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i)
        code = code << 6 | (static_cast<uint8_t>(text[i]) & 0x3Fu);
    if (IsIn(kNoColumn, code))
        return {length, 0};
    return {length, IsIn(kTwoColumns, code) ? size_t{2} : size_t{1}};
}

// Bytes at the start of text that fit into the columns, with the combining marks that follow.
size_t HeadBytes(std::string_view text, size_t columns)
{
    size_t bytes = 0, used = 0;
    while (bytes < text.size()) {
        const Character next = FirstCharacter(text.substr(bytes));
        if (used + next.columns > columns)
            break;
        used += next.columns;
        bytes += next.bytes;
    }
    return bytes;
}

// The end of text that fits into the columns; never begins with a combining mark.
std::string_view Tail(std::string_view text, size_t columns)
{
    size_t left = Columns(text);
    while (!text.empty()) {
        const Character first = FirstCharacter(text);
        if (left <= columns && first.columns > 0)
            break;
        left -= first.columns;
        text.remove_prefix(first.bytes);
    }
    return text;
}

double AtLeastZero(double x) { return x > 0 ? x : 0; }  // also for what is no number

constexpr double kLongest = 1e9;  // seconds; longer is not said

std::string LongDuration(double seconds)
{
    const auto whole = static_cast<uint64_t>(std::llround(std::min(seconds, kLongest)));
    const uint64_t minutes = whole / 60, hours = minutes / 60;
    if (hours == 0)
        return fmt::format("{} min {:02} s", minutes, whole % 60);
    if (hours < 24)
        return fmt::format("{} h {:02} min", hours, minutes % 60);
    return fmt::format("{} d {:02} h", hours / 24, hours % 24);
}

}  // namespace

std::string Grouped(uint64_t number)
{
    std::string digits = fmt::format("{}", number);
    for (size_t at = digits.size(); at > 3;) {
        at -= 3;
        digits.insert(at, 1, ',');
    }
    return digits;
}

std::string Amount(uint64_t number, const char *one, const char *many)
{
    return fmt::format("{} {}", Grouped(number), number == 1 ? one : many);
}

std::string Brief(uint64_t number)
{
    constexpr char kUnits[] = {'k', 'M', 'G', 'T', 'P', 'E'};
    if (number < 1000)
        return fmt::format("{}", number);
    double value = static_cast<double>(number) / 1000;
    size_t unit = 0;
    while (value >= 999.5 && unit + 1 < std::size(kUnits)) {
        value /= 1000;
        ++unit;
    }
    return value < 9.95 ? fmt::format("{:.1f}{}", value, kUnits[unit])
                        : fmt::format("{:.0f}{}", value, kUnits[unit]);
}

std::string Size(uint64_t bytes)
{
    constexpr std::array kUnits = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024)
        return fmt::format("{} B", bytes);
    double value = static_cast<double>(bytes) / 1024;
    size_t unit = 0;
    while (value >= 1023.95 && unit + 1 < kUnits.size()) {
        value /= 1024;
        ++unit;
    }
    return fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string Megabytes(double bytes_per_second)
{
    const double value = std::min(AtLeastZero(bytes_per_second) / 1e6, 1e12);
    return value < 999.95 ? fmt::format("{:.1f} MB/s", value)
                          : Grouped(static_cast<uint64_t>(std::llround(value))) + " MB/s";
}

std::string Duration(double seconds)
{
    seconds = AtLeastZero(seconds);
    return seconds < 59.95 ? fmt::format("{:.1f} s", seconds) : LongDuration(seconds);
}

std::string Countdown(double seconds)
{
    seconds = std::round(AtLeastZero(seconds));
    return seconds < 60 ? fmt::format("{:.0f} s", seconds) : LongDuration(seconds);
}

std::string UtcWords(const std::string &moment)
{
    std::string words = moment;
    if (words.size() == std::string_view("2026-11-21T20:15:00Z").size())
        words.replace(19, 1, " UTC").replace(10, 1, " ");
    return Escaped(words);
}

std::string Percent(uint64_t part, uint64_t whole)
{
    if (part >= whole)
        return "100%";
    const double share = static_cast<double>(part) / static_cast<double>(whole);
    return fmt::format("{}%", std::min(static_cast<int>(share * 100), 99));
}

uint64_t PerSecond(double amount, double seconds)
{
    if (!(seconds > 0) || !(amount > 0))
        return 0;
    return static_cast<uint64_t>(std::llround(std::min(amount / seconds, 1e18)));
}

size_t Columns(std::string_view text)
{
    size_t columns = 0;
    while (!text.empty()) {
        const Character first = FirstCharacter(text);
        columns += first.columns;
        text.remove_prefix(first.bytes);
    }
    return columns;
}

std::string Shortened(std::string_view name, size_t columns)
{
    constexpr std::string_view kGap = "...";
    std::string shown = Escaped(name);
    if (Columns(shown) <= columns)
        return shown;
    if (columns < 2 * kGap.size())
        return Cut(shown, columns);
    // The end tells files of one job apart: it gets the greater part.
    const size_t room = columns - kGap.size(), head = room / 3;
    const std::string_view tail = Tail(shown, room - head);
    return fmt::format("{}{}{}", std::string_view(shown).substr(0, HeadBytes(shown, head)), kGap,
                       tail);
}

std::string Cut(std::string_view text, size_t columns)
{
    return std::string(text.substr(0, HeadBytes(text, columns)));
}

std::string PaddedLeft(std::string_view text, size_t columns)
{
    const size_t used = Columns(text);
    return std::string(columns > used ? columns - used : 0, ' ').append(text);
}

std::string PaddedRight(std::string_view text, size_t columns)
{
    const size_t used = Columns(text);
    return std::string(text).append(columns > used ? columns - used : 0, ' ');
}

}  // namespace fenwire
