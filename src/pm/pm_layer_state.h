// pm/pm_layer_state.h - what the access layer keeps for itself.

#ifndef FENWIRE_PM_PM_LAYER_STATE_H
#define FENWIRE_PM_PM_LAYER_STATE_H

#include <cstdint>

struct Paramod;

// A piece of memory that a token stands for.
struct MemoryEntry {
    void *piece;
    uint32_t length;
    uint8_t flag;  // 1 in use, 2 free
};
inline constexpr uint32_t kMemoryEntries = 1000;
inline constexpr uint8_t kEntryInUse = 1, kEntryFree = 2;

// ---- The layer --------------------------------------------------------------------------------
// Writers: pm/modules.cpp
inline uint32_t bPmInitialised = 0;
inline Paramod *SG_Paramod_1st = nullptr, *SG_Paramod_last = nullptr;
inline uint32_t pmGlobalTraceLvl = 1;  // what a new module starts with
inline uint32_t bLiteralReader = 0;    // FENWIRE_LITERAL_READER=1: text is read byte by byte

// ---- Trace ------------------------------------------------------------------------------------
// Writers: pm/modules.cpp pm/handles.h pm/handles.cpp
inline uint32_t pmTraceLvl = 1;  // of the object at hand: the one word that every trace site tests

// ---- Memory by token --------------------------------------------------------------------------
// Writers: pm/pm_memory.cpp
inline MemoryEntry MemoryTable[kMemoryEntries] = {};
inline uint32_t MemoryEntryCount = 0;

#endif
