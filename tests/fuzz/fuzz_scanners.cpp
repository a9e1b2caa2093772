// tests/fuzz/fuzz_scanners.cpp - scanners and their twins find what the literal scan finds, and the rows
// of the index are those that reader and scanner make.

#include "delimited/parsing_cases.h"
#include "tests/fuzz/harness.h"

namespace {

class ScannersFuzz : public Harness {
public:
    void Try(Input input)
    {
        const bool whole_file = input.Number(2) != 0;
        ChooseSettings(input);
        ChooseFile(input);
        whole_file ? TryFile() : TryRecord(source.bytes);
    }

private:
    void TryRecord(const std::string &record) const
    {
        const ScanPolicy policy = kScanners[ScannerFor(UDDI_ParsingCase)];
        if (policy.quotes == Mark::None && bQuotedData == kYes)
            return;  // unquoted scanners do not know the word
        const bool characters = policy.walk == Walk::Characters;
        const LiteralScan literal(record, characters, policy.walk == Walk::Columns);
        const std::string wanted = OfLiteral(literal);
        EXPECT_EQ(OfScanner(record, literal.stopped), wanted) << Context();
        if (!characters || FastScannerFor == FastRoad::Never)
            return;
        FastScannerFor = FastRoad::Never;
        EXPECT_EQ(OfScanner(record, literal.stopped), wanted) << "exact road, " << Context();
    }

    void TryFile()
    {
        const std::string wanted = Load(true, buffer_size, seed);
        for (const IndexBuilder builder : {BuildIndexByBytes, BuildIndexByVectors}) {
            pmBuildIndex = builder;
            EXPECT_EQ(Load(false, buffer_size, seed), wanted) << Context();
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ScannersFuzz fuzz;
    fuzz.Try({data, size});
    return 0;
}
