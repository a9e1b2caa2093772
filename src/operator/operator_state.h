// operator/operator_state.h - process-wide state of the operator frame.
//
// One set per instance, since an instance is a process. Every variable stands here once, with its
// initial value. A section names the files that may write its variables; anybody may read them.
// tools/state_writers.py holds the code to that (ctest: rules.state_writers).

#ifndef FENWIRE_OPERATOR_OPERATOR_STATE_H
#define FENWIRE_OPERATOR_OPERATOR_STATE_H

#include <cstdint>

#include "infrastructure/infrastructure.h"

inline constexpr char OpNameStr[] = "Fenwire";
inline constexpr char OpVersStr[] = "16.10.00.10";
inline constexpr char OpModuleName[] = "fwrop";
inline constexpr char OpModuleVers[] = "16.10.00.10";

// ---- Instance identity ------------------------------------------------------------------------
// Writers: operator/methods.cpp operator/initiate.cpp operator/execute.cpp operator/terminate.cpp operator/event.cpp operator/fw_initiate.cpp attributes/operator_attributes.cpp attributes/file_attributes.cpp
// Settled in initiate phase 1, constant from then on.
inline PxOperator *SG_opHandle = nullptr;  // stored anew at every method entry: it may move
inline int32_t ThisInstance = 1;  // 1 before the attribute is read, so that early errors show
inline int32_t TotalInstances = 0;
inline int32_t OperatorType = 0;  // 1 producer, 2 consumer
inline uint32_t bWriting = 0;     // consumer instance
inline int32_t FW_RestartMode = 0;
inline uint32_t Reading = 0;  // the file is read; set with OpenMode
inline const char *JobOpName = OpNameStr;

// ---- Logs, trace level, exit code -------------------------------------------------------------
// Writers: operator/initiate.cpp operator/fw_initiate.cpp operator/messages.cpp operator/messages.h operator/terminate.cpp attributes/operator_attributes.cpp restart/restart.cpp
inline PxLog *Public_loghandle = nullptr;  // null: too early or too late for numbered messages
inline PxLog *Private_loghandle = nullptr;
inline int32_t FW_TraceLvl = 5;                // 5 only until TraceLevel has been read
inline int32_t StatsTraceLevel = 0;            // level from which statistics lines are written
inline int32_t bDisplayFuncName = 1;           // trace lines carry the routine's name
inline uint32_t TimeStampMessages = 0;         // the next trace lines carry the time
inline uint32_t FW_StatsOnly = 0;              // the private log holds statistics only
inline int16_t CurrentExitCode = 0;            // only ever rises
inline int16_t NewExitCode = 0;                // the code last asked for
inline PxStatus LastPxStatus = PXSTC_Success;  // last service of the method layer
inline PxStatus LastFwStatus = PXSTC_Success;  // last service of the FW_ layer
inline int32_t LogStatus = 0;                  // result of the last log write

// ---- Time -------------------------------------------------------------------------------------
// Writers: operator/clock.cpp
inline int64_t CurrentSystemTime = 0;  // seconds, of the last FetchCurrentTime

// ---- Row counters -----------------------------------------------------------------------------
// Writers: rows/write_row.cpp rows/read_row.cpp operator/file_info.cpp operator/access.cpp delimited/record_error_write.cpp restart/position.cpp restart/restart.cpp
// Zeroed at the end of FW_FenwireFileInfo; those of the current file also by FW_FenwireOpen. 64 bits
// inside; layouts and messages that hold 32 take the low half.
inline uint64_t RowCount = 0;  // rows handed over by this instance
inline uint64_t FileRecordCount =
    0;                            // records of the current file: delivered or refused, not skipped
inline uint64_t RowsSkipped = 0;  // records dropped through SkipRows
inline uint32_t bSkipRowsDone = 0;  // SkipRows is used up; cleared at file open if each file skips
inline uint64_t FileRowsSkipped = 0;  // the same, of the current file
inline uint64_t FileRowCount = 0;     // rows handed over from the current file
inline uint64_t FileRecordsBefore = 0,
                FileRowsSkippedBefore = 0;  // part that an earlier run counted
inline uint32_t SG_ErrorRowCount = 0;       // bad records that went to the record error file

// ---- Initiate ---------------------------------------------------------------------------------
// Writers: operator/initiate.cpp operator/terminate.cpp
inline uint32_t bInitPhase1Done = 0;    // the attributes are read, which is done once
inline uint32_t bOperatorInUse = 0;     // a process is one instance and never two
inline char EciOperatorId[320] = "";    // of the command interface; empty: not open
inline int32_t ExecuteSuccessFlag = 0;  // execute passed, as the infrastructure tells at the end

// ---- Execute ----------------------------------------------------------------------------------
// Writers: operator/execute.cpp operator/end_of_file.cpp operator/first_calls.cpp operator/init_phase2.cpp operator/terminate.cpp delimited/record_error_counts.cpp operator/checkpoint.cpp restart/restart.cpp
inline uint64_t EvtRecordCount = 0;       // records of finished files
inline uint32_t EvtFileCount = 0;         // finished files, for the statistics
inline uint32_t bExecuteEndMethod = 0;    // latch: once set, every further call answers 42
inline uint32_t EvtCkptCount = 0;         // checkpoints taken
inline uint32_t CheckpointCount = 0;      // those that this operator asked for
inline uint32_t bRequestCheckpoint = 0;   // the next call asks for a checkpoint
inline uint32_t FilesThisInstance = 0;    // files finished here
inline uint32_t TotalFilesProcessed = 0;  // instance 1: all instances' files
inline double CpuSecondsTotal = 0, FileStartCpu = 0;
inline uint32_t bNoFileForInstance = 0;      // this instance has no file now
inline uint32_t bAccumulateErrorCounts = 0;  // a checkpoint published the counts of bad records
inline uint32_t JobMaxRowSize = 64;          // KB
inline uint32_t bJobMaxRowSizeRead = 0;
inline const uint8_t *SingleRowForZarnDelete = nullptr;  // 1 there: a delete task, one row only
inline uint32_t FirstTimeReadSingleRowForZarnDelete = 1;
inline int32_t LastExecutePhase = -1;

// ---- Statistics -------------------------------------------------------------------------------
// Writers: operator/statistics.cpp operator/init_phase2.cpp
inline uint32_t bJobStatsSent = 0;
inline uint32_t bFileCountsDue = 0;  // a file was begun, and its counts were not sent yet

#endif
