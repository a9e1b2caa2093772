// bench/micro/create_bench.cpp - rows written as delimited records, in bytes of records a second.
//
// Rows like those of an order's line items: 16 columns, 130 bytes of record, a comment at the end.

#include <benchmark/benchmark.h>
#include <random>

#include "operator/operator_state.h"
#include "tests/delimited/creation.h"

namespace {

struct Job {
    int32_t quoted;
    const char *delimiter, *escape, *quote, *quote_escape;
    bool single;
    int marks_in;  // one value of so many holds a mark; 0: none
};

Values MakeRow(std::mt19937 &random, const Job &job)
{
    static constexpr uint32_t kDigits[] = {7, 5, 4, 1, 2, 8, 4, 4, 1, 1, 10, 10, 10};
    Values row;
    const auto letters = [&](size_t count) {
        std::string text(count, ' ');
        for (char &byte : text)
            byte = static_cast<char>('a' + random() % 26);
        return text;
    };
    for (const uint32_t digits : kDigits)
        row.push_back(std::to_string(random()).append("0000000000").substr(0, digits));
    row.push_back(letters(8 + random() % 10));
    row.push_back(letters(4 + random() % 4));
    row.push_back(letters(10 + random() % 34));
    for (auto &value : row) {
        if (job.marks_in != 0 && random() % static_cast<uint32_t>(job.marks_in) == 0)
            value->insert(value->size() / 2, *job.quote != '\0' ? job.quote : job.delimiter);
    }
    return row;
}

int32_t Utf8Length(const uint8_t *p, uint32_t *bytes)
{
    *bytes = *p < 0xC2 ? 1 : *p < 0xE0 ? 2 : *p < 0xF0 ? 3 : 4;
    return *bytes > 1;
}

void Apply(const Job &job)
{
    SetMark(TextDelimiter, job.delimiter);
    SetMark(EscapeTextCharacter, job.escape);
    SetMark(OpenQuoteMark, job.quote);
    SetMark(CloseQuoteMark, job.quote);
    SetMark(EscapeQuoteCharacter, job.quote_escape);
    bQuotedData = job.quoted;
    UsingSingleByteCharSet = job.single;
    CharSetFamily = job.single ? kFamilyOrdinary : kFamilyUtf8;
    CharLengthFn = job.single ? CharLengthSingleByte : Utf8Length;
    SetColumns(std::vector<uint32_t>(16, 64));
    FW_TraceLvl = 1;
    Validate();
}

void Create(benchmark::State &state, const Job &job, bool literally)
{
    Apply(job);
    if (literally)
        FastWriter = nullptr;
    std::mt19937 random(7);
    std::vector<RowOfValues> rows;
    for (int i = 0; i < 2000; ++i)
        rows.emplace_back(MakeRow(random, job));
    int64_t bytes = 0;
    for (auto _ : state) {
        for (RowOfValues &row : rows) {
            if (row.Create() != 0)
                state.SkipWithError("a row was refused");
            bytes += pmBuffer.DataLength;
        }
    }
    state.SetBytesProcessed(bytes);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(rows.size()));
}

constexpr Job kPlain = {kNo, "|", "", "", "", true, 0};
constexpr Job kPlainUtf8 = {kNo, "|", "", "", "", false, 0};
constexpr Job kTwoByteDelimiter = {kNo, "|~", "", "", "", true, 0};
constexpr Job kOptionally = {kOptional, ",", "", "\"", "", false, 0};
constexpr Job kOptionallySome = {kOptional, ",", "", "\"", "", false, 40};
constexpr Job kOptionallyMany = {kOptional, ",", "", "\"", "", false, 3};
constexpr Job kQuoted = {kYes, ",", "", "\"", "", false, 0};
constexpr Job kQuotedSome = {kYes, ",", "", "\"", "", false, 40};
constexpr Job kEscaped = {kNo, "|", "\\", "", "", true, 0};
constexpr Job kEscapedSome = {kNo, "|", "\\", "", "", true, 40};

}  // namespace

BENCHMARK_CAPTURE(Create, plain, kPlain, false);
BENCHMARK_CAPTURE(Create, plain_utf8, kPlainUtf8, false);
BENCHMARK_CAPTURE(Create, two_byte_delimiter, kTwoByteDelimiter, false);
BENCHMARK_CAPTURE(Create, optional, kOptionally, false);
BENCHMARK_CAPTURE(Create, optional_one_in_forty, kOptionallySome, false);
BENCHMARK_CAPTURE(Create, optional_one_in_three, kOptionallyMany, false);
BENCHMARK_CAPTURE(Create, quoted, kQuoted, false);
BENCHMARK_CAPTURE(Create, quoted_one_in_forty, kQuotedSome, false);
BENCHMARK_CAPTURE(Create, escaped, kEscaped, false);
BENCHMARK_CAPTURE(Create, escaped_one_in_forty, kEscapedSome, false);
BENCHMARK_CAPTURE(Create, plain_literally, kPlain, true);
BENCHMARK_CAPTURE(Create, optional_literally, kOptionally, true);
