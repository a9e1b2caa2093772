// restart/restart.h - checkpoint records, and the way back to them.
//
//   FW_GetPos      where the data file and the record error file stand, as one block
//   FW_Repos       back to such a block
//   PX_Checkpoint  writes the record of this instance; instance 1's holds the whole file set
//   PX_Restart     reads it back: phase 1 the file set, phase 2 the position

#ifndef FENWIRE_RESTART_RESTART_H
#define FENWIRE_RESTART_RESTART_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// The block stays FW_GetPos's own until the next call. length 0, and no block, where there is no file.
PxStatus FW_GetPos(uint32_t *length, const uint8_t **block);
PxStatus FW_Repos(uint32_t length, const uint8_t *block);

// For a caller that has no file set.
PxStatus FW_Checkpoint(PxOperator *handle);
PxStatus FW_Restart(PxOperator *handle);

#endif
