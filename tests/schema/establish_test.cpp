// tests/schema/establish_test.cpp - the schema: row lengths, what formats carry, hostile schemas.

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "attributes/attributes_state.h"
#include "operator/messages.h"
#include "operator/operator_state.h"
#include "schema/establish.h"
#include "schema/schema_state.h"
#include "tests/support/open_logs.h"

namespace {

// clang-format off
enum Type : uint32_t {
    kInteger = 1, kDecimal = 4, kChar = 5, kVarchar = 7, kByte = 9, kAnsiDate = 15, kBlob = 39, kClob = 40,
    kPeriodTime = 59, kPeriodStamp = 61, kNumber = 63, kJson = 67
};
// clang-format on
enum Format : uint32_t { kText = 0, kDelimited = 1, kBinary = 2, kUnformatted = 8 };  // kText: ours

class Schema : public testing::Test {
protected:
    Schema()
    {
        OpenLogs(fake);
        TotalInstances = 1;
        BufferSize = 1048586;
        Play(1, kDelimited);
    }
    ~Schema() override { FreeSchema(); }
    void Play(int32_t side, Format format)
    {
        OperatorType = side;
        Reading = side == 1 ? 1 : 0;
        FileFormat = format == kText ? 1U : static_cast<uint32_t>(format);
        TextDelimiter.length = format == kDelimited ? 1 : 0;
    }

    // "48 19106(0) 19015(12) "
    std::string Establish(const std::vector<FakeColumn> &columns)
    {
        fake.columns = columns;
        fake.public_log.clear();
        CurrentExitCode = 0;
        const PxStatus status = FW_EstablishSchema();
        return std::to_string(status) + " " + fake.public_log;
    }
    static FakeColumn Column(uint32_t type, uint32_t length, uint16_t precision = 0)
    {
        return {.name = "c", .type = type, .length = length, .precision = precision};
    }

    Fake fake;
};

}  // namespace

TEST_F(Schema, FormatsRefuseWhatTheyDoNotCarry)
{
    const std::string types =
        "VARCHAR/JSON/JSON BY NAME/CLOB BY NAME/BLOB BY NAME/XML BY NAME/XML/CLOB";
    // clang-format off
    const struct {
        const char *about;
        int32_t side;
        Format format;
        std::vector<FakeColumn> columns;
        std::string result;
    } cases[] = {
        {"delimited", 1, kDelimited, {Column(kVarchar, 5), Column(kClob, 9), Column(kJson, 9)}, "0 "},
        {"delimited, CHAR", 1, kDelimited, {Column(kVarchar, 5), Column(kChar, 5)}, "48 19108(DELIMITED," + types + ") 19015(12) "},
        {"delimited, beyond the table", 1, kDelimited, {Column(69, 5)}, "48 19108(DELIMITED," + types + ") 19015(12) "},
        {"text", 1, kText, {Column(kChar, 5), Column(kAnsiDate, 10)}, "0 "},
        {"text, VARCHAR", 1, kText, {Column(kChar, 5), Column(kVarchar, 5)}, "48 19108(TEXT,CHAR/ANSIDATE) 19015(12) "},
        {"export of numbers", 2, kDelimited, {Column(kInteger, 4), Column(kChar, 5)}, "0 "},
        {"export of bytes", 2, kDelimited, {Column(kInteger, 4), Column(kByte, 5)}, "48 19133() 19015(12) "},
        {"binary", 1, kBinary, {Column(kByte, 5), Column(kBlob, 5)}, "0 "},
        {"unformatted", 1, kUnformatted, {Column(kChar, 1048587)}, "48 19107(1048587,1048586) 19015(12) "},
        {"no column", 1, kDelimited, {}, "48 19106(0) 19015(12) "},
        {"more than 32 bits", 1, kDelimited, {Column(kVarchar, 1), Column(kClob, 0xFFFFFFFF)}, "48 19107(4294967296,1048586) 19015(12) "},
    };
    // clang-format on
    for (const auto &c : cases) {
        Play(c.side, c.format);
        EXPECT_EQ(Establish(c.columns), c.result) << c.about;
    }
    EXPECT_EQ(fake.calls[0], "schema 3");  // direction of a producer
    EXPECT_EQ(fake.calls[5], "schema 1");
}

TEST_F(Schema, RowLengthsCountIndicatorsAndPrefixes)
{
    // clang-format off
    const struct {
        const char *about;
        int32_t side, indicators;
        Format format;
        std::vector<FakeColumn> columns;
        uint32_t indicator_bytes, total, buffer;
    } cases[] = {
        {"delimited has neither", 1, 0, kDelimited, {Column(kVarchar, 5), Column(kVarchar, 6)}, 0, 11, 11},
        {"binary prefixes", 1, 0, kBinary, {Column(kVarchar, 5), Column(kNumber, 18), Column(kBlob, 7), Column(kPeriodTime, 12), Column(kPeriodStamp, 20)}, 0, 62 + 2 + 1 + 8 + 2, 62},
        {"eight indicators", 1, 1, kBinary, std::vector<FakeColumn>(8, Column(kChar, 1)), 1, 9, 9},
        {"nine indicators", 1, 1, kBinary, std::vector<FakeColumn>(9, Column(kChar, 1)), 2, 11, 11},
        {"a consumer always has them", 2, 0, kDelimited, std::vector<FakeColumn>(9, Column(kChar, 1)), 2, 9, 11},
    };
    // clang-format on
    for (const auto &c : cases) {
        Play(c.side, c.format);
        SG_IndicatorData = c.indicators;
        EXPECT_EQ(Establish(c.columns), "0 ") << c.about;
        EXPECT_EQ(NumIndBytes, c.indicator_bytes) << c.about;
        EXPECT_EQ(TotalFixedLength, c.total) << c.about;
        EXPECT_EQ(BufferFixedLength, c.buffer) << c.about;
    }
}

TEST_F(Schema, ConsumerKnowsTheWidthOfItsText)
{
    const std::pair<FakeColumn, int32_t> cases[] = {
        {Column(kInteger, 4), 7},
        {Column(kDecimal, 8, 18), 12},
        {Column(kChar, 4), 0},
        {Column(kPeriodTime, 12), 16},
        {Column(kPeriodTime, 12, 6), 30},
        {Column(kPeriodStamp, 20, 3), 34},
        {Column(kNumber, 18), 27},
    };
    Play(2, kDelimited);
    for (const auto &[column, extra] : cases) {
        EXPECT_EQ(Establish({column}), "0 ");
        EXPECT_EQ(DelimitedExtraLength, extra) << TypeName(column.type);
        EXPECT_EQ(ConvertDelimitedData, extra != 0 ? 1U : 0U);
    }
    Play(2, kUnformatted);
    BufferSize = 10;
    EXPECT_EQ(Establish({Column(kInteger, 4), Column(kChar, 20)}), "0 ");
    EXPECT_EQ(ConvertDelimitedData, 0U);
    EXPECT_EQ(BufferSize, 24);
}

TEST_F(Schema, FileNameColumnIsNoDataColumn)
{
    const auto name = [](uint32_t type, uint32_t metadata = 1) {
        FakeColumn column = Column(type, 20);
        column.metadata = metadata;
        return column;
    };
    const FakeColumn data = Column(kVarchar, 10);
    // clang-format off
    const struct {
        const char *about;
        int32_t side;
        std::vector<FakeColumn> columns;
        std::string result, trace;
    } cases[] = {
        {"between others", 1, {data, name(kVarchar), data}, "0 ", "(  7)   0      20      10 Y c"},
        {"CHAR in delimited data", 1, {name(kChar), data}, "0 ", "supported for column 1"},
        {"two of them", 1, {name(kChar), data, name(kVarchar)}, "48 19015(12) ", "schema at column 3.  Previously found in column 1"},
        {"no text", 1, {data, name(kInteger)}, "48 19015(12) ", "Metadata type 'FileName' (1) must be data type VARCHAR or CHAR"},
        {"unknown metadata", 1, {data, name(kVarchar, 2)}, "48 19015(12) ", "Unsupported Metadata type '' (2) in schema"},
        {"nothing to read", 1, {name(kVarchar)}, "48 19106(0) 19015(12) ", "ZERO columns"},
        {"ordinary to a consumer", 2, {name(kInteger), name(kVarchar, 2)}, "0 ", "N c"},
    };
    // clang-format on
    FW_TraceLvl = 2;
    for (const auto &c : cases) {
        Play(c.side, kDelimited);
        fake.private_log.clear();
        EXPECT_EQ(Establish(c.columns), c.result) << c.about;
        EXPECT_TRUE(fake.Traced(c.trace)) << c.about << fake.private_log;
    }
    Play(1, kBinary);
    SG_IndicatorData = kYes;
    std::vector<FakeColumn> nine(8, data);
    nine.insert(nine.begin() + 1, name(kVarchar));
    EXPECT_EQ(Establish(nine), "0 ");
    EXPECT_EQ(SG_ColCount, 8);
    EXPECT_EQ(NumIndBytes, 1U) << "a record's indicators tell of its own columns";
    EXPECT_EQ(TotalFixedLength, 8U * 12 + 1);
    EXPECT_EQ(SG_ColOffs[1], 10U);
}

TEST_F(Schema, DateFormatsAreCompiledInPairs)
{
    FakeColumn date = Column(kVarchar, 10), json = Column(kJson, 10);
    date.input_format = json.input_format = "MM/DD/YYYY";
    EXPECT_EQ(Establish({date}), "0 ");
    EXPECT_EQ(DateColumnCount, 0);
    date.output_format = json.output_format = "YYYY-MM-DD";
    EXPECT_EQ(Establish({json, date, Column(kVarchar, 5), date}), "0 ");  // dates are VARCHAR
    ASSERT_EQ(DateColumnCount, 2);
    EXPECT_EQ(DateColumns[0], 1);
    EXPECT_EQ(DateColumns[1], 3);
    date.output_format = "YYYY-MQ";
    const std::string refusal = "48 10671(11: Unknown formatting character(s), output format "
                                "'YYYY-MQ' of column 'c', at character 6) 19015(12) ";
    EXPECT_EQ(Establish({Column(kVarchar, 5), date}), refusal);
    Play(2, kDelimited);
    EXPECT_EQ(Establish({date}), "0 ");  // a consumer does not read dates
    EXPECT_EQ(DateColumnCount, 0);
}

TEST_F(Schema, FailingServicesAndWildAnswersAreFatal)
{
    for (const char *service : {"PX_GetTableSchemaList", "PX_GetColumnSchemaList",
                                "PX_GetMetadataColumnSchema", "PX_GetColumnDateFormats"}) {
        fake.failing = {{service, 8}};
        EXPECT_EQ(Establish({Column(kVarchar, 5)}), "48 19015(12) ") << service;
        EXPECT_TRUE(fake.Traced(std::string(service) + " returned code 8 ('System Error')"));
    }
    fake.failing.clear();

    static PxSchema schema;
    static PxSchema *schemas[] = {&schema};
    static PxColumn column;
    static PxColumn *columns[] = {&column, nullptr}, **list;
    static int32_t count, offset;
    schema.kind = PX_KIND_SCHEMA;
    column.kind = PX_KIND_COLUMN;
    fake.op()->PX_GetTableSchemaList = [](PxOperator *, int32_t, PxSchema ***to, int32_t *number) {
        *to = schemas;
        *number = 1;
        return PxStatus{PXSTC_Success};
    };
    schema.PX_GetColumnSchemaList = [](PxSchema *, PxColumn ***to, int32_t *number, uint32_t *) {
        *to = list;
        *number = count;
        return PxStatus{PXSTC_Success};
    };
    column.PX_GetMetadataColumnSchema = [](PxColumn *, const char **name, uint32_t *type,
                                           uint32_t *length, int32_t *at, uint16_t *, uint16_t *,
                                           int8_t *, uint32_t *) {
        *name = nullptr;
        *type = kVarchar;
        *length = 3;
        *at = offset;
        return PxStatus{PXSTC_Success};
    };
    column.PX_GetColumnDateFormats = [](PxColumn *, const char **, const char **, int32_t) {
        return PxStatus{PXSTC_Success};
    };
    // clang-format off
    const struct {
        const char *about;
        PxColumn **list;
        int32_t count, offset;
        const char *result;
    } cases[] = {
        {"a column without a name", columns, 1, 0, "0 "},
        {"no list", nullptr, 1, 0, "48 19015(12) "},
        {"negative count", columns, -3, 0, "48 19106(-3) 19015(12) "},
        {"absurd count", columns, INT32_MAX, 0, "48 19015(12) "},
        {"null in the list", columns, 2, 0, "48 19015(12) "},
        {"negative offset", columns, 1, -1, "48 19015(12) "},
    };
    // clang-format on
    for (const auto &c : cases) {
        list = c.list, count = c.count, offset = c.offset;
        EXPECT_EQ(Establish({}), c.result) << c.about;
    }
    schemas[0] = nullptr;
    EXPECT_EQ(Establish({}), "48 19015(12) ");
}
