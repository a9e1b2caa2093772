// tests/rows/write_row_test.cpp - records that the reader delivers, and what FW_WriteRow makes of them.

#include <deque>
#include <gtest/gtest.h>

#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "rows/rows.h"
#include "schema/insert_filename.h"
#include "tests/delimited/extraction.h"
#include "tests/support/open_logs.h"

namespace {

// What pmRead answers in turn: a record, or a code. The linker sends every call of pmRead here (--wrap),
// and on to the real one when no test has put itself in between.
struct Answer {
    Answer(const char *bytes) : record(bytes) {}
    Answer(int with) : code(with) {}
    Answer(const char *bytes, int with) : record(bytes), code(with) {}
    std::string record;
    int code = pmrcOk;
};

std::deque<Answer> answers;
bool reading_answers = false;

}  // namespace

int RealRead(pmToken file, pmRecord *record) asm("__real__Z6pmReadjP8pmRecord");
int Read(pmToken file, pmRecord *record) asm("__wrap__Z6pmReadjP8pmRecord");

int Read(pmToken file, pmRecord *record)
{
    if (!reading_answers)
        return RealRead(file, record);
    if (answers.empty())
        return pmrcEOF;
    const Answer answer = answers.front();
    answers.pop_front();
    SetRecord(answer.record);
    return answer.code;
}

namespace {

class WriteRow : public testing::Test {
protected:
    WriteRow()
    {
        PxSchema **list = nullptr;
        int32_t count = 0;
        fake.op()->PX_GetTableSchemaList(fake.op(), 3, &list, &count);
        schemaHandle = list[0];
        OpenLogs(fake);
        FW_TraceLvl = 2;
        reading_answers = true;
        FileFormat = 1;
        snprintf(CurrentFullPath, sizeof CurrentFullPath, "in/a.csv");
        SetColumns({3, 3});
        SetMark(TextDelimiter, "|");
        Validate();
        fake.private_log.clear();
    }

    // "43 43 12": calls until there is no row any more.
    std::string Run(std::deque<Answer> records)
    {
        answers = std::move(records);
        std::string statuses;
        PxStatus status = PXSTC_SamePhase;
        while (status == PXSTC_SamePhase) {
            status = FW_WriteRow(fake.op());
            statuses += (statuses.empty() ? "" : " ") + std::to_string(status);
        }
        return statuses;
    }

    std::string Rows()
    {
        std::string all;
        for (const std::string &row : fake.rows)
            all += "[" + row + "]";
        fake.rows.clear();
        return all;
    }

    Fake fake;
};

}  // namespace

TEST_F(WriteRow, ResultsOfTheReader)
{
    // clang-format off
    static constexpr struct {
        const char *about;
        int code;
        int32_t accept_no_mark;
        const char *statuses, *log;
    } kCases[] = {
        {"end of file",            pmrcEOF,     1, "43 12", ""},
        {"time-out",               pmrcTimeOut, 1, "43 68", ""},
        {"last one without mark",  pmrcNoEOR,   1, "43 43 12", ""},
        {"the same, not accepted", pmrcNoEOR,   0, "43 48", "19435(pmRead,35,"},
        {"reported already",       48,          1, "43 48", ""},
        {"any failure",            17,          1, "43 48", "19417(pmRead,17,"},
    };
    // clang-format on
    for (const auto &c : kCases) {
        bAcceptEOFasEOR = c.accept_no_mark;
        fake.public_log.clear();
        EXPECT_EQ(Run({"a|b", {"x|y", c.code}}), c.statuses) << c.about;
        EXPECT_EQ(fake.public_log.substr(0, strlen(c.log)), c.log) << c.about;
        EXPECT_EQ(fake.public_log.find("19305()") != std::string::npos, *c.log != '\0') << c.about;
    }
    EXPECT_EQ(fake.exit_code, 12);
}

TEST_F(WriteRow, SkipRowsDropsTheFirstRecords)
{
    SkipRows = 3;
    EXPECT_EQ(Run({"a|b", "c|d"}), "12");
    EXPECT_TRUE(fake.Traced("No rows were processed from this file."));
    EXPECT_EQ(Run({pmrcTimeOut}), "68");
    EXPECT_TRUE(fake.Traced("No row skipped because of time-out."));
    FileRowsSkipped = 0;  // the next file
    EXPECT_EQ(Run({"not even cut", "e|f", "g|h"}), "43 43 12") << "the count goes on";
    EXPECT_TRUE(fake.Traced("The first 3 rows have been skipped."));
    EXPECT_EQ(Rows(), "[e|f][g|h]");
    EXPECT_EQ(RowsSkipped, 3U);
    EXPECT_EQ(FileRowsSkipped, 1U);
    EXPECT_EQ(FileRecordCount, 2U) << "skipped records are in no other count";
}

TEST_F(WriteRow, RowsPerInstanceEndsTheData)
{
    RowsPerInstanceLimit = 2;
    EXPECT_EQ(Run({"a|b", "c|d", "e|f"}), "43 43 12");
    EXPECT_EQ(answers.size(), 1U) << "what is beyond the limit is not read";
    EXPECT_TRUE(fake.Traced("Reached 'RowsPerInstance' threshold (2), generating EndOfData"));
    RowsPerInstanceLimit = 0;
    RowCount = 0;
    EXPECT_EQ(Run({"a|b"}), "12");
    static constexpr uint8_t kDeleteTask = 1;
    SingleRowForZarnDelete = &kDeleteTask;
    RowsPerInstanceLimit = 0xFFFFFFFF;
    EXPECT_EQ(Run({"a|b", "c|d"}), "43 12");
}

TEST_F(WriteRow, VerdictsCostWhatTheJobSays)
{
    // clang-format off
    static constexpr struct {
        const char *about, *record;
        int32_t *accepting;
        const char *rows, *trace, *refusal;
    } kCases[] = {
        {"excess",    "a|b|c",    &SG_AcceptExcessColumns,  "[a|b]",    "Continuing with truncated row.",
         "19134(in/a.csv,Delimited Data Parsing error: Too many columns in row "},
        {"missing",   "a",        &SG_AcceptMissingColumns, "[a|NULL]", "Continuing with padded row.",
         "19134(in/a.csv,Delimited Data Parsing error: Too few columns in row "},
        {"too long",  "a|b4567",  &TruncateColumnsOpt,      "[a|b45]",  "Continuing with truncated column(s).",
         "19472(in/a.csv,1,2,c2,3,5) 19015(12)"},
        {"bad quote", "'a'b|c",   nullptr, "", "",
         "19134(in/a.csv,Delimited Data Parsing error: Delimiter did not immediately follow close quote mark in row 1, col 1)"},
    };
    // clang-format on
    bQuotedData = kOptional;
    SetMark(OpenQuoteMark, "'");
    SetMark(CloseQuoteMark, "'");
    for (const auto &c : kCases) {
        Validate();
        fake.public_log.clear();
        fake.private_log.clear();
        FileRecordCount = CurrentExitCode = 0;
        EXPECT_EQ(Run({c.record, "x|y"}), "48") << c.about;
        EXPECT_EQ(Rows(), "") << c.about;
        EXPECT_EQ(fake.public_log.substr(0, strlen(c.refusal)), c.refusal) << c.about;
        EXPECT_TRUE(fake.Traced("Fatal data error processing file 'in/a.csv'."));
        EXPECT_EQ(FileRecordCount, 1U) << c.about;
        EXPECT_EQ(CurrentExitCode, 12) << c.about;
        if (c.accepting == nullptr)
            continue;
        for (const int32_t setting : {kYes, kYesWithoutLog}) {
            *c.accepting = setting;
            Validate();
            EXPECT_EQ(Run({c.record, "x|y"}), "43 43 12") << c.about;
            EXPECT_EQ(Rows(), c.rows + std::string("[x|y]")) << c.about;
            EXPECT_TRUE(fake.Traced(c.trace)) << c.about;
        }
        *c.accepting = kNo;
    }
}

TEST_F(WriteRow, AFourByteCharacterIsFatalAndNamed)
{
    UsingSingleByteCharSet = 0;
    CharSetFamily = kFamilyUtf16;
    CharLengthFn = [](const uint8_t *at, uint32_t *bytes) -> int32_t {
        fourByteUTF = *at == '!';
        *bytes = 1;
        return 1;
    };
    Validate();
    EXPECT_EQ(Run({"a|b!"}), "48");
    EXPECT_EQ(fake.public_log, "19439(in/a.csv,1,2,c2) 19015(12) ");
    fake.public_log.clear();
    CharLengthFn = [](const uint8_t *at, uint32_t *bytes) -> int32_t {
        *bytes = *at == '!' ? 0 : 1;
        return 1;
    };
    EXPECT_EQ(Run({"a|b!"}), "48");
    EXPECT_EQ(fake.public_log, "19439(in/a.csv,2,0,(null)) ");
}

TEST_F(WriteRow, RowIsHeldToTheBufferWithTheFileName)
{
    Reading = OperatorType = FileFormat = 1;
    BufferSize = 100;
    ASSERT_EQ(TakeMetadataColumn(3, 1, 5, 10), PXSTC_Success);
    ASSERT_EQ(AllocateFilenameRow(), PXSTC_Success);
    ASSERT_EQ(NoteFilename(CurrentFullPath), PXSTC_Success);
    EXPECT_EQ(Run({"a|b"}), "43 12");
    EXPECT_EQ(Rows(), "[a|b|in/a.csv  ]");
    EXPECT_EQ(SG_ColCount, 2) << "as if nothing had been there";
    BufferSize = 10 + 5;
    EXPECT_EQ(Run({"abc|de"}), "43 12");
    EXPECT_EQ(Run({"abc|def"}), "48");
    EXPECT_EQ(fake.public_log, "19156(16,15) 19015(12) ");
    FreeFilenameColumn();
}

// A record of eight prefixed columns with indicators gets a ninth in front of its fourth.
TEST_F(WriteRow, IndicatorsAndPrefixesMakeRoomForTheFileName)
{
    const std::string record("\x91"
                             "abc\x03\x00"
                             "defghij",
                             13);
    Reading = OperatorType = 1;
    FileFormat = 2;
    BufferSize = 100;
    ASSERT_EQ(TakeMetadataColumn(4, 1, 7, 10), PXSTC_Success);
    SetColumns({1, 1, 1, 9, 1, 1, 1, 1});
    const uint32_t offsets[] = {1, 2, 3, 6, 9, 10, 11, 12}, lengths[] = {1, 1, 1, 3, 1, 1, 1, 1};
    std::copy_n(offsets, 8, SG_ColOffs);
    std::copy_n(lengths, 8, SG_ColLens);
    ASSERT_EQ(AllocateFilenameRow(), PXSTC_Success);
    ASSERT_EQ(NoteFilename("n.x"), PXSTC_Success);
    SG_IndicatorData = kYes;
    NumIndBytes = 1;
    SetRecord(record);
    EXPECT_EQ(CheckPutRowWithFilename(pmBuffer.DataLength), PXSTC_SamePhase);
    const std::string row = std::string("\x88\x80"
                                        "abc\x03\x00"
                                        "n.x\x03\x00"
                                        "defghij",
                                        19);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(FilenameRow.bytes), row.size()), row);
    EXPECT_EQ(FilenameRow.offsets[3], 7U);
    EXPECT_EQ(FilenameRow.offsets[4], 12U);
    FreeFilenameColumn();
}
