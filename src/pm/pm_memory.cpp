// pm/pm_memory.cpp

#include "pm/pm_memory.h"

#include <cstdio>
#include <cstring>

#include "pm/disk/os_calls.h"
#include "pm/pm_trace.h"

namespace {

struct Block {
    Block *next;
    uint8_t *free;
    uint32_t size, remaining;
};
constexpr uint32_t kHeader = sizeof(Block);
static_assert(kHeader == 24);
constexpr uint32_t kAlignment = 8;
constexpr uint32_t kLongestPiece = UINT32_MAX - kHeader;
constexpr int kPools = 16;

struct PoolStack {
    Block *blocks[kPools] = {};
    int depth = 0;
};
PoolStack pools;

MemoryEntry *BestFit(uint32_t size)
{
    MemoryEntry *best = nullptr;
    for (uint32_t i = 0; i < MemoryEntryCount; ++i) {
        MemoryEntry &entry = MemoryTable[i];
        if (entry.flag == kEntryFree && entry.length >= size &&
            (best == nullptr || entry.length < best->length))
            best = &entry;
    }
    return best;
}

Block *NewBlock(uint32_t size)
{
    const uint32_t bytes = size > DFLTSIZE - kHeader ? size + kHeader : DFLTSIZE;
    auto *block = static_cast<Block *>(os.calloc(1, bytes));
    if (block == nullptr)
        return nullptr;
    Block *&newest = pools.blocks[pools.depth - 1];
    *block = {.next = newest,
              .free = reinterpret_cast<uint8_t *>(block) + kHeader,
              .size = bytes,
              .remaining = bytes - kHeader};
    return newest = block;
}

void *Cut(uint32_t size)
{
    Block *block = pools.blocks[pools.depth - 1];
    while (block != nullptr && block->remaining < size)
        block = block->next;
    if (block == nullptr && (block = NewBlock(size)) == nullptr)
        return nullptr;
    void *piece = block->free;
    block->free += size;
    block->remaining -= size;
    return piece;
}

MemoryEntry *NewEntry(uint32_t size)
{
    if (MemoryEntryCount + 1 >= kMemoryEntries) {
        PM_TRACE(1, "!ERROR! Number of memory segments >%u", kMemoryEntries);
        return nullptr;
    }
    void *piece = pools.depth > 0 && size != 0 ? Cut(size) : nullptr;
    if (piece == nullptr) {
        PM_TRACE(1, "!ERROR! pmMMGet failed");
        return nullptr;
    }
    MemoryEntry *entry = &MemoryTable[MemoryEntryCount++];
    *entry = {.piece = piece, .length = size, .flag = kEntryFree};
    return entry;
}

// 0 when the piece would be longer than a block can be.
uint32_t Aligned(uint32_t size)
{
    const uint64_t aligned = (uint64_t{size} + kAlignment - 1) / kAlignment * kAlignment;
    return aligned > kLongestPiece ? 0 : static_cast<uint32_t>(aligned);
}

}  // namespace

int pmMMNewPool()
{
    if (pools.depth + 1 >= kPools) {
        PM_TRACE(1, "!ERROR! Number of memory pools >%d", kPools);
        return -1;
    }
    pools.blocks[pools.depth++] = nullptr;
    return 0;
}

void *pmGetMem(uint32_t size, pmToken *token, bool clear)
{
    *token = 0;
    MemoryEntry *entry = BestFit(size);
    if (entry == nullptr && (entry = NewEntry(Aligned(size))) == nullptr)
        return nullptr;
    entry->flag = kEntryInUse;
    if (clear)
        memset(entry->piece, 0, size);
    *token = static_cast<pmToken>(entry - MemoryTable) + 1;
    return entry->piece;
}

void pmFreeMem(pmToken token)
{
    if (pmGetMemA(token) != nullptr)
        MemoryTable[token - 1].flag = kEntryFree;
}

void pmMMFreePool()
{
    if (pools.depth == 0)
        return;
    MemoryEntryCount = 0;
    Block *block = pools.blocks[--pools.depth];
    while (block != nullptr) {
        Block *next = block->next;
        free(block);
        block = next;
    }
}

void pmMMDiag()
{
    uint64_t used = 0, allocated = 0;
    for (int i = 0; i < pools.depth; ++i) {
        for (const Block *block = pools.blocks[i]; block != nullptr; block = block->next) {
            allocated += block->size;
            used += block->size - block->remaining;
        }
    }
    printf("Memory Management Diagnostics:\n");
    printf("Total Memory used     =%llu bytes\n", static_cast<unsigned long long>(used));
    printf("Total Memory allocated=%llu bytes\n", static_cast<unsigned long long>(allocated));
    printf("Current minimum allocation (DFLTSIZE)=%u bytes\n", DFLTSIZE);
    printf("%u of %u (max) MM entries in table\n", MemoryEntryCount, kMemoryEntries);
    printf("Index  Address     Length UseFlag\n");
    for (uint32_t i = 0; i < MemoryEntryCount; ++i) {
        const MemoryEntry &entry = MemoryTable[i];
        printf("%05u %08llX %10u %d\n", i + 1,
               static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(entry.piece)),
               entry.length, entry.flag);
    }
}
