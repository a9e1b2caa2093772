// tests/delimited/create_roads_test.cpp - random rows: the fast road writes what the literal one writes, and
// what is written is read back, unless it is told that it isn't.

#include "delimited/read_back.h"
#include "tests/delimited/creation.h"
#include "tests/delimited/loading.h"
#include "tests/support/dice.h"

using namespace std::string_literals;

namespace {

std::string Wide(const std::string &text)
{
    std::string wide;
    for (const char byte : text)
        wide += {byte, '\0'};
    return CharSetFamily == kFamilyUtf16 ? wide : text;
}

void RandomSettings()
{
    static const std::vector<std::string> kQuotes[] = {{"\"", "\""}, {"'", "'"},   {"[", "]"},
                                                       {"''", "''"}, {"<<", ">>"}, {"<", ">>"}};
    const auto &quotes = kQuotes[Below(std::size(kQuotes))];

    pmSetCharSet(OneOf<const char *>({"ASCII", "ASCII", "UTF8", "UTF8", "UTF16", "TCHBIG5_1R0"}));
    bQuotedData = static_cast<int32_t>(Below(3));
    bAppendDelimiter = Below(3) == 0;
    bNullColumns = Below(4) != 0;
    SetMark(TextDelimiter, Wide(OneOf<std::string>({",", "|", "||", "ab"})));
    SetMark(EscapeTextCharacter, Wide(OneOf<std::string>({"", "", "\\", "!", "<>"})));
    SetMark(OpenQuoteMark, Wide(bQuotedData != kNo ? quotes[0] : ""));
    SetMark(CloseQuoteMark, Wide(bQuotedData != kNo ? quotes[1] : ""));
    SetMark(EscapeQuoteCharacter,
            Wide(bQuotedData != kNo ? OneOf<std::string>({"", "", "\\", "^^"}) : ""));
}

std::string Text(const SpecialCharValue &mark)
{
    return {reinterpret_cast<const char *>(mark.value), static_cast<size_t>(mark.length)};
}

// harmless: of letters and digits that stand in no mark.
std::optional<std::string> RandomValue(bool harmless)
{
    std::string value;
    const uint32_t kind = Below(8);
    if (kind < 2)
        return kind == 0 ? std::nullopt : std::make_optional(value);
    if (harmless)
        return Wide(std::string(1 + Below(kind == 2 ? 150 : 20), 'x'));
    for (uint32_t pieces = 1 + Below(4); pieces > 0; --pieces) {
        const std::string piece =
            OneOf<std::string>({Text(TextDelimiter), Text(EscapeTextCharacter), Text(OpenQuoteMark),
                                Text(CloseQuoteMark), Text(EscapeQuoteCharacter), Wide("\n"),
                                Wide("\r"), Wide(std::string(Below(70), 'x')), Wide("a"),
                                Wide(OneOf<std::string>({"'", ">", "|"}))});
        value +=
            Below(12) != 0 || CharSetFamily == kFamilyUtf16
                ? piece
                : OneOf<std::string>({"\xC3\xA4", "\xEF\xBB\xBF", "\xE2\x82", "\xA4\x7C", "\xFF"});
    }
    return value;
}

Values RandomRow(size_t columns)
{
    Values row;
    const bool harmless = Below(2) != 0;
    while (row.size() < columns)
        row.push_back(RandomValue(harmless));
    return row;
}

// As Loading shows a row.
std::string Shown(const Values &row)
{
    std::string shown;
    for (const auto &value : row) {
        const bool null = !value || (value->empty() && bQuotedData == kNo);
        shown += null && bNullColumns != 0 ? " NULL" : " =" + value.value_or("");
    }
    return shown + "\n";
}

std::string Describe(const std::string &file)
{
    std::string text = "case " + std::to_string(UDDI_ParsingCase) + " in " + SG_CharsetName +
                       ", quoted " + std::to_string(bQuotedData);
    for (const auto *mark : {&TextDelimiter, &EscapeTextCharacter, &OpenQuoteMark, &CloseQuoteMark,
                             &EscapeQuoteCharacter})
        text += " <" + Text(*mark) + ">";
    return text + ", file:\n" + file;
}

}  // namespace

class CreateRoads : public Loading {
protected:
    void SetUp() override
    {
        Loading::SetUp();
        dice.seed(20240601);
        ServePieces();
        source.longest_piece = 1 << 30;  // a refill inside of long quote marks costs records
    }
};

TEST_F(CreateRoads, FastEqualsLiteral)
{
    int fast = 0;
    for (int settings = 0; settings < 3000; ++settings) {
        RandomSettings();
        SetColumns({0});
        Validate();
        fast += FastWriter != nullptr;
        for (int rows = 0; rows < 10; ++rows) {
            const RowOfValues row(RandomRow(Below(8)));
            std::vector<uint8_t> literal(100000);
            const uint8_t *end = WriteRowLiterally(row.Outgoing(), literal.data()).end;
            literal.resize(static_cast<size_t>(end - literal.data()));
            ASSERT_EQ(RowOfValues(row).Create(), 0);
            const std::vector<uint8_t> created(pmBuffer.Data, pmBuffer.Data + pmBuffer.DataLength);
            ASSERT_EQ(created, literal)
                << Describe(std::string(literal.begin(), literal.end())) << "\n"
                << std::string(created.begin(), created.end());
        }
    }
    EXPECT_GT(fast, 500);
}

// A file of four rows, through the reader and the scanners. What is not warned of is the same, and what is
// warned of differs.
TEST_F(CreateRoads, WhatIsNotReadBackIsTold)
{
    int same = 0, differing = 0;
    for (int i = 0; i < 6000; ++i) {
        RandomSettings();
        const size_t columns = 1 + Below(4);
        SetColumns(std::vector<uint32_t>(columns, 0));
        Validate();
        FileRowsWritten = {};
        std::string bytes, expected;
        for (int rows = 0; rows < 4; ++rows) {
            // The last one shows what an unclosed quote does to the next record.
            const Values row = rows < 3 ? RandomRow(columns) : Values(columns, Wide("x"));
            const std::string record = Create(row);
            bytes += record.empty() ? "" : record + Wide("\n");
            expected += record.empty() ? "" : Shown(row);
            ASSERT_EQ(FileRowsWritten.records + FileRowsWritten.without_record, rows + 1U);
        }
        source.bytes = bytes;
        const std::string loaded = Load(Below(2) == 0, 4096, Below(1000));
        const bool told = FileRowsWritten.not_read_back != 0;
        const bool equal = loaded == expected + " ->9";
        (equal ? same : differing)++;
        ASSERT_TRUE(equal || told) << Describe(bytes) << "expected:\n" << expected << loaded;
        ASSERT_TRUE(!equal || !told || CharSetFamily == kFamilyUtf16)
            << "told of record " << FileRowsWritten.first_not_read_back << ", " << Describe(bytes);
    }
    EXPECT_GT(same, 1500);
    EXPECT_GT(differing, 600);
}
