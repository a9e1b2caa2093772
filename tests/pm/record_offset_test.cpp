// tests/pm/record_offset_test.cpp - where in its file a record begins.

#include "tests/pm/pm_fixture.h"

using RecordOffset = Pm;

TEST_F(RecordOffset, PointsAtTheRecordWhereverTheBlocksEnd)
{
    // clang-format off
    static constexpr struct {
        const char *text;
        uint32_t first, mark, records;  // bytes before the first record and of the mark
    } kCases[] = {
        {"\xEF\xBB\xBF" "one,1\ntwo,22\n\nthree,333\n'fo\nur',4\nlast\n",    3, 1, 6},
        {"one\r\n\r\n,'x\r\ny'\r\nthree three\r\nlast without a mark", 0, 2, 5},
        {"\n\n\n\na",                                                    0, 1, 5},
        {"one record and no mark",                                       0, 0, 1},
        {"\xEF\xBB\xBF\n",                                              3, 1, 0},
    };
    // clang-format on
    pmSetCharSet("UTF8");
    Quote("'", "'");
    for (const auto &c : kCases) {
        for (uint32_t buffer_size = 22; buffer_size < 64; ++buffer_size) {
            OpenText(c.text, buffer_size);
            EXPECT_EQ(pmRecordOffset(file), -1);
            pmRecord record = {};
            uint32_t records = 0;
            int64_t behind = c.first;
            while (pmRead(file, &record) != pmrcEOF) {
                EXPECT_EQ(pmRecordOffset(file), behind) << c.text << ", " << buffer_size;
                behind += record.DataLength + c.mark;
                ++records;
            }
            EXPECT_EQ(records, c.records) << c.text;
            pmClose(file);
            EXPECT_EQ(pmRecordOffset(file), -1);
        }
    }
}
