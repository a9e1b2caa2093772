// bench/micro/reader_bench.cpp - pmRead on a file in the page cache: system calls, blocks, records.
//
// Bytes per second over a file of 64 MB, BufferSize as in a job, by the fast and by the literal way.
//
// Last measured (gcc 12, -O2 with LTO, a shared server core): lines of 38 bytes 2300 MB/s (64 million
// records a second), literal 260; lines of 63 bytes with five quoted fields 780 MB/s, literal 130.

#include <benchmark/benchmark.h>
#include <cstring>
#include <fstream>
#include <string>

#include "attributes/attributes_state.h"
#include "pm/pm.h"
#include "pm/pm_layer_state.h"
#include "tests/support/temp_directory.h"

namespace {

constexpr uint32_t kBufferSize = 1048586;
constexpr size_t kFileBytes = 64 << 20;

constexpr const char *kLines[] = {
    "1000001,17,2024-06-01,1234.50,pending\n",
    "\"1000001\",\"17\",\"2024-06-01\",\"1234.50\",\"on its way, \"\"today\"\"\"\n",
};

void SetMark(SpecialCharValue &mark, char byte)
{
    mark.length = 1;
    mark.value[0] = static_cast<uint8_t>(byte);
}

void Read(benchmark::State &state)
{
    const bool quoted = state.range(0) != 0;
    TempDirectory directory;
    std::string text;
    while (text.size() < kFileBytes)
        text += kLines[quoted];
    directory.Write("data", text);
    SetMark(TextDelimiter, ',');
    SetMark(OpenQuoteMark, '"');
    SetMark(CloseQuoteMark, '"');
    bQuotedData = quoted ? kOptional : kNo;
    pmToken module = 0, file = 0;
    const pmInitParms parms = {1, "bench", 3};
    const pmAttachParms attach = {};
    pmInit(&parms);
    pmAttach(&attach, 1, &module);
    bLiteralReader = static_cast<uint32_t>(state.range(1));

    uint64_t records = 0;
    pmRecord record = {};
    for (auto _ : state) {
        pmOpen(1, false, 1, nullptr, kBufferSize, 0, directory.File("data").c_str(), module,
               nullptr, &file);
        while (pmRead(file, &record) == pmrcOk)
            ++records;
        pmClose(file);
    }
    pmShutDown(2);
    state.SetBytesProcessed(static_cast<int64_t>(text.size() * state.iterations()));
    state.SetItemsProcessed(static_cast<int64_t>(records));
}

}  // namespace

BENCHMARK(Read)
    ->ArgNames({"quoted", "literal"})
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->Unit(benchmark::kMillisecond);
