// tests/fuzz/fuzz_binary.cpp - binary files become the same rows wherever their blocks are cut.
//
// Behind the numbers of an input (format, indicators, flip, columns with type and length, buffer, pieces)
// comes the file.

#include "operator/methods.h"
#include "rows/rows.h"
#include "schema/establish.h"
#include "tests/fuzz/harness.h"

namespace {

constexpr uint32_t kTypes[] = {5, 7, 63, 40, 1, 10};  // fixed, and lengths of 2, 1 and 8 bytes

class BinaryFuzz : public Harness {
public:
    BinaryFuzz()
    {
        Reading = OperatorType = 1;
        FW_OpenMode = kOpenRead;
        pmHandle = module;
        CurrentExitCode = 12;  // what it rises to is told once, and would be in the first log only
    }

    void Try(Input input)
    {
        FileFormat = 2 + input.Number(7);
        if (FileFormat == 4)
            FileFormat = 3;  // no attribute asks for it
        SG_IndicatorData = static_cast<int32_t>(input.Number(2));
        EndianFlip = static_cast<int32_t>(input.Number(2));
        fake.columns.assign(1 + input.Number(12), {});
        for (FakeColumn &column : fake.columns) {
            column.type = kTypes[input.Number(std::size(kTypes))];
            column.length = input.Number(40);
        }
        buffer_size = 16 + input.Number(256);
        longest_piece = 1 + input.Number(256);
        source.bytes = input.Rest();
        const std::string wanted = Read(source.bytes.size() + 1), log = fake.public_log;
        EXPECT_EQ(Read(longest_piece), wanted) << "pieces of " << longest_piece;
        EXPECT_EQ(fake.public_log, log) << "pieces of " << longest_piece;
    }

private:
    // The rows' bytes, and the status that ended them.
    std::string Read(size_t pieces)
    {
        BufferSize = static_cast<int32_t>(buffer_size);
        source.longest_piece = pieces;
        source.Rewind(1);
        fake.rows.clear();
        fake.public_log.clear();
        PxStatus status = FW_EstablishSchema();
        if (status != PXSTC_Success)
            return "no schema";
        EXPECT_EQ(FW_FenwireOpen("pieces"), 0);
        for (status = PXSTC_SamePhase; status == PXSTC_SamePhase;)
            status = FW_WriteRow(fake.op());
        pmClose(pmfp);
        std::string shown;
        for (const std::string &row : fake.rows)
            shown += row + "\n";
        return shown + std::to_string(status);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static BinaryFuzz fuzz;
    fuzz.Try({data, size});
    return 0;
}
