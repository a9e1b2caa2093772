// restart/restart_state.h - what a restart keeps between its phases, and what checkpoints carry on.

#ifndef FENWIRE_RESTART_RESTART_STATE_H
#define FENWIRE_RESTART_RESTART_STATE_H

#include <cstdint>

// Values that a user changed while the job ran. They lie in the checkpoint record as they are here.
struct UserUpdates {
    uint8_t bVigilWaitTime, bVigilMaxFiles, bTraceLevel;  // 1: the value below was set
    uint8_t unused;
    int32_t VigilWaitTime, VigilMaxFiles, TraceLevel;
};
static_assert(sizeof(UserUpdates) == 16);

// ---- Checkpoint records -----------------------------------------------------------------------
// Writers: restart/checkpoint.cpp restart/restart.cpp restart/position.cpp operator/execute.cpp
inline UserUpdates PendingUpdates = {};
inline uint8_t *PositionBlock = nullptr;   // of FW_GetPos, until its next call
inline uint8_t *FileSetRecord = nullptr;   // of instance 1: the next one differs in a few places
inline int32_t FileSetRecordFiles = 0;     // how many files' elements stand in it
inline uint32_t RecordInstanceTarget = 0;  // instance whose record error file it is; 0: none
inline uint32_t bExecuteFailed = 0;        // a call failed: where the files stand means nothing now

// ---- Restart ----------------------------------------------------------------------------------
// Writers: restart/restart.cpp
inline uint32_t bRecordFound = 0;
inline uint8_t *RestartPosition = nullptr;  // from the record; freed when it was gone to
inline uint32_t RestartPositionLength = 0;

#endif
