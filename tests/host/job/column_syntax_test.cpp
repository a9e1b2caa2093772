// tests/host/job/column_syntax_test.cpp - types of columns, and the bytes that they declare.

#include <gtest/gtest.h>

#include "host/job/column_syntax.h"

using namespace fenwire;

TEST(ColumnSyntax, DeclaredLengthsFollowTheTypes)
{
    // clang-format off
    static constexpr struct {
        const char *type;
        uint32_t code, length;
        uint16_t precision, scale;
    } kCases[] = {
        {"CHAR(3)",                        5,  3,     0,  0},
        {"ansidate",                      15,  10,    0,  0},
        {"DECIMAL(2)",                     4,  1,     2,  0},
        {"DECIMAL(9,2)",                   4,  4,     9,  2},
        {"DECIMAL( 10 , 2 )",              4,  8,     10, 2},
        {"DECIMAL(38,38)",                 4,  16,    38, 38},
        {"VARGRAPHIC(32000)",             13,  64000, 0,  0},
        {"LONG  VARCHAR",                  8,  64000, 0,  0},
        {"TIMESTAMP(3) WITH TIME ZONE",   44,  12,    3,  0},
        {"PERIOD ( TIME (0) )",           59,  12,    0,  0},
        {"NULLABLE BIGINT",               38,  8,     0,  0},
        {"NUMBER",                        63,  19,    0,  0},
    };
    // clang-format on
    for (const auto &c : kCases) {
        std::vector<Complaint> found;
        Column column;
        EXPECT_TRUE(ParseColumn(std::string("x ") + c.type, {}, column, found)) << c.type;
        EXPECT_EQ(column.type, c.code) << c.type;
        EXPECT_EQ(column.length, c.length) << c.type;
        EXPECT_EQ(column.precision, c.precision) << c.type;
        EXPECT_EQ(column.scale, c.scale) << c.type;
    }
}
