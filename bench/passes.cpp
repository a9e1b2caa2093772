// bench/passes.cpp - the floors that a load is measured against.
//
//     bench_passes FILE...      MB/s of read+memchr over the lines, and of memcpy of the same bytes

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
    std::vector<char> block(kBlock), copy(kBlock);
    uint64_t bytes = 0, lines = 0;
    double scan = 0, move = 0;
    for (int i = 1; i < argc; ++i) {
        const int file = open(argv[i], O_RDONLY | O_CLOEXEC);
        if (file < 0) {
            perror(argv[i]);
            return 1;
        }
        for (;;) {
            const auto start = Clock::now();
            const ssize_t got = read(file, block.data(), kBlock);
            if (got <= 0)
                break;
            const char *at = block.data(), *end = at + got;
            while ((at = static_cast<const char *>(
                        memchr(at, '\n', static_cast<size_t>(end - at)))) != nullptr)
                ++at, ++lines;
            scan += Seconds(start);
            const auto again = Clock::now();
            memcpy(copy.data(), block.data(), static_cast<size_t>(got));
            asm volatile("" : : "r"(copy.data()) : "memory");
            move += Seconds(again);
            bytes += static_cast<uint64_t>(got);
        }
        close(file);
    }
    printf("%.0f %.0f %llu\n", static_cast<double>(bytes) / 1e6 / scan,
           static_cast<double>(bytes) / 1e6 / move, static_cast<unsigned long long>(lines));
    return 0;
}
