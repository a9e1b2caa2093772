// tests/support/dice.h - choices of a random test, the same in every run.

#ifndef FENWIRE_TESTS_SUPPORT_DICE_H
#define FENWIRE_TESTS_SUPPORT_DICE_H

#include <cstdint>
#include <random>
#include <vector>

inline std::mt19937 dice(20240601);

inline uint32_t Below(size_t limit) { return static_cast<uint32_t>(dice() % limit); }

template <class T>
const T &OneOf(const std::vector<T> &choices)
{
    return choices[Below(choices.size())];
}

#endif
