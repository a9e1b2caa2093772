// tests/host/catalogue/message_catalogue_test.cpp - messages as their reader sees them.

#include <gtest/gtest.h>
#include <vector>

#include "host/services/message_catalogue.h"

using namespace fenwire;

namespace {

PxLogArg Text(const char *text) { return {.type = PX_ARG_TEXT, .text = text}; }
PxLogArg Number(int64_t number) { return {.type = PX_ARG_INTEGER, .number = number}; }

}  // namespace

TEST(MessageCatalogue, ArgumentsStandInTheirPlaces)
{
    const struct {
        const char *about;
        int number;
        std::vector<PxLogArg> args;
        const char *text;
    } kCases[] = {
        {"text and numbers",
         19204,
         {Text("SkipRows"), Number(-1), Number(0), Number(9)},
         "attribute SkipRows is -1; it must lie between 0 and 9"},
        {"places out of order",
         19135,
         {Number(7), Number(8)},
         "the largest row would need a buffer of 8 bytes; the target takes 7"},
        {"what looks like a place in an argument stays",
         19231,
         {Text("100%1.csv")},
         "file \"100%1.csv\" does not exist"},
        {"terminal sequences, line ends and bytes that are no text are shown",
         19231,
         {Text("a\n\033[2J\x7F\xC2\x9B\xFF"
               "b\u00FC")},
         "file \"a\\x0a\\x1b[2J\\x7f\\xc2\\x9b\\xffb\u00FC\" does not exist"},
        {"no text at all", 19231, {Text(nullptr)}, "file \"(null)\" does not exist"},
        {"64-bit number", 19220, {Number(5'000'000'000)}, "5000000000 files are to be read"},
        {"number where text belongs", 19231, {Number(5)}, "message 19231: 5"},
        {"one argument short",
         19204,
         {Text("SkipRows"), Number(-1)},
         "message 19204: SkipRows, -1"},
        {"unknown number", 12345, {Text("a\rb"), Number(1)}, "message 12345: a\\x0db, 1"},
        {"unknown number without arguments", 12345, {}, "message 12345"},
    };
    for (const auto &c : kCases)
        EXPECT_EQ(MessageText(c.number, c.args), c.text) << c.about;
}

TEST(MessageCatalogue, IsFoundByNumber)
{
    for (const MessageHelp &help : MessageCatalogue())
        EXPECT_EQ(FindMessage(help.number), &help);
    EXPECT_EQ(FindMessage(19000), nullptr);
    EXPECT_EQ(FindMessage(99999), nullptr);
}
