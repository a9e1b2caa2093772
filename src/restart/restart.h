// restart/restart.h - checkpoint records, and the way back to them.
//
//   FW_GetPos      where the data file and the record error file stand, as one block
//   FW_Repos       back to such a block
//
// The methods PX_Checkpoint and PX_Restart (operator/checkpoint.cpp) call the rest in this order:
//
//   checkpoint          every instance    WriteCheckpointRecord
//   restart, phase 1    instance 1        RestoreFileSet     the files, their owners and states
//   restart, phase 2    the others        ReadOwnRecord      the place in the own list of files
//                       every instance    (the current file is opened)
//                       every instance    ResumePosition     FW_Repos, and counts that follow

#ifndef FENWIRE_RESTART_RESTART_H
#define FENWIRE_RESTART_RESTART_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

// The block stays FW_GetPos's own until the next call. 0 or 48, reported.
PxStatus FW_GetPos(uint32_t *length, const uint8_t **block);

// The files are open. Nothing in the block is believed before it was held to length. 0 or 48, reported.
PxStatus FW_Repos(uint32_t length, const uint8_t *block);

// For a caller that has no file set: the position is all of the record. SG_opHandle is handle.
PxStatus FW_Checkpoint(PxOperator *handle);
PxStatus FW_Restart(PxOperator *handle);

// Instance 1 always writes one, the others with a file open only. 0 or 48, reported.
PxStatus WriteCheckpointRecord();

// Without a record the file set is built as on a first start. 0, 48, or what BuildGlobalInfo answers.
PxStatus RestoreFileSet();

// For an instance above 1, before it takes its first file. 0 or 48; no record is no failure.
PxStatus ReadOwnRecord();

// Behind the open of the current file, or where there was none to open. 0 or 48, reported.
PxStatus ResumePosition();

#endif
