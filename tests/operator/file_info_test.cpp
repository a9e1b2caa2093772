// tests/operator/file_info_test.cpp - FW_FenwireFileInfo: from the file's attributes to a ready engine.

#include <gtest/gtest.h>
#include <string>

#include "attributes/attributes_state.h"
#include "delimited/delimited.h"
#include "delimited/delimited_state.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "schema/establish.h"
#include "tests/support/fake_infrastructure.h"

TEST(FileInfo, JobIsReadyOrToldWhatIsMissing)
{
    constexpr uint32_t kChar = 5, kVarchar = 7;
    // clang-format off
    const struct {
        const char *about;
        int32_t side, readers;
        const char *format;
        uint32_t type, length;
        const char *result;
        int32_t buffer;
        uint32_t engine;
    } cases[] = {
        {"delimited", 1, 0, "Delimited", kVarchar, 9, "0 19203(TextDelimiter,|) ", 1048586, 1},
        {"delimited, several readers", 1, 1, "Delimited", kVarchar, 9, "0 19203(TextDelimiter,|) ", 1048575, 1},
        {"text", 1, 0, "Text", kChar, 9, "0 ", 1048586, 0},
        {"its schema is judged first", 1, 0, "Unformatted", kChar, 1048587, "48 19107(1048587,1048586) 19015(12) ", 1048586, 0},
        {"writing", 2, 0, "Text", kChar, 9, "0 ", 1048586, 0},
        {"buffer of a long row", 2, 0, "Text", kChar, 2000000, "0 ", 2000000, 0},
        {"the schema of a text file", 2, 0, "Text", 1, 4, "48 19108(TEXT,CHAR/ANSIDATE) 19015(12) ", 1048586, 0},
    };
    // clang-format on
    Fake fake;
    SG_opHandle = fake.op();
    fake.op()->PX_Loginit(fake.op(), "Fenwire", 1, nullptr, 0, &Public_loghandle);
    fake.text["FileName"] = "a.csv";
    TotalInstances = 1;
    FW_TraceLvl = 2;
    for (const auto &c : cases) {
        OperatorType = c.side;
        bAllowMultiInstanceRead = c.readers;
        TextDelimiter = {};
        bValidateParsingCase = bUsingUDDI = 0;
        CurrentExitCode = 0;
        RowCount = RowsSkipped = 5;
        fake.text["Format"] = c.format;
        fake.text["OpenMode"] = c.side == 1 ? "Read" : "Write";
        FakeColumn column;
        column.name = "c";
        column.type = c.type;
        column.length = c.length;
        fake.columns = {column};
        fake.public_log.clear();
        const PxStatus status = FW_FenwireFileInfo();
        EXPECT_EQ(std::to_string(status) + " " + fake.public_log, c.result) << c.about;
        EXPECT_EQ(BufferSize, c.buffer) << c.about;
        EXPECT_EQ(bUsingUDDI, c.engine) << c.about;
        EXPECT_TRUE(status != PXSTC_Success || RowCount + RowsSkipped == 0) << c.about;
    }
    FreeSchema();
    FreeDelimitedBuffers();
}
