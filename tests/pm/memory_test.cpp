// tests/pm/memory_test.cpp - memory by token: fit, reuse, limits.

#include <cstring>
#include <gtest/gtest.h>

#include "pm/disk/os_calls.h"
#include "pm/pm_memory.h"

namespace {

pmToken Get(uint32_t size)
{
    pmToken token = 0;
    void *piece = pmGetMem(size, &token, false);
    EXPECT_EQ(piece, pmGetMemA(token));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(piece) % 8, 0U);
    return token;
}

}  // namespace

TEST(Memory, SmallestFittingPieceIsReused)
{
    pmMMNewPool();
    const pmToken large = Get(300), small = Get(200), other = Get(200);
    for (const pmToken token : {large, small, other})
        pmFreeMem(token);
    EXPECT_EQ(pmGetMemA(small), nullptr);
    EXPECT_EQ(Get(150), small);
    EXPECT_EQ(Get(201), large);
    pmToken token = 0;
    memset(pmGetMemA(small), 'x', 200);
    pmFreeMem(small);
    const auto *cleared = static_cast<char *>(pmGetMem(8, &token, true));
    EXPECT_EQ(token, small);
    EXPECT_EQ(cleared[7], 0);
    EXPECT_EQ(cleared[8], 'x');
    pmMMFreePool();
}

TEST(Memory, LimitsAreRefusedAndNothingIsLost)
{
    pmMMNewPool();
    pmToken token = 7;
    EXPECT_EQ(pmGetMem(UINT32_MAX, &token, false), nullptr);
    EXPECT_EQ(token, 0U);
    for (uint32_t i = 1; i < 1000; ++i)
        ASSERT_EQ(Get(16), i);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(pmGetMem(16, &token, false), nullptr);
    for (const pmToken wrong : {0U, 1000U, 1001U, UINT32_MAX}) {
        EXPECT_EQ(pmGetMemA(wrong), nullptr);
        pmFreeMem(wrong);
    }
    pmFreeMem(5);
    EXPECT_EQ(Get(16), 5U);
    os.calloc = [](size_t, size_t) -> void * { return nullptr; };
    pmFreeMem(5);
    EXPECT_EQ(pmGetMem(100000, &token, false), nullptr);
    EXPECT_EQ(Get(16), 5U);
    pmMMFreePool();
    EXPECT_EQ(pmGetMemA(1), nullptr);
    int pools = 0;
    while (pmMMNewPool() == 0)
        ++pools;
    EXPECT_EQ(pools, 15);
}
