// host/console/progress.cpp - how a running job looks.
//
//      1  loading   orders_of...2024.tbl   45%  1,234,567 rows/s
//      2  finished                                  0 rows/s
//         1.2 GiB of 4.5 GiB  27%  412.3 MB/s  1,234,567 rows/s  3 of 12 files  ETA 1 min 20 s
//
// Where files are written the instances are "in 1", "in 2", "out 1" .., and the total tells of both ends.
//
// A narrow screen loses the state's column first, then parts of the total, the least wanted first.

#include "host/console/progress.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <iterator>

#include "host/console/figures.h"

namespace fenwire {

namespace {

// Below this width the state shares the file's column.
constexpr size_t kWideScreen = 64;
// Lines of the screen that stay with the messages above the block.
constexpr size_t kFreeLines = 4;
constexpr size_t kMostInstances = 40;
// On a wider screen a file and its figures would stand too far apart.
constexpr size_t kMostColumns = 110;

constexpr size_t kStateColumns = 8, kPercentColumns = 4;

bool IsWriter(const InstanceSnapshot &instance) { return instance.step == "consumer"; }

bool HasFile(const InstanceSnapshot &instance)
{
    return !instance.file.empty() && instance.state != "finished";
}

std::string Label(const InstanceSnapshot &instance, bool writes)
{
    const char *end = !writes ? "" : IsWriter(instance) ? "out " : "in ";
    return fmt::format("{}{}", end, instance.instance);
}

// What a state is called where "loading" would be the wrong word.
std::string Shown(const std::string &state, bool writes, bool writer)
{
    return state != "loading" || !writes ? state : writer ? "writing" : "reading";
}

// The directory says little while the job runs, and takes the room of what tells files apart.
std::string_view BaseName(std::string_view file)
{
    return file.substr(file.find_last_of('/') + 1);  // npos + 1 is 0
}

std::string InstanceLine(const InstanceSnapshot &instance, bool writes, double rows,
                         size_t label_columns, size_t columns)
{
    const bool wide = columns >= kWideScreen;
    const uint64_t rows_per_second = PerSecond(rows, 1);
    const std::string rate = wide ? PaddedLeft(Grouped(rows_per_second), 11) + " rows/s"
                                  : PaddedLeft(Brief(rows_per_second), 5) + "/s";
    const std::string state = Shown(instance.state, writes, IsWriter(instance));
    // How much a writer has still to write nobody knows.
    const std::string percent = HasFile(instance) && !IsWriter(instance) && instance.file_bytes > 0
                                    ? Percent(instance.file_read, instance.file_bytes)
                                    : "";
    std::string head = PaddedLeft(Label(instance, writes), label_columns) + "  ";
    if (wide)
        head += PaddedRight(state, kStateColumns) + "  ";
    const std::string tail = "  " + PaddedLeft(percent, kPercentColumns) + "  " + rate;
    const size_t used = Columns(head) + Columns(tail);
    const size_t room = columns > used ? columns - used : 0;
    const bool names_file = HasFile(instance) && (wide || instance.state == "loading");
    const std::string middle = names_file ? Shortened(BaseName(instance.file), room)
                               : wide     ? std::string()
                                          : state;
    return Cut(head + PaddedRight(middle, room) + tail, columns);
}

// A part of the total line; on a narrow screen the highest `drop` goes first.
struct Part {
    int drop;
    std::string text;
};

size_t WidthOf(const std::vector<Part> &parts)
{
    size_t width = 0;
    for (const Part &part : parts)
        width += Columns(part.text) + 2;
    return width - 2;
}

std::string Joined(std::vector<Part> parts, size_t columns)
{
    std::erase_if(parts, [](const Part &part) { return part.text.empty(); });
    while (parts.size() > 1 && WidthOf(parts) > columns)
        parts.erase(std::ranges::max_element(parts, {}, &Part::drop));
    std::string line;
    for (const Part &part : parts)
        line += (line.empty() ? "" : "  ") + part.text;
    return Cut(line, columns);
}

std::string TotalLine(const JobSnapshot &now, const JobRates &rates, size_t columns)
{
    const bool wide = columns >= kWideScreen, known = now.total_bytes > 0;
    const std::optional<double> left = rates.Left(now);
    const uint64_t rows = PerSecond(rates.Rows(), 1);
    return Joined(
        {
            {4, now.phase == "loading" ? "" : now.phase},
            {1, now.writes && !known
                    ? ""
                    : Size(now.read_bytes) + (wide && known ? " of " + Size(now.total_bytes) : "")},
            {0, known ? Percent(now.read_bytes, now.total_bytes) : ""},
            {3, Megabytes(rates.Bytes())},
            {now.writes && !known ? 1 : 6, now.writes ? Size(now.written_bytes) + " written" : ""},
            {5, wide ? Grouped(rows) + " rows/s" : Brief(rows) + " rows/s"},
            {6, now.files > 1 ? fmt::format("{} of {} files", now.files_done, now.files) : ""},
            {2, now.refused > 0 ? Brief(now.refused) + " refused" : ""},
            {2, left ? "ETA " + Countdown(*left) : ""},
            {7, left ? "" : Countdown(now.seconds)},
            {8, now.checkpoint > 0 ? fmt::format("checkpoint {} {} ago", now.checkpoint,
                                                 Countdown(now.checkpoint_age))
                                   : ""},
        },
        columns);
}

// The instances that are shown, in their order: finished ones give way first.
std::vector<const InstanceSnapshot *> ShownInstances(const JobSnapshot &now, size_t most)
{
    std::vector<const InstanceSnapshot *> shown;
    for (const InstanceSnapshot &instance : now.instances)
        shown.push_back(&instance);
    if (shown.size() <= most)
        return shown;
    std::stable_partition(shown.begin(), shown.end(), [](const InstanceSnapshot *instance) {
        return instance->state != "finished";
    });
    shown.resize(most);
    std::ranges::sort(shown);  // as they lie in the snapshot
    return shown;
}

std::string Known(std::optional<double> value)
{
    return value ? fmt::format("{:.0f}", *value) : "-";
}

}  // namespace

void Rate::Observe(double seconds, uint64_t count)
{
    const double passed = seconds - at_;
    if (!(passed > 0))
        return;
    // The gain is taken as spread evenly over the time that passed, and fades from there.
    const double gained = static_cast<double>(count > count_ ? count - count_ : 0);
    const double kept = std::exp(-passed / memory_), weight = memory_ * (1 - kept);
    gain_ = gain_ * kept + gained / passed * weight;
    time_ = time_ * kept + weight;
    at_ = seconds;
    count_ = count;
}

void JobRates::Observe(const JobSnapshot &now)
{
    // Rows that come from no file are measured where they end up in one.
    bytes_.Observe(now.seconds,
                   now.writes && now.total_bytes == 0 ? now.written_bytes : now.read_bytes);
    rows_.Observe(now.seconds, now.rows);
    if (now.phase == "loading" && !loading_since_)
        loading_since_ = now.seconds;  // the time before says nothing about the rest
    if (loading_since_)
        left_.Observe(now.seconds - *loading_since_, now.read_bytes);
    for (const InstanceSnapshot &instance : now.instances)
        instances_.try_emplace(Key(instance), kShownMemory)
            .first->second.Observe(now.seconds, instance.rows);
}

double JobRates::Rows(const InstanceSnapshot &instance) const
{
    const auto found = instances_.find(Key(instance));
    return found != instances_.end() ? found->second.PerSecond() : 0;
}

std::optional<double> JobRates::Left(const JobSnapshot &now) const
{
    constexpr double kSettled = 3;            // seconds of loading before a forecast
    constexpr double kFarthest = 100 * 3600;  // beyond, it stands still rather than moves
    if (now.phase != "loading" || !loading_since_ || now.seconds - *loading_since_ < kSettled ||
        now.total_bytes <= now.read_bytes || !(left_.PerSecond() > 0))
        return std::nullopt;
    const double left = static_cast<double>(now.total_bytes - now.read_bytes) / left_.PerSecond();
    return left < kFarthest ? std::optional(left) : std::nullopt;
}

std::vector<std::string> ProgressBlock(const JobSnapshot &now, const JobRates &rates,
                                       ScreenSize screen)
{
    const size_t room = screen.lines > kFreeLines + 2 ? screen.lines - kFreeLines - 2 : 1;
    const auto shown = ShownInstances(now, std::min(room, kMostInstances));
    size_t label_columns = 2;
    for (const InstanceSnapshot &instance : now.instances)
        label_columns = std::max(label_columns, Label(instance, now.writes).size() + 1);
    const std::string indent(label_columns + 2, ' ');

    std::vector<std::string> lines;
    lines.reserve(shown.size() + 2);
    for (const InstanceSnapshot *instance : shown)
        lines.push_back(InstanceLine(*instance, now.writes, rates.Rows(*instance), label_columns,
                                     std::min(screen.columns, kMostColumns)));
    if (shown.size() < now.instances.size()) {
        const size_t rest = now.instances.size() - shown.size();
        lines.push_back(Cut(fmt::format("{}and {} more", indent, rest), screen.columns));
    }
    const size_t width = screen.columns > indent.size() ? screen.columns - indent.size() : 0;
    lines.push_back(Cut(indent + TotalLine(now, rates, width), screen.columns));
    return lines;
}

std::string ProgressLine(const JobSnapshot &now, const JobRates &rates)
{
    const auto total = now.total_bytes > 0 ? fmt::format("{}", now.total_bytes) : "-";
    const std::string written = now.writes ? fmt::format(" written_rows={} written_bytes={}",
                                                         now.written_rows, now.written_bytes)
                                           : "";
    const std::string checkpoint = now.checkpoint > 0
                                       ? fmt::format(" checkpoint={} checkpoint_age_s={:.0f}",
                                                     now.checkpoint, now.checkpoint_age)
                                       : "";
    return fmt::format("phase={} files_done={} files={} read_bytes={} total_bytes={} rows={} "
                       "refused={}{} rows_per_s={:.0f} mb_per_s={:.1f} eta_s={}{}",
                       Shown(now.phase, now.writes, true), now.files_done, now.files,
                       now.read_bytes, total, now.rows, now.refused, written, rates.Rows(),
                       rates.Bytes() / 1e6, Known(rates.Left(now)), checkpoint);
}

}  // namespace fenwire
