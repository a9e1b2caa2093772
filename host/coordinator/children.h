// host/coordinator/children.h - the processes of a job, and how they end.

#ifndef FENWIRE_HOST_COORDINATOR_CHILDREN_H
#define FENWIRE_HOST_COORDINATOR_CHILDREN_H

#include <cstdint>
#include <functional>
#include <string>

#include <sys/types.h>

#include "host/system/messages.h"

namespace fenwire {

// One child with its channel. It dies with its parent, ignores the terminal's Ctrl-C, and is killed and
// reaped when the object goes away.
class Child {
public:
    // body runs in the child and gives its exit status. before is run in the child first: it closes
    // what belongs to others.
    enum class Input : uint8_t { None, Kept };  // its standard input
    Child(std::string name, const std::function<int(Channel)> &body,
          const std::function<void()> &before, Input input = Input::None);
    Child(const Child &) = delete;
    ~Child();

    Channel &channel() { return channel_; }
    pid_t pid() const { return pid_; }
    bool running() const { return pid_ > 0; }

    // Waits for the end, kills it after that time. Afterwards the words, memory and time are known.
    void Reap(int milliseconds);
    // Ends it now; the reason goes into the words of its end.
    void Kill(const std::string &reason);
    // "was ended by signal 11 (Segmentation fault)", "ended with exit status 1", "was killed: " and the
    // reason; empty after a good end.
    const std::string &end() const { return end_; }
    uint64_t peak_memory() const { return peak_memory_; }
    double cpu_seconds() const { return cpu_seconds_; }

private:
    bool TryReap();
    std::string name_;
    Channel channel_;
    pid_t pid_ = -1;
    std::string end_, killed_because_;
    uint64_t peak_memory_ = 0;
    double cpu_seconds_ = 0;
};

}  // namespace fenwire

#endif
