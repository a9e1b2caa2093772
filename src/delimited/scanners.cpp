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

static constexpr ScanPolicy Lazily(ScanPolicy policy)
{
    policy.walk = Walk::Lazily;
    return policy;
}

template <int N>
static constexpr ScanRoutine TwinOf()
{
    if constexpr (kScanners[N].walk == Walk::Characters)
        return Instance<Lazily(kScanners[N])>();
    else
        return nullptr;
}

template <size_t... N>
static constexpr auto MakeScanTable(std::index_sequence<N...>)
{
    return std::array<ScanRoutine, sizeof...(N)>{Instance<kScanners[N]>()...};
}

template <size_t... N>
static constexpr auto MakeTwinTable(std::index_sequence<N...>)
{
    return std::array<ScanRoutine, sizeof...(N)>{TwinOf<N>()...};
}

using ScannerNumbers = std::make_index_sequence<std::size(kScanners)>;
static constexpr auto kScanTable = MakeScanTable(ScannerNumbers());
static constexpr auto kTwinTable = MakeTwinTable(ScannerNumbers());
static_assert(kScanTable.size() == 23);

ScanRoutine ScannerNumber(int number) { return kScanTable[static_cast<size_t>(number)]; }

ScanRoutine FastTwin(int number) { return kTwinTable[static_cast<size_t>(number)]; }
