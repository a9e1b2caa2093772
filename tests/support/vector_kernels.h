// tests/support/vector_kernels.h - the kinds of vectors that this machine has, to be tried one by one.

#ifndef FENWIRE_TESTS_SUPPORT_VECTOR_KERNELS_H
#define FENWIRE_TESTS_SUPPORT_VECTOR_KERNELS_H

#include <cstdint>
#include <hwy/targets.h>
#include <vector>

// One bit each.
inline std::vector<int64_t> Kernels()
{
    std::vector<int64_t> kernels;
    for (int64_t left = hwy::SupportedTargets(); left != 0; left &= left - 1) {
        if (const int64_t kernel = left & -left;
            (kernel & (HWY_AVX3_DL | HWY_AVX2 | HWY_SSE4)) != 0)
            kernels.push_back(kernel);
    }
    kernels.push_back(HWY_STATIC_TARGET);
    return kernels;
}

inline void UseKernel(int64_t kernel)
{
    hwy::SetSupportedTargetsForTest(kernel);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

#endif
