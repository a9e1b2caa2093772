// host/coordinator/signals.cpp

#include "host/coordinator/signals.h"

#include <sys/signalfd.h>

namespace fenwire {

Signals::Signals() : mask_before_(), pipe_before_()
{
    sigset_t caught;
    sigemptyset(&caught);
    for (const int number : {SIGINT, SIGTERM, SIGCHLD})
        sigaddset(&caught, number);
    fd_ = UniqueFd(signalfd(-1, &caught, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!fd_ || sigprocmask(SIG_BLOCK, &caught, &mask_before_) != 0)
        ThrowErrno("signals");
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &pipe_before_);
}

Signals::~Signals()
{
    // One that came when all was over must not strike when the mask goes: the result stands.
    while (fd_ && Next() != 0) {
    }
    sigaction(SIGPIPE, &pipe_before_, nullptr);
    sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
}

void Signals::HoldUntilExit()
{
    sigset_t held;
    sigemptyset(&held);
    for (const int number : {SIGINT, SIGTERM})
        sigaddset(&held, number);
    if (sigprocmask(SIG_BLOCK, &held, nullptr) != 0)
        ThrowErrno("signals");
}

int Signals::Next()
{
    signalfd_siginfo info = {};
    return read(fd_.get(), &info, sizeof info) == sizeof info ? static_cast<int>(info.ssi_signo)
                                                              : 0;
}

}  // namespace fenwire
