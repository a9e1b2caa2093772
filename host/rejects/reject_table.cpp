// host/rejects/reject_table.cpp
//
//     file       record  offset  row       column    reason            record as read
//     in/b.csv       12     431  left out  4 amount  too long          17,Meyer,2024-01-05,12345...

#include "host/rejects/reject_table.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "host/console/figures.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

struct ColumnRow {
    const char *title;
    size_t widest;  // longer cells are cut
    bool number;
    int drop;  // the highest goes first; 0 stays
};

// clang-format off
constexpr std::array<ColumnRow, 7> kColumns = {{
    {"file",           32, false, 2},
    {"record",         20, true,  0},
    {"offset",         20, true,  3},
    {"row",            10, false, 1},
    {"column",         24, false, 0},
    {"reason",         40, false, 0},
    {"record as read",  0, false, 0},  // takes the room that is left
}};
// clang-format on
constexpr size_t kRaw = kColumns.size() - 1, kGap = 2;
constexpr size_t kNarrowestRaw = 16, kWidestRaw = 160;

using Cells = std::array<std::string, kColumns.size()>;
using Widths = std::array<size_t, kColumns.size()>;  // 0: not shown

Cells CellsOf(const RejectEntry &entry)
{
    return {Shortened(entry.file, kColumns[0].widest),
            Grouped(entry.record),
            entry.offset < 0 ? "-" : Grouped(static_cast<uint64_t>(entry.offset)),
            entry.left_out ? "left out" : "loaded",
            entry.column == 0 ? "-"
                              : Escaped(fmt::format("{} {}", entry.column, entry.column_name)),
            Escaped(entry.kind),
            Escaped(std::string_view(entry.raw).substr(0, 4 * kWidestRaw))};
}

size_t Total(const Widths &widths)
{
    size_t total = 0;
    for (const size_t width : widths)
        total += width > 0 ? width + kGap : 0;
    return total - kGap;
}

Widths Fit(const std::vector<Cells> &rows, size_t screen)
{
    Widths widths;
    for (size_t i = 0; i < kRaw; ++i) {
        widths[i] = Columns(kColumns[i].title);
        for (const Cells &cells : rows)
            widths[i] = std::max(widths[i], std::min(Columns(cells[i]), kColumns[i].widest));
    }
    widths[kRaw] = kNarrowestRaw;
    for (int drop = 3; screen > 0 && drop > 0 && Total(widths) > screen; --drop) {
        for (size_t i = 0; i < kRaw; ++i)
            widths[i] = kColumns[i].drop == drop ? 0 : widths[i];
    }
    const size_t others = Total(widths) - kNarrowestRaw;
    widths[kRaw] =
        screen == 0 ? kWidestRaw : std::max(kNarrowestRaw, screen - std::min(screen, others));
    return widths;
}

std::string CutWithDots(const std::string &text, size_t columns)
{
    return Columns(text) <= columns ? text : Cut(text, columns - 3) + "...";
}

std::string Line(const Cells &cells, const Widths &widths, size_t screen)
{
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (widths[i] == 0)
            continue;
        const std::string cell = CutWithDots(cells[i], widths[i]);
        line += line.empty() ? "" : std::string(kGap, ' ');
        line += i == kRaw            ? cell
                : kColumns[i].number ? PaddedLeft(cell, widths[i])
                                     : PaddedRight(cell, widths[i]);
    }
    return screen == 0 ? line : Cut(line, screen);
}

}  // namespace

std::vector<std::string> RejectTableLines(const std::vector<RejectEntry> &entries, size_t width)
{
    std::vector<Cells> rows;
    rows.reserve(entries.size());
    for (const RejectEntry &entry : entries)
        rows.push_back(CellsOf(entry));
    const Widths widths = Fit(rows, width);
    Cells titles;
    std::ranges::transform(kColumns, titles.begin(), &ColumnRow::title);
    std::vector<std::string> lines = {Line(titles, widths, width)};
    for (const Cells &cells : rows)
        lines.push_back(Line(cells, widths, width));
    return lines;
}

}  // namespace fenwire
