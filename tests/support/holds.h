// tests/support/holds.h - whether words stand in a text; an expectation that fails shows both.

#ifndef FENWIRE_TESTS_SUPPORT_HOLDS_H
#define FENWIRE_TESTS_SUPPORT_HOLDS_H

#include <gtest/gtest.h>
#include <string>

inline testing::AssertionResult Holds(const std::string &text, const std::string &part)
{
    const bool there = text.find(part) != std::string::npos;
    return (there ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "looked for \"" << part << "\" in:\n"
           << text;
}

#endif
