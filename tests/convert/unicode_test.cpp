// tests/convert/unicode_test.cpp - conversions through the library that is bound at run time.

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "convert/unicode.h"

using namespace std::string_literals;

namespace {

std::string ToUtf16(const std::string &text, int32_t capacity)
{
    uint8_t target[256] = {};
    const int32_t bytes = UTF8toUTF16(reinterpret_cast<const uint8_t *>(text.data()),
                                      static_cast<int32_t>(text.size()), target, capacity);
    return bytes <= 0 ? "failed"
                      : std::string(reinterpret_cast<char *>(target), static_cast<size_t>(bytes));
}

}  // namespace

TEST(Unicode, Utf8BecomesUtf16)
{
    if (px_nvicu_init() != 0)
        GTEST_SKIP() << "no Unicode library on this machine";
    // clang-format off
    static const struct {
        const char *about;
        std::string text;
        int32_t capacity;
        std::string result;
    } kCases[] = {
        {"one byte",          "|",                100, "|\0"s            },
        {"three bytes",       "\xE2\x82\xAC",     100, "\xAC\x20"s       },
        {"surrogate pair",    "\xF0\x9F\x98\x80", 100, "\x3D\xD8\x00\xDE"s},
        {"just fits",         "ab",               4,   "a\0b\0"s         },
        {"too long",          "abc",              4,   "failed"          },
        {"malformed",         "a\xC3",            100, "failed"          },
        {"stray trail byte",  "\x80",             100, "failed"          },
        {"empty",             "",                 100, "failed"          },
    };
    // clang-format on
    for (const auto &c : kCases)
        EXPECT_EQ(ToUtf16(c.text, c.capacity), c.result) << c.about;
    EXPECT_NE(std::string(px_nvicuversion()), kNoUnicodeLibrary);
    EXPECT_EQ(px_nvicu_term(), 0);
    EXPECT_EQ(px_nvicu_term(), 0);
    EXPECT_EQ(ToUtf16("|", 100), "|\0"s) << "loaded anew";
}

TEST(Unicode, ForwardedCallsReachTheLibrary)
{
    if (px_nvicu_init() != 0)
        GTEST_SKIP() << "no Unicode library on this machine";
    UErrorCode status = 0;
    char bytes[16] = "";
    char16_t text[16] = u"ab";
    px_u_strcat(text, u"c");
    EXPECT_EQ(px_u_strlen(text), 3);
    EXPECT_EQ(px_u_strstr(text, u"bc"), text + 1);
    EXPECT_STREQ(px_u_errorName(0), "U_ZERO_ERROR");
    UConverter *converter = px_ucnv_open("ISO-8859-1", &status);
    ASSERT_NE(converter, nullptr);
    EXPECT_EQ(px_ucnv_fromUChars(converter, bytes, 16, u"\u00e9", 1, &status), 1);
    EXPECT_STREQ(bytes, "\xE9");
    px_ucnv_close(converter);
    const UNormalizer2 *composer = px_unorm2_getInstance(nullptr, "nfc", 0, &status);
    EXPECT_EQ(px_unorm2_normalize(composer, u"e\u0301", 2, text, 16, &status), 1);
    EXPECT_EQ(text[0], u'\u00e9');
    EXPECT_EQ(status, 0);
}
