// tests/fileset/balance_test.cpp

#include <random>

#include "fileset/balance.h"
#include "tests/fileset/fileset_fixture.h"

namespace {

constexpr int64_t kBillion = 1'000'000'000;

// The choice as it is defined: the first of the instances that have the least.
struct LoadTable {
    explicit LoadTable(size_t instances) : billions(instances), rest(instances) {}
    int32_t Give(int64_t bytes)
    {
        size_t best = 0;
        for (size_t i = 1; i < rest.size(); ++i) {
            if (billions[i] < billions[best] ||
                (billions[i] == billions[best] && rest[i] < rest[best]))
                best = i;
        }
        rest[best] += bytes;
        for (; rest[best] >= kBillion; rest[best] -= kBillion)
            ++billions[best];
        return static_cast<int32_t>(best) + 1;
    }
    std::vector<int64_t> billions, rest;
};

}  // namespace

class Balance : public Fileset {
protected:
    std::vector<int32_t> Deal(int32_t instances, const std::vector<int64_t> &sizes)
    {
        std::vector<Published> files;
        for (size_t i = 0; i < sizes.size(); ++i)
            files.push_back(
                {0, static_cast<int32_t>(i % static_cast<size_t>(instances)) + 1, sizes[i]});
        TotalInstances = instances;
        Publish(files);
        EXPECT_EQ(BalanceLoad(), PXSTC_Success);
        std::vector<int32_t> dealt;
        for (size_t i = 1; i <= sizes.size(); ++i)
            dealt.push_back(Entry(i).Instance);
        return dealt;
    }
};

TEST_F(Balance, EachFileGoesToTheInstanceWithTheLeast)
{
    const struct {
        const char *about;
        int32_t instances;
        std::vector<int64_t> sizes;
        std::vector<int32_t> dealt;
    } cases[] = {
        {"a tie to the lower number", 3, {5, 5, 5, 5, 5, 5}, {1, 2, 3, 1, 2, 3}},
        {"fewer files than instances", 4, {7, 8}, {1, 2}},
        {"loads beyond 63 bits", 2, {INT64_MAX, 1, INT64_MAX, INT64_MAX, 1}, {1, 2, 2, 1, 2}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Deal(c.instances, c.sizes), c.dealt) << c.about;
}

TEST_F(Balance, HeapChoosesAsTheLiteralSearchDoes)
{
    std::mt19937_64 random(7);
    for (int32_t instances : {1, 2, 3, 7, 16}) {
        LoadTable table(static_cast<size_t>(instances));
        std::vector<int64_t> sizes;
        std::vector<int32_t> expected;
        for (int32_t i = 0; i < 500; ++i) {
            const int64_t size = static_cast<int64_t>(random() % (i % 5 == 0 ? 3 * kBillion : 9));
            sizes.push_back(size);
            if (i < instances) {
                table.rest[static_cast<size_t>(i)] = size;
                expected.push_back(i + 1);
            } else {
                expected.push_back(table.Give(size));
            }
        }
        EXPECT_EQ(Deal(instances, sizes), expected) << instances;
    }
}
