// tests/support/hex.h - bytes as a table shows them.

#ifndef FENWIRE_TESTS_SUPPORT_HEX_H
#define FENWIRE_TESTS_SUPPORT_HEX_H

#include <cstdio>
#include <string>

// "0300 616263": blanks are for the eye.
inline std::string FromHex(const std::string &digits)
{
    std::string bytes, pair;
    for (const char c : digits) {
        if (c != ' ')
            pair += c;
        if (pair.size() < 2)
            continue;
        bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
        pair.clear();
    }
    return bytes;
}

inline std::string ToHex(const std::string &bytes)
{
    std::string digits;
    for (const char c : bytes) {
        char pair[3];
        snprintf(pair, sizeof pair, "%02X", c & 0xFFU);
        digits += pair;
    }
    return digits;
}

#endif
