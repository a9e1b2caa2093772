// tests/pm/text_reader_test.cpp - records of text files: marks, quotes, blocks, the end.

#include "tests/pm/pm_fixture.h"

using namespace std::string_literals;

using TextReader = Pm;

TEST_F(TextReader, FirstLineEndSettlesTheMark)
{
    // clang-format off
    static const struct {
        const char *about;
        std::string bytes, records;
    } kCases[] = {
        {"LF",                                        "a\nbc\n",       "a|bc|->9"     },
        {"CRLF",                                      "a\r\nbc\r\n",   "a|bc|->9"     },
        {"LF alone runs on in a CRLF file",           "a\r\nb\nc\r\n", "a|b\nc|->9"   },
        {"CR stays in a LF file",                     "a\nb\r\n",      "a|b\r|->9"    },
        {"CR alone is no line end",                   "a\rb\r\n",      "a\rb|->9"     },
        {"CR CR LF",                                  "a\r\r\nb\r\n",  "a\r|b|->9"    },
        {"CR at the end of a CRLF file",              "a\r\nb\r",      "a|b\r|->9"    },
        {"empty records",                             "\n\na\n\n",     "||a||->9"     },
        {"last record without its mark",              "a\nbc",         "a|bc|->9"     },
        {"last byte of a CRLF file",                  "a\r\nb",        "a|b|->9"      },
        {"no line end at all",                        "abc",           "abc->35"      },
        {"one byte",                                  "a",             "a->35"        },
        {"empty file",                                "",              "->9"          },
        {"NUL bytes are data",                        "a\0b\nc\n"s,    "a\0b|c|->9"s  },
        {"quotes are data unless the job has them",   "\"a\nb\"\n",    "\"a|b\"|->9"  },
    };
    // clang-format on
    for (const auto &c : kCases) {
        for (const uint32_t buffer_size : {16U, 17U, 1024U}) {
            for (const uint32_t literal : {0U, 1U}) {
                bLiteralReader = literal;
                EXPECT_EQ(ReadText(c.bytes, buffer_size), c.records)
                    << c.about << ", " << buffer_size << ", literal " << literal;
            }
        }
    }
}

TEST_F(TextReader, WithoutAcceptEOFasEORTheLastLineNeedsItsMark)
{
    bAcceptEOFasEOR = 0;
    EXPECT_EQ(ReadText("a\nb\n"), "a|b|->9");
    EXPECT_EQ(ReadText("a\nb"), "a|->35");
    EXPECT_EQ(ReadText("ab"), "->35");
}

TEST_F(TextReader, ByteOrderMarks)
{
    const std::string utf8 = "\xEF\xBB\xBF"s, little = "\xFF\xFE"s, big = "\xFE\xFF"s;
    // clang-format off
    const struct {
        const char *about, *set;
        std::string bytes, records;
    } kCases[] = {
        {"UTF-8 mark is no data",         "UTF8",  utf8 + "a\nb\n",               "a|b|->9"        },
        {"UTF-8 without a mark",          "UTF8",  "a\nb\n",                      "a|b|->9"        },
        {"mark only",                     "UTF8",  utf8,                          "->9"            },
        {"mark and an empty line",        "UTF8",  utf8 + "\n",                   "->9"            },
        {"mark, CRLF, nothing else",      "UTF8",  utf8 + "\r\n",                 "->9"            },
        {"mark, empty line, a record",    "UTF8",  utf8 + "\na\n",                "|a|->9"         },
        {"mark, empty line, one byte",    "UTF8",  utf8 + "\na",                  "|a|->9"         },
        {"mark and no line end",          "UTF8",  utf8 + "a",                    "a->35"          },
        {"other sets know no mark",       "ASCII", utf8 + "\n",                   utf8 + "|->9"    },
        {"UTF-16 data in an UTF-8 job",   "UTF8",  little + "a\0\n\0"s,           "->46"           },
        {"UTF-32 data in an UTF-8 job",   "UTF8",  "\0\0\xFE\xFF"s + "\0\0\0a"s,  "->46"           },
        {"UTF-16",                        "UTF16", little + "a\0\n\0b\0\n\0"s,    "a\0|b\0|->9"s   },
        {"UTF-16 without a mark",         "UTF16", "a\0\n\0b\0\n\0"s,             "a\0|b\0|->9"s   },
        {"UTF-16 CRLF",                   "UTF16", little + "a\0\r\0\n\0b\0"s,    "a\0|b\0|->9"s   },
        {"half a unit at the end",        "UTF16", little + "a\0\n\0b"s,          "a\0|b|->9"s     },
        {"one byte only",                 "UTF16", "a"s,                          "a->35"          },
        {"UTF-16 mark only",              "UTF16", little,                        "->9"            },
        {"a unit U+0A41 is no line end",  "UTF16", "\x41\x0A\n\0"s,               "\x41\x0A|->9"s  },
        {"mark across two units",         "UTF16", "a\0\n\0\x61\x0A\0\x01\n\0"s,  "a\0|a|\x01|->9"s},
        {"the other byte order",          "UTF16", big + "\0a\0\n"s,              "->45"           },
        {"UTF-8 data in an UTF-16 job",   "UTF16", utf8 + "a\n",                  "->46"           },
    };
    // clang-format on
    for (const auto &c : kCases) {
        for (const uint32_t buffer_size : {16U, 1024U}) {
            pmSetCharSet(c.set);
            EXPECT_EQ(ReadText(c.bytes, buffer_size), c.records) << c.about;
        }
    }
}

TEST_F(TextReader, BigEndianDataIsReadWhereTheMachineIs)
{
    pmSetCharSet("UTF16");
    DataEndian = kBigEndian;
    OpenText("\xFE\xFF\0a\0\r\0\n\0b\0\r\0\n"s, 16);
    Object()->Endian = kBigEndian;
    EXPECT_EQ(ReadAll(), "\0a|\0b|->9"s);
}

TEST_F(TextReader, TrailBytesAreNoLineEnds)
{
    pmSetCharSet("SCHINESE936_6R0");  // its second bytes may have any value
    EXPECT_EQ(ReadText("a\x81\nb\nc\n"), "a\x81\nb|c|->9");
    pmSetCharSet("SCHGB2312_1T0");  // malformed characters of no length at all
    EXPECT_EQ(ReadText("\x81\x81\x81\nb\n"), "\x81\x81\x81|b|->9");
}

TEST_F(TextReader, QuotesHoldLineEnds)
{
    // clang-format off
    static const struct {
        const char *about, *open, *close, *escape;
        std::string bytes, records;
    } kCases[] = {
        {"in the first record and later", "'", "'", "",   "'a\nb',c\n'd\ne'\n",    "'a\nb',c|'d\ne'|->9" },
        {"doubled close mark",            "'", "'", "",   "a\n'b''\nc'\n",         "a|'b''\nc'|->9"      },
        {"empty quotes",                  "'", "'", "",   "'',a\nb,''\nc\n",       "'',a|b,''|c|->9"     },
        {"escaped close mark",            "'", "'", "\\", "a\n'b\\'\nc'\n",        "a|'b\\'\nc'|->9"     },
        {"escaped escape",                "'", "'", "\\", "a\n'b\\\\'\nc\n",       "a|'b\\\\'|c|->9"     },
        {"not at a field's start: data",  "'", "'", "",   "a\nb'c\nd'e\n",         "a|b'c|d'e|->9"       },
        {"first record: anywhere",        "'", "'", "",   "b'c\nd'e\n",            "b'c\nd'e|->9"        },
        {"behind a blank: data",          "'", "'", "",   "a\nb, 'c\nd\n",         "a|b, 'c|d|->9"       },
        {"delimiter of the last record",  "'", "'", "",   "a,\n'b\nc'\n",          "a,|'b\nc'|->9"       },
        {"not closed",                    "'", "'", "",   "a\n'b\nc\n",            "a|'b\nc\n|->9"       },
        {"different marks",               "<", ">", "",   "a\n<b\n<c>\nd\n",       "a|<b\n<c>|d|->9"     },
        {"long marks",                    "<<", ">>", "", "a\nb,<<c\n>\n>>,d\ne\n", "a|b,<<c\n>\n>>,d|e|->9"},
        {"long escape",                   "'", "'", "##", "a\nb,'c##'\nd'\ne\n",   "a|b,'c##'\nd'|e|->9" },
        {"escape equal to close",         "'", "'", "'",  "a\n'b'\nc\n",           "a|'b'\nc\n|->9"      },
        {"escape equal to open only",     "<", ">", "<",  "a\n<b<>\nc>\nd\n",      "a|<b<>\nc>|d|->9"    },
        {"CRLF, quoted LF and CRLF",      "'", "'", "",   "a\r\n'b\r\n\n'\r\nc\n", "a|'b\r\n\n'|c\n|->9" },
        {"quote mark CR",                 "\r", "\r", "", "a\nb\n",                "a|b|->9"             },
    };
    // clang-format on
    for (const auto &c : kCases) {
        Quote(c.open, c.close, c.escape);
        for (const uint32_t literal : {0U, 1U}) {
            bLiteralReader = literal;
            EXPECT_EQ(ReadText(c.bytes), c.records) << c.about << ", literal " << literal;
        }
    }
}

// The first record fills 16 bytes of the block of 32; a "|" in the comment is the block's end.
TEST_F(TextReader, LongMarksCutByABlockAreFoundAgainButAtTheRecordsStart)
{
    const std::string first = std::string(15, 'a') + "\n", shown = std::string(15, 'a') + "|";
    static constexpr struct {
        const char *open, *close, *escape, *records, *shown;
        uint32_t buffer_size = 32;
    } kCases[] = {
        // bbbbbbbbbbbbbb,<|<c
        {"<<", ">>", "", "bbbbbbbbbbbbbb,<<c\nd>>\ne\n", "bbbbbbbbbbbbbb,<<c\nd>>|e|->9"},
        // <<c\nd>>,eeeeeeee|e
        {"<<", ">>", "", "<<c\nd>>,eeeeeeeee\nf\n", "<<c|d>>,eeeeeeeee|f|->9"},
        {"<<", ">>", "", "<<c\nd>>,eeeeeeeee\nf\n", "<<c\nd>>,eeeeeeeee|f|->9", 64},
        // 'cccccccccccccc#|#'
        {"'", "'", "##", "'cccccccccccccc##'\nd'\ne\n", "'cccccccccccccc##'\nd'|e|->9"},
    };
    for (const auto &c : kCases) {
        Quote(c.open, c.close, c.escape);
        EXPECT_EQ(ReadText(first + c.records, c.buffer_size), shown + c.shown);
    }
    // A close mark that is doubled: the end lies in front of the two marks, in and between, and behind.
    Quote("<", ">>");
    bLiteralReader = 1;
    for (size_t fill = 7; fill < 16; ++fill) {
        const std::string record = "<c" + std::string(fill, 'd') + ">>>>\nddd>>,b";
        for (const std::string front : {"", "b,"})
            EXPECT_EQ(ReadText(first + front + record + "\ne\n", 32),
                      shown + front + record + "|e|->9")
                << front << fill;
    }
    //        |-- block of 16 --|
    EXPECT_EQ(ReadText("a\nbb,<c\nddddddd>>\ne\n", 16), "a|bb,<c\nddddddd>>|e|->9");
    EXPECT_EQ(ReadText("a\nbb,<c\ndddddd>>\ne\n", 16), "a|bb,<c\ndddddd>>|e|->9");
}

TEST_F(TextReader, RecordsUpToTheBufferSizePass)
{
    const std::string fits(16, 'x'), longer(17, 'x');
    for (const char *mark : {"\n", "\r\n"}) {
        for (size_t before = 0; before < 20; ++before) {
            for (const uint32_t literal : {0U, 1U}) {
                bLiteralReader = literal;
                const std::string start = std::string(before % 16, 'b') + mark;
                const std::string shown = std::string(before % 16, 'b') + "|";
                EXPECT_EQ(ReadText(start + fits + mark + "c" + mark, 16), shown + fits + "|c|->9");
                EXPECT_EQ(ReadText(start + fits, 16), shown + fits + "|->9");
                EXPECT_EQ(ReadText(start + longer + mark, 16), shown + "->17");
                EXPECT_EQ(ReadText(start + longer, 16), shown + "->17");
            }
        }
        EXPECT_EQ(ReadText(fits + mark + "c" + mark, 16), fits + "|c|->9");
        EXPECT_EQ(ReadText(longer + mark, 16), "->17");
    }
    EXPECT_EQ(ReadText(fits, 16), fits + "->35");
}

TEST_F(TextReader, BlocksBeginBehindTheMovedTailAndEndInZeros)
{
    pmRecord record = {};
    ReadText(std::string(64, 'x') + "\n", 32);  // leaves its bytes in the memory that is used again
    OpenText("0123456789\nabcdefghij\n0123456789\n", 16);
    EXPECT_EQ(Object()->BufferBlkStrt, 0);
    EXPECT_EQ(pmRead(file, &record), pmrcOk);
    EXPECT_EQ(Object()->BufferBlkStrt, 0);
    EXPECT_EQ(pmRead(file, &record), pmrcOk);
    const pmFile *object = Object();
    EXPECT_EQ(object->BufferBlkStrt, 5);  // "abcde" was moved before it
    EXPECT_EQ(object->BufferEnd, 21U);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(object->Buffer + 21), 8), std::string(8, '\0'));
}

TEST_F(TextReader, OverflowTellsRecordAndQuotes)
{
    FileRecordCount = 4;
    EXPECT_EQ(ReadText("a\n" + std::string(40, 'x') + "\n", 16), "a|->17");
    EXPECT_EQ(fake.public_log, "19469(5,16) ");
    fake.public_log.clear();
    Quote("'", "'");
    EXPECT_EQ(ReadText("a\n'" + std::string(40, 'x') + "\n", 16), "a|->17");
    EXPECT_EQ(fake.public_log, "19470(5,16) ");
}

TEST_F(TextReader, EndOfFileIsAnsweredAsOftenAsItIsAsked)
{
    OpenText("a\n");
    pmRecord record = {};
    EXPECT_EQ(pmRead(file, &record), pmrcOk);
    EXPECT_EQ(record.RecCount, 1U);
    for (int i = 0; i < 3; ++i) {
        record.DataLength = 7;
        EXPECT_EQ(pmRead(file, &record), pmrcEOF);
        EXPECT_EQ(record.DataLength, 0U);
    }
}
