// bench/library.h - the operator library, loaded and called without a runner.

#ifndef FENWIRE_BENCH_LIBRARY_H
#define FENWIRE_BENCH_LIBRARY_H

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>

#include "tests/support/fake_infrastructure.h"

inline double CpuSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

inline const PxMethods &Load(const char *path)
{
    void *library = dlopen(path, RTLD_NOW);
    if (library == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        exit(1);
    }
    const auto entry =
        reinterpret_cast<PxStatus (*)(PxMethods **)>(dlsym(library, "PX_GetOperatorMethods"));
    PxMethods *methods = nullptr;
    if (entry == nullptr || entry(&methods) != 0) {
        fprintf(stderr, "%s is no operator library\n", path);
        exit(1);
    }
    return *methods;
}

// Calls until the method is over: 42, or 0 of initiate's phases.
inline void Drive(PxStatus (*method)(PxOperator *, uint32_t), Fake &fake, const char *what)
{
    for (uint32_t phase = 1;; ++phase) {
        PxStatus status;
        do
            status = method(fake.op(), phase);
        while (status == 43);
        if (status == 42)
            return;
        if (status != 41 && status != 0) {
            fprintf(stderr, "%s: %d\n%s\n", what, status, fake.public_log.c_str());
            exit(1);
        }
    }
}

#endif
