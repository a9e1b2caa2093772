// bench/bare.cpp - the library by itself: one instance, its rows taken by an empty PX_PutRow.
//
//     bench_bare LIBRARY FORMAT CHARSET DELIMITER QUOTED COLUMN,... FILE...
//
// QUOTED: No, Yes or Optional; COLUMN: bytes of each, TYPE:BYTES with the type's code where it is no
// VARCHAR. DELIMITER and QUOTED count for delimited files only. Prints MB/s of the execute stage, rows, and the
// CPU seconds. What a load through the runner takes longer is the runner's cost.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/library.h"

namespace {

uint64_t rows_taken;

PxStatus TakeRow(PxSchema *, int32_t, const uint8_t *, const uint32_t *, const uint32_t *,
                 const void *, uint32_t)
{
    ++rows_taken;
    return 0;
}

void AddColumns(Fake &fake, const char *lengths)
{
    fake.columns.clear();
    for (char *at = const_cast<char *>(lengths); *at != '\0'; at += *at == ',') {
        FakeColumn column;
        column.name = "c" + std::to_string(fake.columns.size());
        column.length = static_cast<uint32_t>(strtoul(at, &at, 10));
        if (*at == ':') {
            column.type = column.length;
            column.length = static_cast<uint32_t>(strtoul(at + 1, &at, 10));
        }
        fake.columns.push_back(column);
    }
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 8) {
        fputs("usage: bench_bare LIBRARY FORMAT CHARSET DELIMITER QUOTED COLUMN,... FILE\n",
              stderr);
        return 2;
    }
    const PxMethods &methods = Load(argv[1]);
    Fake fake;
    fake.text["Format"] = argv[2];
    fake.text["SYSTEM_CharSetId"] = argv[3];
    if (fake.text["Format"] == "Delimited") {
        fake.text["TextDelimiter"] = argv[4];
        fake.text["QuotedData"] = argv[5];
    }
    fake.text["FileName"] = argv[7];
    AddColumns(fake, argv[6]);
    Drive(methods.initiate, fake, "initiate");

    PxSchema **list = nullptr;
    int32_t count = 0;
    fake.op()->PX_GetTableSchemaList(fake.op(), 1, &list, &count);
    list[0]->PX_PutRow = TakeRow;

    const auto start = std::chrono::steady_clock::now();
    const double cpu = CpuSeconds();
    Drive(methods.execute, fake, "execute");
    const double cpu_spent = CpuSeconds() - cpu;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    const auto bytes = static_cast<double>(std::filesystem::file_size(argv[7]));
    printf("%.0f %llu %.3f\n", bytes / 1e6 / spent.count(),
           static_cast<unsigned long long>(rows_taken), cpu_spent);
    return 0;
}
