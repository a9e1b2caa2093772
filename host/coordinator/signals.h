// host/coordinator/signals.h - the signals of a job as a file descriptor, for as long as the job runs.

#ifndef FENWIRE_HOST_COORDINATOR_SIGNALS_H
#define FENWIRE_HOST_COORDINATOR_SIGNALS_H

#include <csignal>

#include "host/system/unique_fd.h"

namespace fenwire {

class Signals {
public:
    Signals();  // SIGINT, SIGTERM and SIGCHLD come through fd(); SIGPIPE does nothing
    ~Signals();
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    // For a program that runs one job: no SIGINT or SIGTERM ends it any more, before, behind or while it is
    // told of them. What the job came to is said to the end, and the exit status is the job's own.
    static void HoldUntilExit();

    int fd() const { return fd_.get(); }
    int Next();                    // the number of one that came; 0: none
    void Close() { fd_.Close(); }  // in a child, which goes its own way

private:
    UniqueFd fd_;
    sigset_t mask_before_;
    struct sigaction pipe_before_;
};

}  // namespace fenwire

#endif
