// bench/micro/numbers_bench.cpp - values of a row as text, in bytes of text a second.
//
// 4000 rows of random values, with texts of all lengths; "row" is INTEGER, BIGINT, DECIMAL(18,2), FLOAT.
//
// Last measured (gcc 12, -O2 with LTO, a shared server core, in MB/s): INTEGER 720, BIGINT 1010, DECIMAL(18,2)
// 580, DECIMAL(38,10) 320, FLOAT 470, INTDATE 680, NUMBER 180, PERIOD(TIMESTAMP(6)) 1110, the row 590.

#include <benchmark/benchmark.h>
#include <cstring>
#include <random>
#include <vector>

#include "delimited/binary_to_text.h"
#include "operator/operator_state.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

namespace {

struct ColumnSpec {
    uint32_t type;
    uint16_t precision, scale;
    uint32_t bytes;
};

constexpr ColumnSpec kInteger = {1, 0, 0, 4}, kBigint = {37, 0, 0, 8}, kFloat = {3, 0, 0, 8},
                     kDecimal = {4, 18, 2, 8}, kLongDecimal = {4, 38, 10, 16},
                     kDate = {11, 0, 0, 4}, kNumber = {63, 0, 0, 10}, kPeriod = {61, 6, 0, 20};

// Of any length, so that branches on it can't be foretold.
int64_t AnyInteger(std::mt19937_64 &random)
{
    return static_cast<int64_t>(random()) >> random() % 60;
}

void PutValue(std::mt19937_64 &random, const ColumnSpec &column, uint8_t *to)
{
    int64_t integer = AnyInteger(random);
    if (column.type == kInteger.type)
        integer = static_cast<int32_t>(random()) >> random() % 28;
    if (column.type == kDate.type)
        integer = 1260000 + static_cast<int64_t>(random() % 12 + 1) * 100 + 15;
    if (column.type == kDecimal.type)
        integer %= 1000000000000000000;
    memcpy(to, &integer, column.bytes < sizeof integer ? column.bytes : sizeof integer);
    if (column.type == kFloat.type) {
        const double value = static_cast<double>(integer) / 1000;
        memcpy(to, &value, sizeof value);
    }
    if (column.type == kNumber.type) {
        const int16_t negated = static_cast<int16_t>(random() % 10);
        memcpy(to, &negated, sizeof negated);
        memcpy(to + sizeof negated, &integer, sizeof integer);
    }
}

void Convert(benchmark::State &state, const std::vector<ColumnSpec> &columns)
{
    constexpr size_t kRows = 4000;
    std::mt19937_64 random(7);
    std::vector<uint32_t> types, offsets, lengths;
    std::vector<uint16_t> precisions, scales;
    uint32_t bytes = 0;
    for (const ColumnSpec &column : columns) {
        types.push_back(column.type);
        precisions.push_back(column.precision);
        scales.push_back(column.scale);
        offsets.push_back(bytes);
        lengths.push_back(column.bytes);
        bytes += column.bytes;
    }
    std::vector<uint8_t> rows(kRows * bytes);
    for (size_t r = 0; r < kRows; ++r) {
        for (size_t c = 0; c < columns.size(); ++c)
            PutValue(random, columns[c], rows.data() + r * bytes + offsets[c]);
    }
    const std::vector<uint8_t> indicators(columns.size());
    SG_ColCount = static_cast<int32_t>(columns.size());
    SG_ColTypes = types.data();
    SG_ColPrecision = precisions.data();
    SG_ColScale = scales.data();
    ConvertDelimitedData = 1;
    FW_TraceLvl = 1;
    if (PrepareConversion() != 0)
        state.SkipWithError("no records");
    int64_t text = 0;
    for (auto _ : state) {
        for (size_t r = 0; r < kRows; ++r)
            text += bytes + BinaryToText(SG_ColCount, rows.data() + r * bytes, offsets.data(),
                                         indicators.data(), lengths.data());
    }
    state.SetBytesProcessed(text);
    state.SetItemsProcessed(state.iterations() * kRows);
    FreeConversion();
}

}  // namespace

BENCHMARK_CAPTURE(Convert, integer, {kInteger});
BENCHMARK_CAPTURE(Convert, bigint, {kBigint});
BENCHMARK_CAPTURE(Convert, decimal_18_2, {kDecimal});
BENCHMARK_CAPTURE(Convert, decimal_38_10, {kLongDecimal});
BENCHMARK_CAPTURE(Convert, float, {kFloat});
BENCHMARK_CAPTURE(Convert, intdate, {kDate});
BENCHMARK_CAPTURE(Convert, number, {kNumber});
BENCHMARK_CAPTURE(Convert, period_timestamp_6, {kPeriod});
BENCHMARK_CAPTURE(Convert, row, {kInteger, kBigint, kDecimal, kFloat});
