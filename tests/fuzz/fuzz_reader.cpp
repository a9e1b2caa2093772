// tests/fuzz/fuzz_reader.cpp - every way of reading a file serves the records of the literal reader.

#include "tests/fuzz/harness.h"

namespace {

struct Way {
    const char *about;
    bool literal, index;
    IndexBuilder builder;
};
constexpr Way kWays[] = {
    {"fast reader", false, false, BuildIndexByBytes},
    {"index by bytes", false, true, BuildIndexByBytes},
    {"index by vectors", false, true, BuildIndexByVectors},
};
constexpr Way kLiteral = {"literal reader", true, false, BuildIndexByBytes};

class ReaderFuzz : public Harness {
public:
    void Try(Input input)
    {
        ChooseSettings(input);
        ChooseFile(input);
        const std::string wanted = Read(kLiteral), log = fake.public_log;
        for (const Way &way : kWays) {
            EXPECT_EQ(Read(way), wanted) << way.about << ", " << Context();
            EXPECT_EQ(fake.public_log, log) << way.about << ", " << Context();
        }
        // Where blocks end shows only in what is said of a record that is too long, and in what is kept
        // of marks that were cut.
        if (OpenQuoteMark.length > 1 || CloseQuoteMark.length > 1)
            return;
        source.longest_piece = buffer_size;
        EXPECT_EQ(Read(kLiteral), wanted) << "whole blocks, " << Context();
    }

private:
    // "0:3@0=abc ": code, length, place in the file and bytes of each record.
    std::string Read(const Way &way)
    {
        std::string shown;
        const int32_t columns = pmIndexMarks.columns;
        pmIndexMarks.columns = way.index ? columns : 0;
        pmBuildIndex = way.builder;
        bLiteralReader = way.literal;
        source.Rewind(seed);
        fake.public_log.clear();
        EXPECT_EQ(Open("pieces", buffer_size), pmrcOk);
        pmfp = file;
        for (FileRecordCount = 0;; ++FileRecordCount) {
            pmRecord record = {};
            const int code = pmRead(file, &record);
            shown += std::to_string(code);
            if (code != pmrcOk && code != pmrcNoEOR)
                break;
            shown += ":" + std::to_string(record.DataLength) + "@" +
                     std::to_string(pmRecordOffset(file)) + "=";
            shown.append(reinterpret_cast<char *>(record.Data), record.DataLength) += ' ';
            EXPECT_EQ(record.Data[record.DataLength], 0);
        }
        pmClose(file);
        pmIndexMarks.columns = columns;
        return shown;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ReaderFuzz fuzz;
    fuzz.Try({data, size});
    return 0;
}
