// tests/pm/piecewise_file.h - a file from memory, read in pieces of random length.
//
// After ServePieces every path is this file, and refills come everywhere in it.

#ifndef FENWIRE_TESTS_PM_PIECEWISE_FILE_H
#define FENWIRE_TESTS_PM_PIECEWISE_FILE_H

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "pm/disk/os_calls.h"

struct PiecewiseFile {
    std::string bytes;
    size_t at = 0, longest_piece = 0;
    std::minstd_rand random;

    void Rewind(uint32_t seed)
    {
        at = 0;
        random.seed(seed);
    }
};
inline PiecewiseFile source;

inline void ServePieces()
{
    os.open = [](const char *, int) { return 1000; };
    os.close = [](int) { return 0; };
    os.stat = [](const char *, struct stat *) { return 0; };
    os.fstat = [](int, struct stat *info) {
        info->st_mode = S_IFREG;
        info->st_size = 1;
        return 0;
    };
    os.read = [](int, void *to, size_t most) -> ssize_t {
        const size_t wanted = 1 + source.random() % source.longest_piece;
        const size_t count = std::min({most, wanted, source.bytes.size() - source.at});
        memcpy(to, source.bytes.data() + source.at, count);
        source.at += count;
        return static_cast<ssize_t>(count);
    };
}

#endif
