// host/system/futex.h - sleeping on a word of shared memory, and waking who sleeps there.

#ifndef FENWIRE_HOST_SYSTEM_FUTEX_H
#define FENWIRE_HOST_SYSTEM_FUTEX_H

#include <atomic>
#include <climits>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>

#include <sys/syscall.h>
#include <unistd.h>

namespace fenwire {

static_assert(sizeof(std::atomic<uint32_t>) == 4 && std::atomic<uint32_t>::is_always_lock_free);

// Sleeps while the word is seen, at most so long. Wakes early for no reason too: look again.
inline void FutexWait(std::atomic<uint32_t> &word, uint32_t seen, int milliseconds)
{
    const timespec limit = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    syscall(SYS_futex, &word, FUTEX_WAIT, seen, &limit, nullptr, 0);
}

inline void FutexWake(std::atomic<uint32_t> &word)
{
    syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace fenwire

#endif
