// host/preview/preview_table.cpp - the first rows as an aligned table.
//
// A value stands as it is where nobody can mistake it; in double quotes where it is empty, begins or ends
// with a blank, or reads like a NULL. Bytes of columns that hold no text are shown in hexadecimal digits.

#include <algorithm>
#include <fmt/format.h>

#include "host/console/figures.h"
#include "host/job/words.h"
#include "host/preview/preview.h"
#include "host/system/utf16.h"
#include "host/values/values.h"

namespace fenwire {

namespace {

constexpr size_t kWidest = 40;  // columns of the screen
constexpr size_t kMostHexBytes = 16;

std::string TextShown(const std::string &text, uint64_t bytes, bool whole)
{
    const std::string shown = Escaped(text);
    const bool odd = text.empty() || text.front() == ' ' || text.back() == ' ' || text == "NULL";
    if (whole && Columns(shown) + (odd ? 2 : 0) <= kWidest)
        return odd ? '"' + shown + '"' : shown;
    const std::string end = fmt::format("... {} bytes", Grouped(bytes));
    return Cut(shown, kWidest - end.size()) + end;
}

std::string HexShown(const std::string &bytes)
{
    std::string shown = "0x";
    for (const char c : bytes.substr(0, kMostHexBytes))
        shown += fmt::format("{:02x}", static_cast<uint8_t>(c));
    return bytes.size() > kMostHexBytes ? shown + "..." : shown;
}

std::string CellShown(const Job &job, const Column &column, const PreviewCell &cell)
{
    if (!cell.data)
        return "NULL";
    const ValueType type = ValueTypeOf(column);
    if (!IsPlainText(type)) {
        std::string text;
        const bool good = type.kind != TypeKind::Bytes && cell.data->size() == cell.bytes &&
                          AppendText(type, reinterpret_cast<const uint8_t *>(cell.data->data()),
                                     cell.bytes, text);
        return good ? TextShown(text, text.size(), true) : HexShown(*cell.data);
    }
    return TextShown(IsUtf16(job.charset) ? Utf8FromUtf16(*cell.data) : *cell.data, cell.bytes,
                     cell.data->size() == cell.bytes);
}

}  // namespace

std::vector<std::string> PreviewTable(const Job &job, const std::vector<PreviewRow> &rows)
{
    std::vector<std::vector<std::string>> cells(1);
    cells[0].emplace_back();
    for (const Column &column : job.columns)
        cells[0].push_back(Cut(Escaped(column.name), kWidest));
    for (const PreviewRow &row : rows) {
        std::vector<std::string> &line = cells.emplace_back();
        line.push_back(fmt::format("{}", cells.size() - 1));
        for (size_t i = 0; i < row.size(); ++i)
            line.push_back(CellShown(job, job.columns[i], row[i]));
    }
    std::vector<size_t> widths(cells[0].size());
    for (const auto &line : cells) {
        for (size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], Columns(line[i]));
    }
    std::vector<std::string> lines;
    for (const auto &line : cells) {
        std::string &text = lines.emplace_back(PaddedLeft(line[0], widths[0]));
        for (size_t i = 1; i < line.size(); ++i)
            text += "  " + (i + 1 < line.size() ? PaddedRight(line[i], widths[i]) : line[i]);
    }
    return lines;
}

}  // namespace fenwire
