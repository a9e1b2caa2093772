// fileset/balance.cpp

#include "fileset/balance.h"

#include <cstdio>
#include <utility>

#include "fileset/directory_calls.h"
#include "fileset/fileset.h"
#include "operator/messages.h"

namespace {

constexpr uint64_t kBillion = 1'000'000'000;

bool IsLess(const InstanceLoad &a, const InstanceLoad &b)
{
    if (a.billions != b.billions)
        return a.billions < b.billions;
    if (a.rest != b.rest)
        return a.rest < b.rest;
    return a.instance < b.instance;
}

void SiftDown(InstanceLoad *loads, int32_t count, int32_t at)
{
    while (true) {
        int32_t least = at;
        for (int32_t child = 2 * at + 1; child <= 2 * at + 2 && child < count; ++child) {
            if (IsLess(loads[child], loads[least]))
                least = child;
        }
        if (least == at)
            return;
        std::swap(loads[at], loads[least]);
        at = least;
    }
}

void TraceEntry(int32_t index, const FileNamesEntry &entry)
{
    FW_TRACE(4, "%s %d: '%s'", "index", index, entry.Name);
    FW_TRACE(4, "     length %d, instance %d, size %lld, status %d", static_cast<int>(sizeof entry),
             entry.Instance, static_cast<long long>(entry.Size), entry.Status);
}

// The element keeps the instance that it was stored with, or goes to the least loaded one.
PxStatus Assign(int32_t index, InstanceLoad *loads)
{
    FileNamesEntry entry;

    if (const PxStatus status = ReadFileEntry(index, &entry))
        return status;
    TraceEntry(index, entry);
    const int32_t stored = entry.Instance;
    if (index <= TotalInstances) {
        // Kept: the rest may be over a billion here and is compared as it is, so an instance with a
        // huge first file gets one more file early. It is put right with that file.
        loads[index - 1].rest = static_cast<uint64_t>(entry.Size);
        if (index == TotalInstances)
            BuildLoadHeap(loads, TotalInstances);
    } else {
        entry.Instance = GiveToLeastLoaded(loads, TotalInstances, entry.Size);
    }
    FW_TRACE(4, "File '%s' (%lld bytes), assigned to instance=%d", entry.Name,
             static_cast<long long>(entry.Size), entry.Instance);
    return entry.Instance != stored ? UpdateFileEntry(index, &entry) : PXSTC_Success;
}

}  // namespace

void BuildLoadHeap(InstanceLoad *loads, int32_t count)
{
    for (int32_t at = count / 2; at-- > 0;)
        SiftDown(loads, count, at);
}

int32_t GiveToLeastLoaded(InstanceLoad *loads, int32_t count, int64_t bytes)
{
    InstanceLoad &least = loads[0];
    const int32_t instance = least.instance;
    const uint64_t sum = least.rest + static_cast<uint64_t>(bytes);
    least.billions += sum / kBillion;
    least.rest = sum % kBillion;
    SiftDown(loads, count, 0);
    return instance;
}

PxStatus BalanceLoad()
{
    FW_TRACE(2, "Balancing load of %d files across %d instances", DirInfo.FileCount,
             TotalInstances);
    const auto count = static_cast<size_t>(TotalInstances);
    auto *loads = static_cast<InstanceLoad *>(directory_calls.calloc(count, sizeof(InstanceLoad)));
    if (loads == nullptr) {
        char bytes[24];
        snprintf(bytes, sizeof bytes, "%zu", count * sizeof(InstanceLoad));
        FW_ERROR("Unable to allocate %s bytes for the loads of the instances", bytes);
        FW_Message<19140>(bytes);
        return PXSTC_Storage;
    }
    for (size_t i = 0; i < count; ++i)
        loads[i].instance = static_cast<int32_t>(i) + 1;
    PxStatus status = PXSTC_Success;
    for (int32_t index = 1; index <= DirInfo.FileCount && status == PXSTC_Success; ++index)
        status = Assign(index, loads);
    for (size_t i = 0; i < count && status == PXSTC_Success; ++i)
        FW_TRACE(2, "instance %d: %llu billions and %llu bytes", loads[i].instance,
                 static_cast<unsigned long long>(loads[i].billions),
                 static_cast<unsigned long long>(loads[i].rest));
    free(loads);
    return status;
}
