// bench/micro/delimited_bench.cpp - scan and packing of delimited records, in bytes of input a second.
//
// 16 columns of 2 to 40 bytes. A record that holds escapes is changed by its scan, so it is copied
// from a clean image first, in every case; the baseline is that copy alone.
//
// Last measured (gcc 12, -O2 with LTO, a shared server core, in MB/s): plain 2000, two-byte delimiter
// 1540, trim 1450, escape 1750, quoted 1530, one doubled quote in eight fields 1250, UTF-8 plain 1730,
// UTF-8 quoted with doubled quotes 1220, UTF-8 with everything set and a two-byte delimiter 630. Character by
// character, without the fast road: 105.

#include <benchmark/benchmark.h>
#include <random>
#include <string>

#include "delimited/parsing_cases.h"
#include "operator/operator_state.h"
#include "tests/delimited/extraction.h"

namespace {

struct Job {
    const char *delimiter, *escape, *quote, *quote_escape, *trim;
    bool single;
    int quotes_in;  // one doubled quote in so many fields; 0: none
};

int32_t Utf8Length(const uint8_t *p, uint32_t *bytes)
{
    *bytes = *p < 0xC2 ? 1 : *p < 0xE0 ? 2 : *p < 0xF0 ? 3 : 4;
    return *bytes > 1;
}

int32_t SingleLength(const uint8_t *, uint32_t *) { return 0; }

struct Records {
    std::string bytes;
    std::vector<std::pair<uint32_t, uint32_t>> spans;
};

Records MakeRecords(const Job &job)
{
    std::mt19937 random(7);
    Records records;
    const std::string quote = job.quote;
    for (int r = 0; r < 2000; ++r) {
        const size_t begin = records.bytes.size();
        for (int c = 0; c < 16; ++c) {
            std::string value(2 + random() % 39, ' ');
            for (char &ch : value)
                ch = static_cast<char>('a' + random() % 26);
            if (job.quotes_in != 0 && random() % job.quotes_in == 0)
                value.insert(value.size() / 2, quote + quote);
            records.bytes += (c > 0 ? job.delimiter : "") + quote + value + quote;
        }
        records.spans.emplace_back(begin, records.bytes.size() - begin);
        records.bytes += '\0';
    }
    records.bytes.append(64, '\0');
    return records;
}

void Apply(const Job &job)
{
    SetMark(TextDelimiter, job.delimiter);
    SetMark(EscapeTextCharacter, job.escape);
    SetMark(OpenQuoteMark, job.quote);
    SetMark(CloseQuoteMark, job.quote);
    SetMark(EscapeQuoteCharacter, job.quote_escape);
    SetMark(TrimLeadingChar, job.trim);
    SetMark(TrimTrailingChar, job.trim);
    bQuotedData = *job.quote != '\0' ? kOptional : kNo;
    UsingSingleByteCharSet = job.single;
    CharSetFamily = job.single ? kFamilyOrdinary : kFamilyUtf8;
    CharLengthFn = job.single ? SingleLength : Utf8Length;
    SetColumns(std::vector<uint32_t>(16, 64));
    FW_TraceLvl = 1;
    Validate();
}

void Scan(benchmark::State &state, const Job &job, bool exact)
{
    Apply(job);
    if (exact)
        FastScannerFor = FastRoad::Never;
    const Records records = MakeRecords(job);
    std::string work = records.bytes;
    int64_t bad = 0;
    for (auto _ : state) {
        memcpy(work.data(), records.bytes.data(), work.size());
        for (const auto &[offset, length] : records.spans) {
            pmBuffer.Data = reinterpret_cast<uint8_t *>(work.data()) + offset;
            pmBuffer.DataLength = length;
            bad += ExtractDelimitedText();
        }
    }
    if (bad != 0)
        state.SkipWithError("a record was refused");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(work.size()));
    state.SetLabel(std::to_string(UDDI_ParsingCase) + " scanner " +
                   std::to_string(ScannerFor(UDDI_ParsingCase)));
}

void CopyOnly(benchmark::State &state)
{
    const Records records = MakeRecords({"|", "", "", "", "", true, 0});
    std::string work = records.bytes;
    for (auto _ : state) {
        memcpy(work.data(), records.bytes.data(), work.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(work.size()));
}

constexpr Job kPlain = {"|", "", "", "", "", true, 0};
constexpr Job kTwoByteDelimiter = {"|~", "", "", "", "", true, 0};
constexpr Job kTrim = {"|", "", "", "", " ", true, 0};
constexpr Job kEscape = {"|", "\\", "", "", "", true, 0};
constexpr Job kQuoted = {"|", "", "\"", "", "", true, 0};
constexpr Job kDoubled = {"|", "", "\"", "", "", true, 8};
constexpr Job kUtf8 = {"|", "", "", "", "", false, 0};
constexpr Job kUtf8Quoted = {",", "", "\"", "\\", "", false, 8};
constexpr Job kUtf8QuotedTrim = {"||", "\\", "\"", "\\", " ", false, 8};

}  // namespace

BENCHMARK(CopyOnly);
BENCHMARK_CAPTURE(Scan, plain, kPlain, false);
BENCHMARK_CAPTURE(Scan, two_byte_delimiter, kTwoByteDelimiter, false);
BENCHMARK_CAPTURE(Scan, trim, kTrim, false);
BENCHMARK_CAPTURE(Scan, escape, kEscape, false);
BENCHMARK_CAPTURE(Scan, quoted, kQuoted, false);
BENCHMARK_CAPTURE(Scan, doubled_quotes, kDoubled, false);
BENCHMARK_CAPTURE(Scan, utf8, kUtf8, false);
BENCHMARK_CAPTURE(Scan, utf8_quoted, kUtf8Quoted, false);
BENCHMARK_CAPTURE(Scan, utf8_quoted_trim, kUtf8QuotedTrim, false);
BENCHMARK_CAPTURE(Scan, utf8_quoted_by_characters, kUtf8Quoted, true);
