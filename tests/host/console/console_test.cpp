// tests/host/console/console_test.cpp - what comes out where, on a terminal and elsewhere.

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "host/console/report.h"
#include "tests/support/holds.h"

using namespace fenwire;

namespace {

// Standard error as a terminal or as a pipe, until the object ends.
class StandardError {
public:
    enum Kind { Terminal, Pipe };
    explicit StandardError(Kind kind) : saved_(dup(STDERR_FILENO))
    {
        int ends[2] = {-1, -1};
        winsize size = {10, 60, 0, 0};
        EXPECT_EQ(kind == Terminal ? openpty(&ends[0], &ends[1], nullptr, nullptr, &size)
                                   : pipe(ends),
                  0);
        reader_ = ends[0];
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
    }
    ~StandardError()
    {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
        close(reader_);
    }
    void Resize(unsigned short columns)
    {
        const winsize size = {10, columns, 0, 0};
        ioctl(STDERR_FILENO, TIOCSWINSZ, &size);
    }
    // What was written since the last call.
    std::string Text()
    {
        std::string text;
        char bytes[4096];
        for (pollfd ready = {reader_, POLLIN, 0}; poll(&ready, 1, 50) > 0;) {
            const ssize_t got = read(reader_, bytes, sizeof bytes);
            if (got <= 0)
                break;
            text.append(bytes, static_cast<size_t>(got));
        }
        return text;
    }

private:
    int saved_, reader_ = -1;
};

JobSnapshot Snapshot(double seconds)
{
    JobSnapshot now;
    now.phase = "loading";
    now.seconds = seconds;
    InstanceSnapshot instance;
    instance.instance = 1;
    instance.state = "loading";
    instance.file = "a_file_with_a_name_that_fills_the_line_to_its_end_and_more.tbl";
    now.instances = {instance};
    return now;
}

}  // namespace

TEST(Console, BlockIsDrawnOverAndGivesWayToMessages)
{
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    StandardError error(StandardError::Terminal);
    const auto console = MakeConsole(ProgressMode::Auto, false);
    console->Progress(Snapshot(1));
    EXPECT_FALSE(Holds(error.Text(), "A\x1b"));
    console->Progress(Snapshot(2));
    EXPECT_TRUE(error.Text().starts_with("\r\x1b[2A 1  "));
    error.Resize(40);  // the instance's line of 59 columns stands in two lines now
    console->Progress(Snapshot(3));
    EXPECT_TRUE(error.Text().starts_with("\r\x1b[3A 1  "));
    console->Message(LineKind::Error, "no\x1b[2Jne");
    EXPECT_EQ(error.Text(), "\r\x1b[2A\x1b[J\x1b[1;31merror: \x1b[0mno\\x1b[2Jne\r\n");
    console->Message(LineKind::Warning, "once");  // nothing is left to take away
    EXPECT_EQ(error.Text(), "\x1b[33mwarning: \x1b[0monce\r\n");
    console->Progress(Snapshot(4));
    error.Text();
    console->Finish({});
    EXPECT_TRUE(error.Text().starts_with("\r\x1b[2A\x1b[J"));
}

TEST(Console, WhoSeesProgressAndColours)
{
    const struct {
        const char *about;
        StandardError::Kind kind;
        const char *term, *no_color;
        ProgressMode mode;
        bool block, line, colours;
    } rows[] = {
        // clang-format off
        {"terminal",            StandardError::Terminal, "xterm", "",  ProgressMode::Auto, true,  false, true},
        {"colours not wanted",  StandardError::Terminal, "xterm", "1", ProgressMode::Auto, true,  false, false},
        {"terminal that can't", StandardError::Terminal, "dumb",  "",  ProgressMode::Auto, false, true,  false},
        {"line wanted",         StandardError::Terminal, "xterm", "",  ProgressMode::Line, false, true,  true},
        {"nothing wanted",      StandardError::Terminal, "xterm", "",  ProgressMode::Off,  false, false, true},
        {"pipe",                StandardError::Pipe,     "xterm", "",  ProgressMode::Auto, false, true,  false},
        {"pipe, nothing",       StandardError::Pipe,     "xterm", "",  ProgressMode::Off,  false, false, false},
        // clang-format on
    };
    for (const auto &row : rows) {
        setenv("TERM", row.term, 1);
        setenv("NO_COLOR", row.no_color, 1);
        StandardError error(row.kind);
        const auto console = MakeConsole(row.mode, false);
        console->Progress(Snapshot(10));
        const std::string progress = error.Text();
        EXPECT_EQ(bool(Holds(progress, "\x1b[K")), row.block) << row.about;
        EXPECT_EQ(progress.starts_with("phase="), row.line) << row.about;
        console->Message(LineKind::Error, "wrong");
        EXPECT_EQ(bool(Holds(error.Text(), "\x1b[1;31m")), row.colours) << row.about;
    }
}

TEST(Console, LinesComeEveryTenSecondsAndMessagesCantForgeOthers)
{
    StandardError error(StandardError::Pipe);
    const auto console = MakeConsole(ProgressMode::Auto, false);
    for (double at = 0; at < 35; at += 0.25)
        console->Progress(Snapshot(at));
    const std::string lines = error.Text();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
    console->Message(LineKind::Information, "one\nerror: two\n");
    EXPECT_EQ(error.Text(), "info: one\n    error: two\n");
}

// A full disk must not pass for a report.
TEST(Console, ObjectThatCantBeWrittenIsAnError)
{
    StandardError error(StandardError::Pipe);
    const int saved = dup(STDOUT_FILENO), full = open("/dev/full", O_WRONLY);
    dup2(full, STDOUT_FILENO);
    MakeConsole(ProgressMode::Off, true)->Finish({});
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(full);
    EXPECT_TRUE(Holds(error.Text(), "error: the report can't be written to standard output: "));
}
