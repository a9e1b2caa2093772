// tests/pm/faulty_calls.h - reads and writes that fail before they go on.

#ifndef FENWIRE_TESTS_PM_FAULTY_CALLS_H
#define FENWIRE_TESTS_PM_FAULTY_CALLS_H

#include <cerrno>
#include <string>

#include <unistd.h>

inline std::string faults;  // of the next calls: an error number, or 0 for a single byte

template <auto Call, class Bytes>
ssize_t Faulty(int descriptor, Bytes *bytes, size_t count)
{
    if (faults.empty())
        return Call(descriptor, bytes, count);
    const char fault = faults.front();
    faults.erase(0, 1);
    return fault == 0 ? Call(descriptor, bytes, 1) : (errno = fault, -1);
}

#endif
