// tests/pm/record_offset_test.cpp - where in its file a record begins.

#include "tests/pm/pm_fixture.h"

using RecordOffset = Pm;

TEST_F(RecordOffset, PointsAtTheRecordWhereverTheBlocksEnd)
{
    static constexpr const char *kTexts[] = {
        "\xEF\xBB\xBF"
        "one,1\ntwo,22\n\nthree,333\n'fo\nur',4\nlast\n",
        "one\r\n\r\n,'x\r\ny'\r\nthree three\r\nlast without a mark",
        "\n\n\n\na",
        "one record and no mark",
        "\xEF\xBB\xBF\n",
    };
    pmSetCharSet("UTF8");
    Quote("'", "'");
    for (const std::string text : kTexts) {
        for (uint32_t buffer_size = 22; buffer_size < 64; ++buffer_size) {
            OpenText(text, buffer_size);
            EXPECT_EQ(pmRecordOffset(file), -1);
            pmRecord record = {};
            int64_t behind = text.starts_with('\xEF') ? 3 : 0;
            while (pmRead(file, &record) != pmrcEOF) {
                EXPECT_EQ(pmRecordOffset(file), behind) << text << ", " << buffer_size;
                behind += record.DataLength;
                behind += text.find('\r') != std::string::npos ? 2 : 1;
            }
            EXPECT_GE(behind, static_cast<int64_t>(text.size()) - (text.size() == 4)) << text;
            pmClose(file);
            EXPECT_EQ(pmRecordOffset(file), -1);
        }
    }
}

TEST_F(RecordOffset, PipesHaveNone)
{
    const std::string pipe = directory.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int keep = ::open(pipe.c_str(), O_RDWR);
    EXPECT_EQ(::write(keep, "a\nb\n", 4), 4);
    ASSERT_EQ(Open(pipe), pmrcOk);
    pmRecord record = {};
    EXPECT_EQ(pmRead(file, &record), pmrcOk);
    EXPECT_EQ(pmRecordOffset(file), -1);
    ::close(keep);
}
