// tests/delimited/differential_test.cpp - every scanner and every fast road against the literal scan.

#include <gtest/gtest.h>
#include <set>

#include "delimited/parsing_cases.h"
#include "operator/operator_state.h"
#include "tests/delimited/outcome.h"
#include "tests/support/dice.h"

namespace {

using Texts = std::vector<std::string>;

int32_t SingleLength(const uint8_t *, uint32_t *) { return 0; }

int32_t Utf8Length(const uint8_t *p, uint32_t *bytes)
{
    const auto tail = [&](uint32_t i) { return (p[i] & 0xC0) == 0x80; };
    *bytes = 1;
    if (*p >= 0xC2 && *p <= 0xDF && tail(1))
        *bytes = 2;
    else if (*p >= 0xE0 && *p <= 0xEF && tail(1) && tail(2))
        *bytes = 3;
    else if (*p >= 0xF0 && *p <= 0xF7 && tail(1) && tail(2) && tail(3))
        *bytes = 4;
    return *bytes > 1;
}

int32_t Utf16Length(const uint8_t *p, uint32_t *bytes)
{
    fourByteUTF = p[1] >= 0xD8 && p[1] <= 0xDF;
    *bytes = fourByteUTF != 0 ? 4 : 2;
    return 1;
}

struct CharacterSet {
    const char *name;
    bool single;
    int32_t family;
    CharLengthRoutine length;
    Texts data, marks, long_marks;
};

using namespace std::string_literals;

// clang-format off
const CharacterSet kSets[] = {
    {"single", true, kFamilyOrdinary, SingleLength, {"a", "b", " ", "\xE9"},
     {"|", "\\", "'", "\"", "\xE9"}, {"||", "|~", "''", "<\"", "\\\\", "'|"}},
    {"UTF-8", false, kFamilyUtf8, Utf8Length, {"a", "b", " ", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE2\x82", "\xA9"},
     {"|", "\\", "'", "\""}, {"||", "|~", "''", "<\"", "\\\\", "'|"}},
    {"UTF-8, wide marks", false, kFamilyUtf8, Utf8Length, {"a", " ", "\xC2", "\xC3\xA9", "\xE2\x82"},
     {"|", "\\", "'", "\x82"}, {"\xC2\xA6", "\xE2\x82\xAC", "||", "\xC2\xAB"}},
    {"shifted", false, kFamilyOrdinary, ShiftLength, {"a", "b", " ", "\x83\x5C", "\x83\x7C", "\x83"},
     {"|", "\\", "'", "\""}, {"||", "\x81\x62", "''", "\\\\"}},
    {"shifted, ASCII data", false, kFamilyOrdinary, ShiftLength, {"a", "b", " "},
     {"|", "\\", "'", "\""}, {"||", "''", "|'", "\\\\"}},
    {"UTF-16", false, kFamilyUtf16, Utf16Length, {"a\0"s, "b\0"s, " \0"s, "\x7C\x01"s, "\x3D\xD8\0\xDE"s, "|"s},
     {"|\0"s, "'\0"s, "\\\0"s}, {"|\0"s, "'\0"s, "\\\0"s, "\"\0"s, "|\0|\0"s}},
};
// clang-format on

std::string RandomMark(const CharacterSet &set)
{
    return OneOf(Below(2) ? set.marks : set.long_marks);
}

// Settings as a job could have them, and as none would.
void RandomSettings(const CharacterSet &set)
{
    const auto maybe = [&](size_t one_in) { return Below(one_in) == 0 ? ""s : RandomMark(set); };
    UsingSingleByteCharSet = set.single;
    CharSetFamily = set.family;
    CharLengthFn = set.length;
    SetMark(TextDelimiter, RandomMark(set));
    SetMark(EscapeTextCharacter, maybe(2));
    bQuotedData = static_cast<int32_t>(Below(4)) - 1;
    bQuotedData = bQuotedData < 0 ? 2 : bQuotedData;
    const std::string open = bQuotedData != 0 ? maybe(8) : "";
    SetMark(OpenQuoteMark, open);
    SetMark(CloseQuoteMark, open.empty() || Below(2) ? open : RandomMark(set));
    SetMark(EscapeQuoteCharacter, bQuotedData == 0 ? "" : maybe(2));
    if (EscapeTextCharacter.length != 0 && EscapeQuoteCharacter.length != 0 && Below(2))
        EscapeQuoteCharacter = EscapeTextCharacter;
    const std::string trim = Below(6) == 0                ? RandomMark(set)
                             : set.family == kFamilyUtf16 ? " \0"s
                                                          : " ";
    SetMark(TrimLeadingChar, Below(2) ? trim : "");
    SetMark(TrimTrailingChar, Below(2) ? trim : "");
    TrimLeadingNchars = Below(8) == 0 ? 2 : 0;
    TrimTrailingNchars = Below(8) == 0 ? 1 : 0;
    TruncateColumnsOpt = Below(2) ? kYes : kNo;
    bNullColumns = static_cast<int32_t>(Below(2));
    std::vector<uint32_t> maximums(1 + Below(4));
    for (uint32_t &maximum : maximums)
        maximum = static_cast<uint32_t>(Below(2) ? 0 : 1 + Below(8));
    SetColumns(maximums);
}

std::string RandomRecord(const CharacterSet &set)
{
    std::string record;
    const size_t dull =
        Below(4);  // long stretches of data reach into the next windows of the search
    for (size_t i = Below(dull == 0 ? 60 : 14); i > 0; --i) {
        const SpecialCharValue *marks[] = {&TextDelimiter, &EscapeTextCharacter, &OpenQuoteMark,
                                           &CloseQuoteMark, &EscapeQuoteCharacter};
        const SpecialCharValue &mark = *marks[Below(5)];
        if (dull != 0 && Below(5) < 3)
            record.append(reinterpret_cast<const char *>(mark.value), mark.length);
        else if (dull == 0 && Below(12) == 0)
            record += RandomMark(set);
        else
            record += OneOf(set.data);
    }
    if (OpenQuoteMark.length != 0 && Below(2))
        record.insert(0, reinterpret_cast<const char *>(OpenQuoteMark.value), OpenQuoteMark.length);
    return record;
}

}  // namespace

TEST(Delimited, EveryScannerFindsWhatTheLiteralScanFinds)
{
    std::set<int> scanners;
    std::set<FastRoad> roads;
    bUsingUDDI = 1;
    FW_TraceLvl = 1;
    for (int round = 0; round < 4000; ++round) {
        const CharacterSet &set = kSets[Below(std::size(kSets))];
        RandomSettings(set);
        UDDI_ParsingCase = Below(8) == 0 ? kGeneralCase : CaseOfSettings();
        ASSERT_EQ(ValidateUDDIcase(), 0);
        const int number = ScannerFor(UDDI_ParsingCase);
        const ScanPolicy policy = kScanners[number];
        if (policy.quotes == Mark::None && bQuotedData == kYes)
            continue;  // unquoted scanners do not know the word; they meet it only without quote marks
        scanners.insert(number);
        roads.insert(FastScannerFor);
        for (int i = 0; i < 40; ++i) {
            const std::string record = RandomRecord(set);
            const bool characters = policy.walk == Walk::Characters;
            const LiteralScan literal(record, characters, policy.walk == Walk::Columns);
            ASSERT_EQ(OfScanner(record, literal.stopped), OfLiteral(literal))
                << Situation(set.name, record);
            if (!characters || FastScannerFor == FastRoad::Never)
                continue;
            const FastRoad road = std::exchange(FastScannerFor, FastRoad::Never);
            ASSERT_EQ(OfScanner(record, literal.stopped), OfLiteral(literal))
                << "exact road, " << Situation(set.name, record);
            FastScannerFor = road;
        }
    }
    EXPECT_EQ(scanners.size(), std::size(kScanners)) << "settings that reach every scanner";
    EXPECT_EQ(roads.size(), 3U);
}
