// bench/passes.cpp - the floors that a load is measured against.
//
//     bench_passes FILE      MB/s of read+memchr over the lines; of memcpy of the same bytes from a
//                            buffer of the file's size to another one; of memcpy block by block, as
//                            they come from read, in the cache

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since)
{
    return std::chrono::duration<double>(Clock::now() - since).count();
}

}  // namespace

int main(int argc, char **argv)
{
    constexpr size_t kBlock = 1 << 20;
    const int file = argc == 2 ? open(argv[1], O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) {
        fputs("usage: bench_passes FILE\n", stderr);
        return 2;
    }
    std::vector<char> whole, block(kBlock), copy(kBlock);
    uint64_t lines = 0;
    double scan = 0, move = 0;
    for (;;) {
        const auto start = Clock::now();
        const ssize_t got = read(file, block.data(), kBlock);
        if (got <= 0)
            break;
        const char *at = block.data();
        const char *const end = at + got;
        while ((at = static_cast<const char *>(memchr(at, '\n', static_cast<size_t>(end - at)))) !=
               nullptr)
            ++at, ++lines;
        scan += Seconds(start);
        const auto again = Clock::now();
        memcpy(copy.data(), block.data(), static_cast<size_t>(got));
        asm volatile("" : : "r"(copy.data()) : "memory");
        move += Seconds(again);
        whole.insert(whole.end(), block.begin(), block.begin() + got);
    }
    close(file);
    std::vector<char> other(whole.size(), 'x');  // every page is there before the clock starts
    const auto start = Clock::now();
    memcpy(other.data(), whole.data(), whole.size());
    asm volatile("" : : "r"(other.data()) : "memory");
    const double all = Seconds(start), megabytes = static_cast<double>(whole.size()) / 1e6;
    printf("%.0f %.0f %.0f %llu\n", megabytes / scan, megabytes / all, megabytes / move,
           static_cast<unsigned long long>(lines));
    return 0;
}
