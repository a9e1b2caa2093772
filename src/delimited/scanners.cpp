// delimited/scanners.cpp - the instances of the column scan, and the tables that pick one.

#include <array>
#include <cstddef>
#include <utility>

#include "delimited/scan_columns.h"

template <ScanPolicy P>
static constexpr ScanRoutine Instance()
{
    if constexpr (P.walk == Walk::Columns)
        return &ScanByColumns<P>;
    else
        return &ScanRecord<P>;
}

// The policy of a twin, with the marks of the scanner or with all of them as single bytes.
static constexpr ScanPolicy Lazily(ScanPolicy policy, bool single_bytes)
{
    policy.walk = Walk::Lazily;
    for (Mark ScanPolicy::*mark :
         {&ScanPolicy::delimiter, &ScanPolicy::escape, &ScanPolicy::quotes, &ScanPolicy::trim}) {
        if (single_bytes && policy.*mark != Mark::None)
            policy.*mark = Mark::Byte;
    }
    return policy;
}

template <int N, bool SingleBytes>
static constexpr ScanRoutine TwinOf()
{
    if constexpr (kScanners[N].walk == Walk::Characters)
        return Instance<Lazily(kScanners[N], SingleBytes)>();
    else
        return nullptr;
}

template <size_t... N>
static constexpr auto MakeScanTable(std::index_sequence<N...>)
{
    return std::array<ScanRoutine, sizeof...(N)>{Instance<kScanners[N]>()...};
}

template <bool SingleBytes, size_t... N>
static constexpr auto MakeTwinTable(std::index_sequence<N...>)
{
    return std::array<ScanRoutine, sizeof...(N)>{TwinOf<N, SingleBytes>()...};
}

using ScannerNumbers = std::make_index_sequence<std::size(kScanners)>;
static constexpr auto kScanTable = MakeScanTable(ScannerNumbers());
static constexpr auto kTwinTable = MakeTwinTable<false>(ScannerNumbers());
static constexpr auto kByteTwinTable = MakeTwinTable<true>(ScannerNumbers());
static_assert(kScanTable.size() == 23);

ScanRoutine ScannerNumber(int number) { return kScanTable[static_cast<size_t>(number)]; }

ScanRoutine FastTwin(int number, bool single_bytes)
{
    return (single_bytes ? kByteTwinTable : kTwinTable)[static_cast<size_t>(number)];
}
