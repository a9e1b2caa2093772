// host/coordinator/children.cpp

#include "host/coordinator/children.h"

#include <csignal>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fenwire {

namespace {

double Seconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// The coordinator decides what a signal means; a child goes on until it is told.
void BecomeChild(pid_t parent, Child::Input input)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    // Ignored before they are let in: a Ctrl-C that came since the fork waits behind the mask.
    for (const int number : {SIGINT, SIGTERM, SIGPIPE, SIGHUP})
        signal(number, SIG_IGN);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (input == Child::Input::Kept)
        return;
    const UniqueFd nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (nothing)
        dup2(nothing.get(), STDIN_FILENO);
}

}  // namespace

Child::Child(std::string name, const std::function<int(Channel)> &body,
             const std::function<void()> &before, Input input)
    : name_(std::move(name))
{
    auto [ours, theirs] = Channel::Pair();
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0)
        ThrowErrno("process for " + name_);
    if (pid_ == 0) {
        BecomeChild(parent, input);
        ours.Close();
        before();
        prctl(PR_SET_NAME, ("fw-" + name_).c_str());
        _exit(body(std::move(theirs)));
    }
    channel_ = std::move(ours);
}

Child::~Child()
{
    if (running())
        Reap(0);
}

bool Child::TryReap()
{
    int status = 0;
    rusage usage = {};
    if (wait4(pid_, &status, WNOHANG, &usage) != pid_)
        return false;
    pid_ = -1;
    peak_memory_ = static_cast<uint64_t>(usage.ru_maxrss) * 1024;
    cpu_seconds_ = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    if (WIFSIGNALED(status) && !killed_because_.empty())
        end_ = "was killed: " + killed_because_;
    else if (WIFSIGNALED(status))
        end_ = "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")" +
               (WTERMSIG(status) == SIGBUS ? ": a file was cut short while it was read" : "");
    else if (WEXITSTATUS(status) != 0)
        end_ = "ended with exit status " + std::to_string(WEXITSTATUS(status));
    return true;
}

void Child::Kill(const std::string &reason)
{
    if (!running())
        return;
    killed_because_ = reason;
    kill(pid_, SIGKILL);
}

void Child::Reap(int milliseconds)
{
    constexpr int kStepMs = 1;
    channel_.Close();
    for (int waited = 0; running(); waited += kStepMs) {
        if (TryReap())
            return;
        if (waited >= milliseconds)
            Kill("it did not end in time");
        const timespec step = {0, kStepMs * 1000000L};
        nanosleep(&step, nullptr);
    }
}

}  // namespace fenwire
