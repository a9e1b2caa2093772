// tests/host/row_record_test.cpp - rows between processes.

#include <gtest/gtest.h>
#include <vector>

#include "host/streams/row_record.h"

using namespace fenwire;

TEST(RowRecord, BatchIsWalkedRecordByRecord)
{
    const uint32_t words[] = {16, 0, kNullColumn, 0, 16, 3, 3, 0};
    std::vector<uint8_t> bytes(sizeof words);
    memcpy(bytes.data(), words, sizeof words);
    memcpy(bytes.data() + 28, "abc", 3);
    const RowBatch batch = {bytes.data(), bytes.data() + bytes.size(), 1};
    std::string seen;
    batch.ForEach([&](const RowRecord &row) {
        seen += row.length(0) == kNullColumn
                    ? "NULL;"
                    : std::string(reinterpret_cast<const char *>(row.data(1)), row.length(0)) + ";";
    });
    EXPECT_EQ(seen, "NULL;abc;");
}
