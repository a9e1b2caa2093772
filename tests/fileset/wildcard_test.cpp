// tests/fileset/wildcard_test.cpp

#include "fileset/wildcard.h"
#include "tests/fileset/fileset_fixture.h"

TEST(Wildcard, PiecesAreFoundInOrderAndMayOverlap)
{
    const struct {
        const char *pattern, *name;
        bool matches;
    } cases[] = {
        {"a*b", "ab", true},        {"a*b", "axb", true},
        {"a*b", "xab", false},      {"a*b", "abx", false},
        {"a*b", "abxb", true},      {"*.dat", "x.dat", true},
        {"*.dat", ".dat", true},    {"*.dat", "x.dat.dat", true},
        {"*.dat", "x.data", false}, {"*.dat", "dat", false},
        {"a*", "a", true},          {"a*", "abc", true},
        {"a*", "ba", false},        {"*", "anything", true},
        {"a**b", "axb", true},      {"a**b", "axbc", false},
        {"**b", "ab", true},        {"ab*ba", "aba", true},
        {"ab*ba", "ab", false},     {"a*b*c", "a.b.c", true},
        {"a*b*c", "acb", false},    {"a*b*c*", "abcd", true},
        {"*b*", "abc", true},       {"*b*", "acd", false},
        {"*aa", "aaaaa", true},     {"*ab", "abab", true},
        {"*a*", "", false},
    };
    for (const auto &c : cases) {
        WildcardPattern pattern;
        ASSERT_EQ(SplitPattern(c.pattern, &pattern), PXSTC_Success);
        EXPECT_EQ(MatchesPattern(pattern, c.name), c.matches) << c.pattern << " " << c.name;
    }
}

TEST_F(Fileset, PatternOfMoreThan32PiecesIsRefused)
{
    std::string text;
    for (int i = 0; i < 31; ++i)
        text += "a*";
    WildcardPattern pattern;
    EXPECT_EQ(SplitPattern((text + "a").c_str(), &pattern), PXSTC_Success);
    EXPECT_TRUE(MatchesPattern(pattern, std::string(32, 'a').c_str()));
    EXPECT_EQ(SplitPattern((text + "a*").c_str(), &pattern), PXSTC_FatalError);
    EXPECT_EQ(fake.public_log, "19144(33,32) 19015(12) ");
}
