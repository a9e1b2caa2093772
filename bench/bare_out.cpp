// bench/bare_out.cpp - the library by itself, writing: one instance, its rows from memory.
//
//     bench_bare_out LIBRARY CHARSET FILE ROWS COLUMNS [ATTRIBUTE=VALUE ...]
//
// COLUMNS: "c1 INTEGER; c2 VARCHAR(20)". A thousand rows of the generator are made and walked before the
// clock starts; then PX_GetRow hands them out again and again. Prints MB/s of the file, its bytes, and the
// CPU seconds of the execute stage.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "bench/library.h"
#include "host/job/column_syntax.h"
#include "host/sources/row_maker.h"

namespace {

constexpr size_t kRowsMade = 1000;

// Rows in the job's layout, with what PX_GetRow tells of each.
struct Pool {
    std::vector<std::vector<uint8_t>> rows;
    std::vector<std::vector<uint8_t>> indicators;
    std::vector<std::vector<uint32_t>> offsets, lengths;
    int32_t columns = 0;
    uint64_t left = 0;
    size_t next = 0;
} pool;

PxStatus HandOut(PxSchema *, int32_t *columns, const uint8_t **indicators, const uint32_t **offsets,
                 const uint32_t **lengths, void **row, uint32_t *row_length)
{
    if (pool.left-- == 0)
        return PXSTC_EndOfData;
    const size_t i = pool.next;
    pool.next = i + 1 < kRowsMade ? i + 1 : 0;
    *columns = pool.columns;
    *indicators = pool.indicators[i].data();
    *offsets = pool.offsets[i].data();
    *lengths = pool.lengths[i].data();
    *row = pool.rows[i].data();
    *row_length = static_cast<uint32_t>(pool.rows[i].size());
    return PXSTC_Success;
}

void MakeRows(const fenwire::Job &job)
{
    const fenwire::RowMaker made(job, fenwire::RowRule{});
    fenwire::RowMaker maker = made;
    const fenwire::RowLayout &layout = maker.layout();
    std::vector<uint8_t> row(layout.most_bytes());
    pool.columns = static_cast<int32_t>(layout.columns());
    for (size_t i = 0; i < kRowsMade; ++i) {
        const size_t bytes = maker.Make(i, row.data());
        pool.rows.emplace_back(row.begin(), row.begin() + static_cast<ptrdiff_t>(bytes));
        pool.indicators.emplace_back(layout.columns());
        pool.offsets.emplace_back(layout.columns());
        pool.lengths.emplace_back(layout.columns());
        uint32_t bad = 0;
        layout.Walk(pool.rows[i].data(), bytes, pool.indicators[i].data(), pool.offsets[i].data(),
                    pool.lengths[i].data(), &bad);
    }
}

void AddColumns(const char *text, Fake &fake, fenwire::Job &job)
{
    std::vector<fenwire::Complaint> found;
    std::istringstream list(text);
    fake.columns.clear();
    for (std::string one; std::getline(list, one, ';');) {
        fenwire::Column column;
        if (!fenwire::ParseColumn(one, {}, column, found)) {
            fprintf(stderr, "no column: %s\n", one.c_str());
            exit(2);
        }
        job.columns.push_back(column);
        FakeColumn shown;
        shown.name = column.name;
        shown.type = column.type;
        shown.length = column.length;
        shown.precision = column.precision;
        shown.scale = column.scale;
        fake.columns.push_back(shown);
    }
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 6) {
        fputs("usage: bench_bare_out LIBRARY CHARSET FILE ROWS COLUMNS [ATTRIBUTE=VALUE ...]\n",
              stderr);
        return 2;
    }
    const PxMethods &methods = Load(argv[1]);
    Fake fake;
    fenwire::Job job;
    job.charset = argv[2];
    fake.integer["SYSTEM_OperatorType"] = 2;
    fake.text["SYSTEM_CharSetId"] = argv[2];
    fake.text["FileName"] = argv[3];
    pool.left = strtoull(argv[4], nullptr, 10);
    AddColumns(argv[5], fake, job);
    for (int i = 6; i < argc; ++i) {
        const std::string word = argv[i];
        fake.text[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
    }
    MakeRows(job);
    Drive(methods.initiate, fake, "initiate");

    PxSchema **list = nullptr;
    int32_t count = 0;
    fake.op()->PX_GetTableSchemaList(fake.op(), 1, &list, &count);
    list[0]->PX_GetRow = HandOut;

    const auto start = std::chrono::steady_clock::now();
    const double cpu = CpuSeconds();
    Drive(methods.execute, fake, "execute");
    const double cpu_spent = CpuSeconds() - cpu;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    const auto bytes = static_cast<double>(std::filesystem::file_size(argv[3]));
    printf("%.0f %.0f %.3f\n", bytes / 1e6 / spent.count(), bytes, cpu_spent);
    return 0;
}
