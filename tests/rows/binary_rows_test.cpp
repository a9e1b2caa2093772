// tests/rows/binary_rows_test.cpp - binary records as rows: from the schema and the open file to the hand-over.

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "operator/methods.h"
#include "rows/rows.h"
#include "schema/establish.h"
#include "schema/var_fields.h"
#include "tests/pm/piecewise_file.h"
#include "tests/pm/pm_fixture.h"
#include "tests/support/hex.h"

namespace {

constexpr uint32_t kBinary = 2, kFormatted = 3, kUnframed = 8;

using Columns = std::vector<FakeColumn>;

FakeColumn Column(uint32_t type, uint32_t length)
{
    return {.name = "c", .type = type, .length = length};
}
FakeColumn Char(uint32_t length) { return Column(5, length); }
FakeColumn Varchar(uint32_t length) { return Column(7, length); }
FakeColumn Clob(uint32_t length) { return Column(40, length); }
FakeColumn Number(uint32_t length) { return Column(63, length); }

}  // namespace

class BinaryRows : public Pm {
protected:
    BinaryRows()
    {
        ServePieces();
        Reading = OperatorType = 1;
        FW_OpenMode = kOpenRead;
        BufferSize = 64;
        pmHandle = module;
        CurrentExitCode = 12;  // what it rises to is told once, and would be in every first log
    }

    // "610162|...|43 12": the rows' bytes or columns, in hexadecimal, and the last status.
    std::string Rows(uint32_t with_format, bool indicators, const Columns &columns,
                     const std::string &bytes, size_t longest_piece = 5)
    {
        FileFormat = with_format;
        SG_IndicatorData = indicators ? 1 : 0;
        fake.columns = columns;
        fake.rows.clear();
        fake.public_log.clear();
        source.bytes = bytes;
        source.longest_piece = longest_piece;
        source.Rewind(1);
        EXPECT_EQ(FW_EstablishSchema(), 0);
        EXPECT_EQ(FW_FenwireOpen("pieces"), 0);
        PxStatus status = PXSTC_SamePhase;
        while (status == PXSTC_SamePhase)
            status = FW_WriteRow(fake.op());
        pmClose(pmfp);
        std::string shown;
        for (const std::string &row : fake.rows)
            shown += ToHex(row) + " ";
        return shown + "->" + std::to_string(status);
    }
};

// Columns are shown between bars (7C).
TEST_F(BinaryRows, ColumnsAreFoundInTheRecord)
{
    const Columns var = {Char(2), Varchar(3), Number(4), Clob(5), Char(1)};
    const Columns nine = {Char(1), Char(1), Char(1), Char(1),   Char(1),
                          Char(1), Char(1), Char(1), Varchar(2)};
    // clang-format off
    const struct {
        const char *about;
        uint32_t format;
        bool indicators;
        Columns columns;
        std::string file, shown, log;
    } cases[] = {
        {"fixed",               kFormatted, false, {Char(2), Char(1)}, "0300 616263 0A", "61627C63 ->12", ""},
        {"fixed, unframed",     kUnframed,  false, {Char(2), Char(1)}, "616263 646566", "61627C63 64657C66 ->12", ""},
        {"fixed, indicators",   kBinary,    true,  {Char(2), Char(1)}, "0400 40 616200", "40616200 ->12", ""},
        {"fixed, both",         kUnframed,  true,  {Char(2), Char(1)}, "40 616200 00 616263", "40616200 00616263 ->12", ""},
        {"short",               kFormatted, false, {Char(2), Char(1)}, "0200 6162 0A", "->29", "19113(3,2) "},
        {"long",                kFormatted, false, {Char(2), Char(1)}, "0400 61626364 0A", "->29", "19113(3,4) "},
        {"empty",               kFormatted, false, {Char(2), Char(1)}, "0000 0A", "->29", "19113(3,0) "},
        {"unframed, cut off",   kUnframed,  false, {Char(2), Char(1)}, "616263 61", "61627C63 ->48", "19102(2,Record,3,1) "},

        {"each kind",           kFormatted, false, var, "1300 6162 0200 6364 01 65 0200000000000000 6667 68 0A", "61627C63647C657C66677C68 ->12", ""},
        {"empty columns",       kFormatted, false, var, "0E00 6162 0000 00 0000000000000000 68 0A", "61627C7C7C7C68 ->12", ""},
        {"unframed",            kUnframed,  false, var, "6162 0200 6364 01 65 0200000000000000 6667 68 6162 0000 00 0000000000000000 68", "61627C63647C657C66677C68 61627C7C7C7C68 ->12", ""},
        {"a byte too many",     kFormatted, false, var, "0F00 6162 0000 00 0000000000000000 68 69 0A", "->29", "19113(14,15) "},
        {"runs of one width",   kBinary,    false, {Varchar(1), Varchar(2), Number(2), Number(3), Char(1), Char(2), Varchar(2)},
                                "1300 0100 61 0200 6262 00 03 636363 64 6565 0200 6666", "617C62627C7C6363637C647C65657C6666 ->12", ""},
        {"no last column",      kFormatted, false, var, "0D00 6162 0000 00 0000000000000000 0A", "->29", "19113(14,13) "},
        {"half a length",       kFormatted, false, var, "0300 6162 00 0A", "->29", "19113(4,3) "},
        {"half a large length", kFormatted, false, var, "0C00 6162 0000 00 00000000000000 0A", "->29", "19113(13,12) "},
        {"column behind the end", kFormatted, false, var, "0500 6162 0300 63 0A", "->29", "19113(7,5) "},
        {"number over the end", kFormatted, false, var, "0600 6162 0000 04 61 0A", "->29", "19113(9,6) "},
        {"column too long",     kFormatted, false, var, "0800 6162 0400 63636363 0A", "->48", "19112(1,2,c,3,4) "},
        {"number too long",     kBinary,    false, var, "0A00 6162 0000 05 6565656565", "->48", "19112(1,3,c,4,5) "},
        {"large object too long", kBinary,  false, var, "1300 6162 0000 00 0600000000000000 666666666666", "->48", "19112(1,4,c,5,6) "},
        {"high byte of a large length", kBinary, false, var, "0E00 6162 0000 00 0000000000000001 68", "->48", "19151() "},
        {"and its third",       kBinary,    false, var, "0E00 6162 0000 00 0000010000000000 68", "->48", "19151() "},

        {"NULL bits",           kFormatted, true,  nine, "0E00 8180 3132333435363738 0200 6162 0A", "81803132333435363738" "02006162 ->12", ""},
        {"indicators missing",  kFormatted, true,  nine, "0100 81 0A", "->29", "19113(2,1) "},

        {"unframed, column too long", kUnframed, false, var, "6162 0400", "->48", "19112(1,2,c,3,4) 19416(pmRead,16,Unexpected data format) 19305() "},
        {"unframed, large object too long", kUnframed, false, var, "6162 0000 00 0600000000000000", "->48", "19102(1,LOB Field length,5,6) 19416(pmRead,16,Unexpected data format) 19305() "},
        {"unframed, high byte", kUnframed, false, var, "6162 0000 00 0000000000000080", "->48", "19151() "},
    };
    // clang-format on
    for (const auto &c : cases) {
        for (const size_t longest_piece : {1, 5, 100}) {
            EXPECT_EQ(Rows(c.format, c.indicators, c.columns, FromHex(c.file), longest_piece),
                      c.shown)
                << c.about;
            EXPECT_EQ(fake.public_log, c.log) << c.about;
        }
    }
}

TEST_F(BinaryRows, NullBitsReachTheColumns)
{
    const Columns nine = {Char(1), Char(1), Char(1), Char(1),   Char(1),
                          Char(1), Char(1), Char(1), Varchar(2)};
    uint32_t row_length = 0;
    Rows(kFormatted, true, nine, FromHex("0C00 8180 3132333435363738 0000 0A"));
    std::fill_n(SG_IndBytes, nine.size(), 7);
    EXPECT_EQ(FW_SetVarFields(&row_length), 29) << "the record is gone";
    std::string row = FromHex("8180 3132333435363738 0100 39");
    pmBuffer.Data = reinterpret_cast<uint8_t *>(row.data());
    pmBuffer.DataLength = static_cast<uint32_t>(row.size());
    EXPECT_EQ(FW_SetVarFields(&row_length), 0);
    EXPECT_EQ(row_length, row.size());
    EXPECT_EQ(ToHex({reinterpret_cast<char *>(SG_IndBytes), nine.size()}), "010000000000000101");
    EXPECT_EQ(SG_ColOffs[7], 9U);
    EXPECT_EQ(SG_ColOffs[8], 12U);
    EXPECT_EQ(SG_ColLens[8], 1U);
}

// Wherever the file ends: whole rows, and then what of the next one is missing.
TEST_F(BinaryRows, UnframedFileMayEndAnywhere)
{
    static constexpr struct {
        uint32_t up_to;  // bytes of the row that the file holds at most
        const char *what;
        uint32_t begins;
    } kItems[] = {
        {1, "Indicator,1", 0},
        {3, "Data,2", 1},
        {5, "VARCHAR Field length,2", 3},
        {7, "Data,2", 5},
        {8, "Number Field length,1", 7},
        {9, "Data,1", 8},
        {17, "LOB Field length,8", 9},
        {19, "Data,2", 17},
        {20, "Data,1", 19},
    };
    const Columns columns = {Char(2), Varchar(3), Number(4), Clob(5), Char(1)};
    const std::string row = FromHex("00 6162 0200 6364 01 65 0200000000000000 6667 68");
    const std::string both = row + row;
    ASSERT_EQ(row.size(), 20U);
    for (size_t cut = 1; cut <= both.size(); ++cut) {
        const size_t whole = cut / row.size(), rest = cut % row.size();
        std::string log, shown;
        for (size_t i = 0; i < whole; ++i)
            shown += ToHex(row) + " ";
        for (const auto &item : kItems) {
            if (rest == 0 || rest >= item.up_to)
                continue;
            log = "19102(" + std::to_string(whole + 1) + "," + item.what + "," +
                  std::to_string(rest - item.begins) +
                  ") 19416(pmRead,16,Unexpected data format) 19305() ";
            break;
        }
        for (size_t longest_piece = 1; longest_piece < 45; ++longest_piece) {
            ASSERT_EQ(Rows(kUnframed, true, columns, both.substr(0, cut), longest_piece),
                      shown + (rest == 0 ? "->12" : "->48"))
                << cut;
            ASSERT_EQ(fake.public_log, log) << cut;
        }
    }
}

TEST_F(BinaryRows, BadRecordsOfFramedFilesAreLeftOut)
{
    SG_ContinueOnRowError = 1;  // as with a record error file
    const Columns columns = {Varchar(3), Clob(2)};
    EXPECT_EQ(Rows(kFormatted, false, columns,
                   FromHex("0B00 0100 61 0000000000000000 0A 0100 61 0A 0400 0400 6161 0A"
                           "0A00 0000 0000000000000001 0A 0B00 0100 62 0000000000000000 0A")),
              "617C 627C ->12");
    EXPECT_EQ(FileRecordCount, 5U);
    EXPECT_EQ(fake.public_log, "");
}
