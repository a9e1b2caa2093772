// tests/pm/binary_formats_test.cpp - records with a length prefix and bare ones, to the byte.

#include <functional>
#include <vector>

#include "tests/pm/piecewise_file.h"
#include "tests/pm/pm_fixture.h"
#include "tests/support/hex.h"

namespace {

constexpr uint32_t kBufferSize = 32, kBare = 8;
size_t longest_write = 0;

}  // namespace

class BinaryFormats : public Pm {
protected:
    // "616263|64|->9": the records in hexadecimal and the code at the end; bare ones of `wanted` bytes.
    std::string Read(const std::string &bytes, size_t longest_piece, uint32_t wanted = 0,
                     std::vector<int64_t> *offsets = nullptr)
    {
        std::string shown;
        source.bytes = bytes;
        source.longest_piece = longest_piece;
        source.Rewind(static_cast<uint32_t>(longest_piece));
        fake.public_log.clear();
        EXPECT_EQ(Open("pieces", kBufferSize), pmrcOk);
        for (int code = pmrcOk; code == pmrcOk;) {
            pmRecord record = {};
            record.DataLength = wanted;
            code = pmRead(file, &record);
            if (code == pmrcOk)
                shown += ToHex({reinterpret_cast<char *>(record.Data), record.DataLength}) + "|";
            else
                shown += "->" + std::to_string(code);
            if (code == pmrcOk && offsets != nullptr)
                offsets->push_back(pmRecordOffset(file));
            EXPECT_LE(Object()->BufferPosition, Object()->BufferEnd);
        }
        EXPECT_EQ(pmClose(file), pmrcOk);
        return shown;
    }
};

TEST_F(BinaryFormats, WhatIsRead)
{
    // clang-format off
    static const struct {
        const char *about;
        uint32_t format;
        bool flip;
        std::string file, shown, log;
    } kCases[] = {
        {"UNFORMATTED, by threes",     8, false, "616263 646566 67",                "616263|646566|67|->9", ""},
        {"empty record, BINARY",       2, false, "0000",                            "->17", "19473(1,0,32) "},
        {"empty record, code 4",       4, false, "0200",                            "->17", "19473(1,0,32) "},
        {"prefix below its own bytes", 4, false, "0100 61",                         "->17", "19473(1,-1,32) "},
        {"the same with a trailer",    5, false, "0100 0A",                         "->17", "19473(1,0,32) "},
        {"and 0",                      5, false, "0000 0A",                         "->17", "19473(1,-1,32) "},
        {"longest",                    2, false, "2000" + ToHex(std::string(32, 'x')), ToHex(std::string(32, 'x')) + "|->9", ""},
        {"one byte longer",            2, false, "2100" + ToHex(std::string(33, 'x')), "->17", "19473(1,33,32) "},
        {"longest with its trailer",   3, false, "1F00" + ToHex(std::string(31, 'x')) + "0A", ToHex(std::string(31, 'x')) + "|->9", ""},
        {"trailer does not fit",       3, false, "2000" + ToHex(std::string(32, 'x')) + "0A", "->17", "19473(1,33,32) "},
        {"prefix lies",                6, false, "01000000 61 FFFFFFFF 61",         "61|->17", "19473(1,4294967295,32) "},
        {"the same with a trailer",    7, false, "FFFFFFFF 61",                     "->17", "19473(1,4294967296,32) "},
        {"wrong trailer",              3, false, "0100 61 0A 0100 61 41",           "61|->16", "19989(pieces,2,4,has 41 behind its 1 bytes, where 0A or 0D should be) "},
        {"flipped",                    3, true,  "0003 616263 0A",                  "616263|->9", ""},
        {"flipped, counts itself",     4, true,  "0005 616263",                     "616263|->9", ""},
        {"flip of four changes two",   6, true,  "0003 0000 616263",                "616263|->9", ""},
        {"and leaves the others",      6, true,  "0000 0003 616263",                "->17", "19473(1,50331648,32) "},
    };
    // clang-format on
    ServePieces();
    for (const auto &c : kCases) {
        file_format = c.format;
        EndianFlip = c.flip ? 1 : 0;
        for (const size_t longest_piece : {1, 3, 100}) {
            EXPECT_EQ(Read(FromHex(c.file), longest_piece, 3), c.shown) << c.about;
            EXPECT_EQ(fake.public_log, c.log) << c.about;
        }
    }
}

// Whole records are served wherever the file ends and whatever pieces it comes in; what then is left is
// warned of once, and an error where there are trailers.
TEST_F(BinaryFormats, FileMayEndAnywhere)
{
    static const struct {
        uint32_t format;
        int torn;
        std::vector<std::string> records;
    } kCases[] = {
        {2, 9, {"0300 616263", "0100 64", "1E00" + ToHex(std::string(30, 'x')), "0100 0A"}},
        {3, 16, {"0300 616263 0A", "0000 0D", "1E00" + ToHex(std::string(30, 'x')) + "0A"}},
        {4, 9, {"0500 616263", "0300 0A", "2000" + ToHex(std::string(30, 'x'))}},
        {5, 16, {"0500 616263 0D", "0200 0D", "2000" + ToHex(std::string(30, 'x')) + "0A"}},
        {6, 9, {"03000000 616263", "01000000 0A", "1E000000" + ToHex(std::string(30, 'x'))}},
        {7, 16, {"03000000 616263 0A", "00000000 0D", "01000000 00 0A"}},
    };
    ServePieces();
    for (const auto &c : kCases) {
        std::string whole, all_shown;
        std::vector<size_t> ends = {0};
        const size_t prefix = c.format < 6 ? 2 : 4, trailer = c.format % 2;
        for (const std::string &record : c.records) {
            const std::string bytes = FromHex(record);
            ends.push_back((whole += bytes).size());
            all_shown += ToHex(bytes.substr(prefix, bytes.size() - prefix - trailer)) + "|";
        }
        for (size_t cut = 1; cut <= whole.size(); ++cut) {
            const auto next = std::upper_bound(ends.begin(), ends.end(), cut);
            const std::vector<int64_t> begins(ends.begin(), next - 1);
            const int code = *(next - 1) == cut ? 9 : c.torn;
            for (size_t longest_piece = 1; longest_piece < 12; ++longest_piece) {
                std::vector<int64_t> offsets;
                file_format = c.format;
                const std::string shown = Read(whole.substr(0, cut), longest_piece, 0, &offsets);
                ASSERT_EQ(shown.substr(shown.find('>') + 1), std::to_string(code))
                    << c.format << ", cut at " << cut;
                ASSERT_TRUE(all_shown.starts_with(shown.substr(0, shown.find('-')))) << shown;
                ASSERT_EQ(offsets, begins) << c.format << ", cut at " << cut;
                const std::string warning = "19986(pieces," + std::to_string(cut - *(next - 1)) +
                                            "," + std::to_string(begins.size()) + ") ";
                ASSERT_EQ(fake.public_log.empty(), *(next - 1) == cut) << cut;
                ASSERT_EQ(fake.public_log.starts_with(warning), code == 9 && *(next - 1) != cut);
            }
        }
    }
}

TEST_F(BinaryFormats, BareRecordsAreAskedForByTheirLength)
{
    static const struct {
        uint32_t wanted;
        const char *shown;
    } kCases[] = {{0, "->2"}, {1, "61|62|63|->9"}, {32, "616263|->9"}, {33, "->17"}, {~0U, "->17"}};
    ServePieces();
    file_format = kBare;
    for (const auto &c : kCases) {
        EXPECT_EQ(Read("abc", 2, c.wanted), c.shown) << c.wanted;
        EXPECT_EQ(fake.public_log, "") << c.wanted;
    }
}

TEST_F(BinaryFormats, WhatIsWritten)
{
    static const std::pair<uint32_t, const char *> kCases[] = {
        {2, "0300616263 01000A"},
        {3, "03006162630A 01000A0A"},
        {4, "0500616263 03000A"},
        {5, "05006162630A 03000A0A"},
        {6, "03000000616263 010000000A"},
        {7, "030000006162630A 010000000A0A"},
        {8, "616263 0A"},
    };
    const std::string path = directory.File("out");
    os.write = [](int descriptor, const void *from, size_t bytes) {
        longest_write = std::max(longest_write, bytes);
        return ::write(descriptor, from, bytes);
    };
    EndianFlip = 1;  // is for readers
    for (const auto &[format, written] : kCases) {
        for (const uint32_t buffer_size : {8U, 9U, 64U}) {
            file_format = format;
            longest_write = 0;
            ASSERT_EQ(Open(path, buffer_size, kOpenWrite), pmrcOk);
            EXPECT_EQ(Write("abc"), pmrcOk);
            EXPECT_EQ(Write(""), pmrcOk);
            EXPECT_EQ(Write(std::string(buffer_size + 1, 'x')), pmrcOverflow);
            EXPECT_EQ(Write("\n"), pmrcOk);
            EXPECT_EQ(pmFlush(file), pmrcOk);
            EXPECT_EQ(pmClose(file), pmrcOk);
            EXPECT_EQ(ToHex(directory.Read("out")), ToHex(FromHex(written))) << format;
            EXPECT_LE(longest_write, buffer_size);
        }
        EXPECT_EQ(fake.public_log, "");
    }
}

// A length that the prefix can't hold would frame all that follows wrongly.
TEST_F(BinaryFormats, LongestRecordsThatAreWritten)
{
    // clang-format off
    static constexpr struct {
        uint32_t format, buffer_size, longest;
    } kCases[] = {
        {2, 100000, 65535}, {3, 100000, 65535}, {4, 100000, 65533}, {5, 100000, 65533}, {6, 100000, 99996},
        {7, 100000, 99995}, {8, 100000, 100000}, {2, 32, 30}, {3, 32, 29}, {5, 32, 29}, {7, 32, 27}, {8, 32, 32},
    };
    // clang-format on
    for (const auto &c : kCases) {
        file_format = c.format;
        ASSERT_EQ(Open(directory.File("out"), c.buffer_size, kOpenWrite), pmrcOk);
        EXPECT_EQ(Write(std::string(c.longest, 'x')), pmrcOk) << c.format;
        EXPECT_EQ(Write(std::string(c.longest + 1, 'x')), pmrcOverflow) << c.format;
        EXPECT_EQ(pmWrite(file, nullptr), pmrcText) << c.format;
        EXPECT_STREQ(pmErrorText(pmrcText), "Internal logic error in PMRWFMT");
        EXPECT_EQ(pmClose(file), pmrcOk);
    }
}
