// host/console/console.cpp - standard error as a person sees it.
//
// On a terminal the progress block stands below the messages: a message takes the block away, prints
// itself, and the next snapshot draws the block again. The cursor always rests on the line below the
// block, so that a job that is killed leaves a usable screen. The block is overwritten line by line
// instead of being cleared first, which would flicker.
//
// Elsewhere progress is a line of keys and values now and then, and nothing else is added to the text.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

#include "host/console/figures.h"
#include "host/console/progress.h"
#include "host/console/report.h"
#include "host/console/summary.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

constexpr double kSecondsBetweenLines = 10;

// All of the text; the number of the error, or 0. A terminal that another program has set to
// non-blocking is waited for.
int WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd ready = {fd, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

bool IsSet(const char *variable)
{
    const char *value = getenv(variable);
    return value != nullptr && *value != '\0';
}

bool IsTerminal()
{
    const char *term = getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && term != nullptr && std::string_view(term) != "dumb";
}

ScreenSize Screen()
{
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {};
    return {size.ws_col, size.ws_row};
}

const char *Colour(Tone tone)
{
    switch (tone) {
    case Tone::Good:
        return "\x1b[32m";
    case Tone::Caution:
        return "\x1b[33m";
    case Tone::Bad:
        return "\x1b[1;31m";
    case Tone::Plain:
        break;
    }
    return "";
}

struct LevelMark {
    const char *text;
    Tone tone;
};

LevelMark MarkOf(LineKind kind)
{
    switch (kind) {
    case LineKind::Error:
        return {"error: ", Tone::Bad};
    case LineKind::Warning:
        return {"warning: ", Tone::Caution};
    case LineKind::Information:
        break;
    }
    return {"info: ", Tone::Plain};
}

class StandardErrorConsole final : public Console {
public:
    StandardErrorConsole(ProgressMode mode, bool json)
        : mode_(mode), json_(json), terminal_(IsTerminal()),
          colours_(terminal_ && !IsSet("NO_COLOR"))
    {
    }
    ~StandardErrorConsole() override { WriteAll(STDERR_FILENO, TakeBlockAway()); }

    void Message(LineKind kind, const std::string &line) override;
    void Progress(const JobSnapshot &now) override;
    void Finish(const JobReport &report) override;

private:
    std::string ToBlockStart() const;
    std::string TakeBlockAway();
    void DrawBlock(const JobSnapshot &now);
    std::string Painted(std::string_view text, Tone tone) const;

    const ProgressMode mode_;
    const bool json_, terminal_, colours_;
    JobRates rates_;
    std::vector<size_t> drawn_;  // columns of each line of the block that is on the screen
    double next_line_ = kSecondsBetweenLines;
};

std::string StandardErrorConsole::Painted(std::string_view text, Tone tone) const
{
    const std::string_view colour = Colour(tone);
    if (!colours_ || colour.empty())
        return std::string(text);
    return fmt::format("{}{}\x1b[0m", colour, text);
}

// Moves the cursor to where the block begins. A screen that became narrower has broken the block's
// longer lines in two.
std::string StandardErrorConsole::ToBlockStart() const
{
    const size_t width = Screen().columns;
    size_t lines = 0;
    for (const size_t columns : drawn_)
        lines += std::max<size_t>(1, (columns + width - 1) / width);
    return lines > 0 ? fmt::format("\r\x1b[{}A", lines) : std::string();
}

std::string StandardErrorConsole::TakeBlockAway()
{
    if (drawn_.empty())
        return {};
    std::string text = ToBlockStart() + "\x1b[J";
    drawn_.clear();
    return text;
}

void StandardErrorConsole::DrawBlock(const JobSnapshot &now)
{
    std::string text = ToBlockStart();
    drawn_.clear();
    // The last column stays free: terminals differ in where the cursor is once it is written.
    ScreenSize screen = Screen();
    screen.columns -= 1;
    for (const std::string &line : ProgressBlock(now, rates_, screen)) {
        text += line + "\x1b[K\n";
        drawn_.push_back(Columns(line));
    }
    WriteAll(STDERR_FILENO, text + "\x1b[J");
}

void StandardErrorConsole::Message(LineKind kind, const std::string &line)
{
    const LevelMark mark = MarkOf(kind);
    std::string text = TakeBlockAway() + Painted(mark.text, mark.tone);
    // Further lines are set in: none can pass for a message of its own.
    std::string_view rest = line;
    while (rest.ends_with('\n'))
        rest.remove_suffix(1);
    for (size_t end; (end = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(end + 1))
        text += Escaped(rest.substr(0, end)) + "\n    ";
    WriteAll(STDERR_FILENO, text + Escaped(rest) + "\n");
}

void StandardErrorConsole::Progress(const JobSnapshot &now)
{
    if (mode_ == ProgressMode::Off)
        return;
    rates_.Observe(now);
    if (mode_ == ProgressMode::Auto && terminal_) {
        DrawBlock(now);
    } else if (now.seconds >= next_line_) {
        next_line_ = now.seconds + kSecondsBetweenLines;
        WriteAll(STDERR_FILENO, ProgressLine(now, rates_) + "\n");
    }
}

void StandardErrorConsole::Finish(const JobReport &report)
{
    std::string text = TakeBlockAway();
    for (const SummaryLine &line : SummaryLines(report, terminal_ ? Screen().columns : 0))
        text += Painted(line.text, line.tone) + "\n";
    WriteAll(STDERR_FILENO, text);
    if (!json_)
        return;
    if (const int error = WriteAll(STDOUT_FILENO, ReportJson(report) + "\n"); error != 0)
        Message(LineKind::Error,
                fmt::format("the report can't be written to standard output: {}", strerror(error)));
}

}  // namespace

std::unique_ptr<Console> MakeConsole(ProgressMode mode, bool json)
{
    return std::make_unique<StandardErrorConsole>(mode, json);
}

}  // namespace fenwire
