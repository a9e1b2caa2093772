// host/console/table.cpp - aligned columns that fit a screen.

#include "host/console/table.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/console/figures.h"

namespace fenwire {

namespace {

constexpr size_t kFirstRows = 20, kLastRows = 3;
constexpr size_t kNarrowestName = 24;
constexpr size_t kGap = 2;

// What is wide enough for the cells of the rows that are shown.
size_t CellWidth(const Table &table, size_t column, size_t first_rows, size_t last_from)
{
    size_t width = Columns(table.columns[column].title);
    for (size_t row = 0; row < table.rows.size(); ++row) {
        if (row < first_rows || row >= last_from) {
            const std::string &cell = table.rows[row][column];
            width = std::max(width, column == 0 ? Columns(Shortened(cell, cell.size() * 4))
                                                : Columns(cell));
        }
    }
    return width;
}

// Which columns are shown, and how wide.
struct Layout {
    std::vector<size_t> shown, widths;

    size_t Others() const
    {
        size_t width = 0;
        for (size_t i = 1; i < shown.size(); ++i)
            width += widths[i] + kGap;
        return width;
    }
    void Drop(size_t at)
    {
        shown.erase(shown.begin() + static_cast<ptrdiff_t>(at));
        widths.erase(widths.begin() + static_cast<ptrdiff_t>(at));
    }
};

Layout Fit(const Table &table, size_t width, size_t first_rows, size_t last_from)
{
    Layout layout;
    for (size_t column = 0; column < table.columns.size(); ++column) {
        layout.shown.push_back(column);
        layout.widths.push_back(CellWidth(table, column, first_rows, last_from));
    }
    if (width == 0)
        return layout;
    const size_t name = std::min(layout.widths[0], kNarrowestName);
    while (name + layout.Others() > width) {
        const auto next = std::ranges::max_element(
            layout.shown, {}, [&](size_t column) { return table.columns[column].drop; });
        if (table.columns[*next].drop == 0)
            break;
        layout.Drop(static_cast<size_t>(next - layout.shown.begin()));
    }
    const size_t room = width > layout.Others() ? width - layout.Others() : 1;
    layout.widths[0] = std::min(layout.widths[0], std::max<size_t>(room, 1));
    return layout;
}

template <class Cell>
std::string RowLine(const Layout &layout, Cell cell)
{
    std::string line = PaddedRight(Shortened(cell(0), layout.widths[0]), layout.widths[0]);
    for (size_t i = 1; i < layout.shown.size(); ++i)
        line += std::string(kGap, ' ') + PaddedLeft(cell(layout.shown[i]), layout.widths[i]);
    return line;
}

}  // namespace

std::vector<std::string> TableLines(const Table &table, size_t width)
{
    // One row more is shown sooner than a line that says "1 more".
    const bool is_long = table.rows.size() > kFirstRows + kLastRows + 1;
    const size_t first_rows = is_long ? kFirstRows : table.rows.size();
    const size_t last_from = is_long ? table.rows.size() - kLastRows : table.rows.size();
    const Layout layout = Fit(table, width, first_rows, last_from);

    std::vector<std::string> lines;
    lines.push_back(RowLine(layout, [&](size_t column) { return table.columns[column].title; }));
    for (size_t row = 0; row < table.rows.size(); ++row) {
        if (row == first_rows) {
            lines.push_back(fmt::format("... {} more", Grouped(last_from - first_rows)));
            row = last_from;
        }
        lines.push_back(RowLine(layout, [&](size_t column) { return table.rows[row][column]; }));
    }
    return lines;
}

}  // namespace fenwire
