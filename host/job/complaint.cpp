// host/job/complaint.cpp - how complaints look.
//
//     load.toml:7:1: error: unknown section [taget]
//         7 | [taget]
//           | ^
//           hint: did you mean [target]?
//
// What the file holds is shown escaped where it could drive a terminal, and long lines are cut around
// the caret.

#include "host/job/complaint.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr size_t kShownBefore = 70, kShownBytes = 140;

std::string Line(std::string_view source, int number)
{
    while (--number > 0) {
        const size_t end = source.find('\n');
        if (end == std::string_view::npos)
            return {};
        source.remove_prefix(end + 1);
    }
    std::string_view line = source.substr(0, source.find('\n'));
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    std::string shown(line);
    std::ranges::replace(shown, '\t', ' ');
    return shown;
}

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// Columns that the text takes on a screen, near enough: one for each character.
size_t Width(std::string_view text)
{
    return text.size() - static_cast<size_t>(std::ranges::count_if(text, IsContinuation));
}

// The line with a caret under its column.
std::string ShowLine(std::string_view line, SourcePosition at)
{
    const size_t caret = std::min(static_cast<size_t>(at.column - 1), line.size());
    size_t from = caret > kShownBefore ? caret - kShownBefore : 0;
    size_t to = std::min(line.size(), from + kShownBytes);
    while (from > 0 && IsContinuation(line[from]))
        --from;
    while (to < line.size() && IsContinuation(line[to]))
        ++to;
    const std::string before = Escaped(line.substr(from, caret - from));
    const std::string text = before + Escaped(line.substr(caret, to - caret));
    const char *head = from > 0 ? "..." : "";
    return fmt::format("{:>8} | {}{}{}\n{:>8} | {:>{}}\n", at.line, head, text,
                       to < line.size() ? "..." : "", "", "^",
                       Width(before) + std::string_view(head).size() + 1);
}

std::string Show(const std::string &file, const std::string &source, const Complaint &complaint)
{
    std::string text;
    const SourcePosition at = complaint.at;
    if (at == kCommandLine)
        text = fmt::format("command line: error: {}\n", complaint.what);
    else if (at.line == 0)
        text = fmt::format("{}: error: {}\n", file, complaint.what);
    else
        text = fmt::format("{}:{}:{}: error: {}\n{}", file, at.line, at.column, complaint.what,
                           ShowLine(Line(source, at.line), at));
    if (!complaint.hint.empty())
        text += fmt::format("{:>8}   hint: {}\n", "", complaint.hint);
    return text;
}

}  // namespace

JobError MakeJobError(const std::string &file, const std::string &source,
                      std::vector<Complaint> found)
{
    std::ranges::stable_sort(found, [](const Complaint &a, const Complaint &b) {
        return std::pair(a.at.line, a.at.column) < std::pair(b.at.line, b.at.column);
    });
    const size_t all = found.size();
    if (all > JobError::kMaxComplaints)
        found.resize(JobError::kMaxComplaints);
    const std::string shown = Escaped(file);
    std::string text;
    for (const Complaint &complaint : found)
        text += Show(shown, source, complaint);
    if (all > found.size())
        text += fmt::format("{}: and {} more\n", shown, all - found.size());
    text.pop_back();  // the last line end is the printer's
    return JobError(text, std::move(found));
}

}  // namespace fenwire
