// pm/pm_memory.h - memory behind 32-bit tokens, which are the handles of the access layer.
//
// A pool is a list of blocks; one table of entries maps tokens (index + 1) to pieces of blocks. A
// freed piece keeps its length and serves the next request that it fits best. Pieces are aligned to
// eight bytes.

#ifndef FENWIRE_PM_PM_MEMORY_H
#define FENWIRE_PM_PM_MEMORY_H

#include <cstdint>

#include "pm/pm.h"
#include "pm/pm_layer_state.h"

inline constexpr uint32_t DFLTSIZE = 65536;  // bytes of a block, its header counted

int pmMMNewPool();  // 0; -1: 16 pools are too many
void pmMMFreePool();

// A piece of size bytes and its token. clear: zeroed, else with whatever lay there. Null, and token 0,
// when the table is full or there is no memory; that is traced.
void *pmGetMem(uint32_t size, pmToken *token, bool clear);

// The piece of a token. Null for 0, for an unknown one and for one that was freed.
inline void *pmGetMemA(pmToken token)
{
    if (token == 0 || token > MemoryEntryCount || MemoryTable[token - 1].flag != kEntryInUse)
        return nullptr;
    return MemoryTable[token - 1].piece;
}

void pmFreeMem(pmToken token);  // an invalid token is ignored
void pmMMDiag();                // to standard output

#endif
