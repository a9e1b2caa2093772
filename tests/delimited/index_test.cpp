// tests/delimited/index_test.cpp - rows from the index are those of the literal reader and the scanners.
//
// A quarter of a million random windows and files a shard, over alphabets that are made of marks. Every shard
// is a test, so that they run side by side.

#include <algorithm>
#include <random>

#include "tests/delimited/loading.h"
#include "tests/support/vector_kernels.h"

namespace {

constexpr uint32_t kShards = 4;
#if defined(__SANITIZE_ADDRESS__)
constexpr int kInputsOfShard = 40000;  // what goes wrong with memory does so soon
#else
constexpr int kInputsOfShard = 260000;
#endif

struct Settings {
    const char *about;
    const char *alphabet;  // of the data; its first letters are the commonest
    int quoted;
    const char *escape, *quote_escape;  // of the delimiter, of the quote mark
    bool high_is_odd;
};
// clang-format off
constexpr Settings kSettings[] = {
    {"LF",                       "aab,,,\n\n\r",      kNo,       "",   "",   false},
    {"CRLF",                     "aab,,,\r\n\r\n\r",  kNo,       "",   "",   false},
    {"CR",                       "aab,,,\r\r\n",      kNo,       "",   "",   false},
    {"escape",                   "aab,,,\\\n\n",      kNo,       "\\", "",   false},
    {"quotes",                   "aab,,,'''\n\n",     kOptional, "",   "",   false},
    {"quotes, CRLF",             "ab,,,'''\r\n\r\n",  kOptional, "",   "",   false},
    {"quotes everywhere",        "ab,,''''''\n",      kYes,      "",   "",   false},
    {"quotes, escapes of both",  "aab,,,'''\\^\n\n",  kOptional, "\\", "^",  false},
    {"quotes, one escape",       "aab,,,'''\\\n\n",   kOptional, "\\", "\\", false},
    {"shifted set",              "a,,\n\x83\x7C\x83", kNo,       "",   "",   true },
    {"shifted set, quotes",      "a,,\n''\x83\x83",   kOptional, "",   "",   true },
};
// clang-format on

}  // namespace

class Index : public Loading, public testing::WithParamInterface<uint32_t> {
protected:
    std::mt19937 random{20261121 + GetParam()};

    uint32_t Below(size_t limit) { return static_cast<uint32_t>(random() % limit); }

    // Mostly records that fit the schema, so that rows lie ready, and marks at random in the others.
    std::string RandomText(const Settings &settings, size_t most)
    {
        std::string text;
        const size_t letters = strlen(settings.alphabet), size = random() % most;
        const bool wild = Below(3) == 0;
        const char *eor = strstr(settings.alphabet, "\r\n")   ? "\r\n"
                          : strstr(settings.alphabet, "\r\r") ? "\r"
                                                              : "\n";
        while (text.size() < size) {
            if (wild || Below(9) == 0) {
                for (size_t n = 1 + Below(12); n > 0; --n)
                    text += settings.alphabet[Below(letters)];
                continue;
            }
            for (int32_t i = 0; i < SG_ColCount; ++i) {
                const std::string value(Below(Below(4) ? 4 : 80), 'v');
                const bool in_quotes =
                    settings.quoted == kYes || (settings.quoted != kNo && Below(2));
                text += i > 0 ? "," : "";
                text += !in_quotes ? value : Below(3) ? "'" + value + "'" : "'" + value + "'',\n'";
            }
            text += Below(10) == 0 ? "," : "";
            text += eor;
        }
        return text;
    }

    void Choose(const Settings &settings)
    {
        bQuotedData = settings.quoted;
        const char *quote = settings.quoted != kNo ? "'" : "";
        SetMark(TextDelimiter, ",");
        SetMark(EscapeTextCharacter, settings.escape);
        SetMark(OpenQuoteMark, quote);
        SetMark(CloseQuoteMark, quote);
        SetMark(EscapeQuoteCharacter, settings.quote_escape);
        UsingSingleByteCharSet = !settings.high_is_odd;
        CharLengthFn = settings.high_is_odd ? ShiftLength : CharLengthSingleByte;
        bNullColumns = static_cast<int32_t>(Below(2));
        TruncateColumnsOpt = Below(2) ? kYes : kNo;
        std::vector<uint32_t> maximums(1 + Below(Below(3) ? 4 : 20));
        for (uint32_t &maximum : maximums)
            maximum = Below(2) ? 0 : 1 + Below(90);
        SetColumns(maximums);
        Validate();
    }

    // What the window says of its records, as bytes.
    static std::string OfWork(const IndexWork &work)
    {
        const uint32_t fields = work.records == 0 ? 0 : work.record_fields[work.records - 1];
        const uint32_t packed = fields == 0 ? 0 : work.field_end[fields - 1] & ~kQuotedField;
        std::string shown;
        const auto add = [&](const auto *array, uint32_t count) {
            shown.append(reinterpret_cast<const char *>(array), count * sizeof *array);
        };
        add(&work.records, 1);
        add(work.record_end, work.records);
        add(work.record_fields, work.records);
        add(work.regular, work.records);
        add(work.offsets, fields);
        add(work.lengths, fields);
        add(work.indicators, fields);
        add(work.packed, packed);
        return shown;
    }
};

TEST_P(Index, EveryKernelFindsWhatTheByteWalkFinds)
{
    const std::vector<int64_t> kernels = Kernels();
    std::vector<uint8_t> buffer(kWindowLimit + kWordBytes);
    uint64_t records = 0;
    for (int i = 0; i < kInputsOfShard; ++i) {
        const Settings &settings = kSettings[static_cast<size_t>(i / 32) % std::size(kSettings)];
        if (i % 32 == 0)
            Choose(settings);
        ASSERT_NE(pmIndexMarks.columns, 0) << settings.about;
        IndexWork &work = pmIndex.work;
        const std::string text = RandomText(settings, i % 1000 == 0 ? 60000 : 300);
        work.length = static_cast<uint32_t>(std::min<size_t>(text.size(), kWindowLimit));
        memcpy(buffer.data(), text.data(), work.length);
        for (uint32_t at = 0; at < kWordBytes; ++at)  // what lies behind must not show
            buffer[work.length + at] = static_cast<uint8_t>(settings.alphabet[at % 5]);
        work.data = buffer.data();
        const std::string_view alphabet = settings.alphabet;
        work.eor_of_two = alphabet.find("\r\n\r") != alphabet.npos;
        work.eor[0] = work.eor_of_two || alphabet.find("\r\r") != alphabet.npos ? '\r' : '\n';
        work.eor[1] = work.eor_of_two ? '\n' : work.eor[0];
        BuildIndexByBytes(work);
        const std::string wanted = OfWork(work);
        records += work.records;
        UseKernel(kernels[static_cast<size_t>(i) % kernels.size()]);
        BuildIndexByVectors(work);
        ASSERT_TRUE(OfWork(work) == wanted)
            << settings.about << ", kernel " << kernels[static_cast<size_t>(i) % kernels.size()]
            << " \"" << text << "\"";
    }
    EXPECT_GT(records, uint64_t{kInputsOfShard});
}

TEST_P(Index, RowsAreThoseOfTheLiteralReaderAndTheScanners)
{
    ServePieces();
    bUsingUDDI = 1;
    for (int i = 0; i < kInputsOfShard; ++i) {
        const Settings &settings = kSettings[static_cast<size_t>(i / 32) % std::size(kSettings)];
        if (i % 32 == 0)
            Choose(settings);
        const bool long_one = i % 2000 == 0;
        source.bytes = RandomText(settings, long_one ? 150000 : 200);
        source.longest_piece = long_one ? 100000 : 1 + Below(100);
        const uint32_t buffer_size = long_one ? 70000 : 16 + Below(3) * 60;
        const auto seed = static_cast<unsigned>(random());
        pmBuildIndex = i % 4 == 0 ? BuildIndexByBytes : BuildIndexByVectors;
        const std::string rows = Load(false, buffer_size, seed);
        ASSERT_EQ(rows, Load(true, buffer_size, seed))
            << settings.about << ", buffer of " << buffer_size << " \"" << source.bytes << "\"";
    }
    EXPECT_GT(straight, uint64_t{kInputsOfShard} / 4) << "rows that were taken from the index";
}

INSTANTIATE_TEST_SUITE_P(Shards, Index, testing::Range(0U, kShards));
