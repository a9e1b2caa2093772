// tests/fuzz/harness.h - an input: the settings of a job, then its file.
//
// The settings are numbers of one byte, counted from the character '0', so that the inputs of corpus/
// can be written by hand, and marks, each behind the number of its bytes:
//
//     set quotes null truncate general trims columns maximums  , esc  "  " esc  trim trim
//     0   2      1    0        0       0     1       000       1,0    1" 0 0    0    0
//     buffer piece seed kernel
//     0      0     0    0
//
// A difference fails an expectation, which ends the program as a crash.

#ifndef FENWIRE_TESTS_FUZZ_HARNESS_H
#define FENWIRE_TESTS_FUZZ_HARNESS_H

#include <algorithm>
#include <sanitizer/asan_interface.h>
#include <string_view>

#include "tests/delimited/loading.h"
#include "tests/delimited/outcome.h"
#include "tests/support/vector_kernels.h"

class Input {
public:
    Input(const uint8_t *data, size_t size) : rest_(reinterpret_cast<const char *>(data), size) {}

    // 0 to limit - 1.
    uint32_t Number(uint32_t limit)
    {
        if (rest_.empty())
            return 0;
        const auto byte = static_cast<uint8_t>(rest_.front() - '0');
        rest_.remove_prefix(1);
        return byte % limit;
    }

    std::string_view Mark()
    {
        const uint32_t length = Number(5);
        const std::string_view mark = rest_.substr(0, length);
        rest_.remove_prefix(mark.size());
        return mark;
    }

    std::string_view Rest() const { return rest_; }

private:
    std::string_view rest_;
};

class Harness : public Loading {
public:
    void TestBody() override {}

protected:
    Harness()
    {
        testing::GTEST_FLAG(throw_on_failure) = true;
        ServePieces();
        FW_TraceLvl = 1;
        bUsingUDDI = 1;
        GuardBuffers();
    }

    void ChooseSettings(Input &input)
    {
        static constexpr const char *kSets[] = {
            "ASCII",       "UTF8",         "UTF16",       "SCHINESE936_6R0",  "SCHGB2312_1T0",
            "KANJIEUC_0U", "KANJISJIS_0S", "TCHBIG5_1R0", "HANGULKSC5601_2R4"};
        set = kSets[input.Number(std::size(kSets))];
        pmSetCharSet(set);
        bQuotedData = static_cast<int32_t>(input.Number(3));
        bNullColumns = static_cast<int32_t>(input.Number(2));
        const uint32_t truncate = input.Number(3);
        TruncateColumnsOpt = truncate == 1;
        bTruncateUTF8 = truncate == 2;
        const bool general = input.Number(8) == 7;
        const uint32_t trims = input.Number(16);
        TrimLeadingNchars = static_cast<int32_t>(trims % 4);
        TrimTrailingNchars = static_cast<int32_t>(trims / 4);
        ChooseColumns(input);
        ChooseMarks(input);
        UDDI_ParsingCase = general ? kGeneralCase : CaseOfSettings();
        ASSERT_EQ(ValidateUDDIcase(), 0);
    }

    // The rest of the input is the file.
    void ChooseFile(Input &input)
    {
        buffer_size = 16 + input.Number(256);
        longest_piece = 1 + input.Number(256);
        seed = 1 + input.Number(256);
        UseKernel(kernels[input.Number(static_cast<uint32_t>(kernels.size()))]);
        source.bytes = input.Rest();
        source.longest_piece = longest_piece;
    }

    std::string Context() const
    {
        return Situation(set, source.bytes) + ", buffer " + std::to_string(buffer_size) +
               ", pieces " + std::to_string(longest_piece) + "/" + std::to_string(seed);
    }

    const char *set = "";
    uint32_t buffer_size = 0, longest_piece = 0, seed = 0;

private:
    static constexpr int32_t kGeneralCase = 2222222;
    static constexpr uint32_t kLargestBuffer = 2 * sizeof(pmFile);  // no other piece is as large
    static constexpr uint32_t kGuard = 64;

    // The buffers of all inputs lie in one piece of memory: what is behind them is made unreadable.
    void GuardBuffers()
    {
        pmToken token = 0;
        Open("pieces",
             1);  // leaves pieces for whatever else an open file needs
        pmClose(file);
        guarded = static_cast<uint8_t *>(pmGetMem(kLargestBuffer + kGuard, &token, false));
        pmFreeMem(token);
        static Harness *harness = this;
        static const auto read_piece = os.read;
        os.read = [](int descriptor, void *to, size_t most) {
            const pmFile *open = harness->Object();
            EXPECT_EQ(open->Buffer, harness->guarded);
            ASAN_POISON_MEMORY_REGION(
                open->Buffer + 2 * open->BufferSize + kMarkRoom + kVectorSlack, kGuard);
            return read_piece(descriptor, to, most);
        };
        os.close = [](int) {
            ASAN_UNPOISON_MEMORY_REGION(harness->guarded, kLargestBuffer + kGuard);
            return 0;
        };
    }

    static void ChooseColumns(Input &input)
    {
        static std::vector<uint32_t> maximums;
        maximums.resize(1 + input.Number(20));
        const uint32_t cycle[] = {input.Number(256), input.Number(256), input.Number(256)};
        for (size_t i = 0; i < maximums.size(); ++i)
            maximums[i] = i > 2 ? std::max(1U, cycle[i % 3]) : cycle[i % 3];
        SetColumns(maximums);
    }

    // As the attributes would have it: a delimiter always, quote marks where they mean something.
    static void ChooseMarks(Input &input)
    {
        const std::string_view delimiter = input.Mark();
        SetMark(TextDelimiter, delimiter.empty() ? "," : delimiter);
        SetMark(EscapeTextCharacter, input.Mark());
        std::string_view open = input.Mark(), close = input.Mark(), escape = input.Mark();
        if (bQuotedData == kNo || open.empty())
            open = close = escape = "";
        SetMark(OpenQuoteMark, open);
        SetMark(CloseQuoteMark, close.empty() ? open : close);
        SetMark(EscapeQuoteCharacter, escape);
        SetMark(TrimLeadingChar, input.Mark());
        SetMark(TrimTrailingChar, input.Mark());
    }

    const std::vector<int64_t> kernels = Kernels();
    uint8_t *guarded = nullptr;
};

#endif
