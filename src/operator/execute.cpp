// operator/execute.cpp - PX_Execute: one bounded piece of work a call, nearly always one row.
//
// A call runs down kExecuteChain from the top and stops at the first step that gives an answer. A
// flag that one call sets is found by the next, so that a barrier or a checkpoint can lie between.
// Once the first call of a phase has passed the checks and no flag is up, a call goes straight to the
// row: IsRowDue is the whole cost that the chain adds to it. A new flag is to be tested there too.
// The numbers are those of the tests; the missing ones belong to features that have a place here.

#include <optional>

#include "attributes/attributes_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "restart/restart_state.h"
#include "rows/rows.h"

namespace {

using Answer = std::optional<PxStatus>;  // empty: this step does not apply, go on with the next
constexpr Answer kNextStep = std::nullopt;

struct ExecuteStep {
    int number;
    Answer (*run)(uint32_t phase);
};

Answer AnswerUnlessGood(PxStatus status)
{
    return status == PXSTC_Success ? kNextStep : Answer(status);
}

Answer RowSizeOfJob(uint32_t phase)
{
    return phase == 1 ? AnswerUnlessGood(CheckJobRowSize()) : kNextStep;
}

Answer DeleteTask(uint32_t)
{
    return bWriting != 0 ? kNextStep : AnswerUnlessGood(CheckForDeleteTask());
}

Answer EnterPhase(uint32_t phase)
{
    if (static_cast<int32_t>(phase) != LastExecutePhase)
        FW_TRACE(2, "Entering phase %u", phase);
    LastExecutePhase = static_cast<int32_t>(phase);
    return kNextStep;
}

Answer EndMethodLatch(uint32_t)
{
    if (bExecuteEndMethod == 0)
        return kNextStep;
    FW_TRACE(1, "%s: %s.  Returning EndMethod", "PX_Execute", "Execute EndMethod flag set");
    return PXSTC_EndMethod;
}

Answer RequestedCheckpoint(uint32_t)
{
    if (bRequestCheckpoint == 0)
        return kNextStep;
    FW_TRACE(1, "Returning Checkpoint request");
    bRequestCheckpoint = 0;
    ++CheckpointCount;
    return PXSTC_Checkpoint;
}

Answer InstanceWithoutFiles(uint32_t)
{
    if (bNoFileForInstance == 0)
        return kNextStep;
    FW_WARN(1, "Null op instance");
    return EndMethod("Setting Execute EndMethod flag");
}

PxStatus ReadTimedOut()
{
    if (FIFO_TimeOutSeconds == 0)
        return PXSTC_WaitTimeout;
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// What anything but a row leads to. 0: there is another file, go on with its rows.
PxStatus AfterNoRow(PxStatus status)
{
    if (status == PXSTC_WaitTimeout)
        return ReadTimedOut();
    if (status == PXSTC_EndOfData)
        status = EndOfFile();
    if (status == PXSTC_EndMethod || status == PXSTC_EndOfData)
        return EndMethod("Setting Execute EndMethod flag");
    return MapStatus(status);
}

// Behind a call that brought no row: another file's first one, or the answer that ends the call.
[[gnu::noinline]] PxStatus GoOnWithoutRow(PxStatus status)
{
    for (;;) {
        const bool end_of_file = status == PXSTC_EndOfData;
        status = AfterNoRow(status);
        if (!end_of_file || status != PXSTC_Success)
            return status;
        status = FW_WriteRow(SG_opHandle);
        if (status == PXSTC_SamePhase)
            return status;
    }
}

PxStatus ProduceRow()
{
    const PxStatus status = FW_WriteRow(SG_opHandle);
    return status == PXSTC_SamePhase ? status : GoOnWithoutRow(status);
}

// Behind a call that wrote no row. What is reported already is returned as it stands.
[[gnu::noinline]] PxStatus GoOnWithoutRowToWrite(PxStatus status)
{
    if (status != PXSTC_EndMethod)
        return status;
    if ((status = File_Out()) != PXSTC_Success)
        return MapStatus(status);
    return EndMethod("Setting Execute EndMethod flag");
}

PxStatus ConsumeRow()
{
    const PxStatus status = FW_ReadRow(SG_opHandle);
    return status == PXSTC_SamePhase ? status : GoOnWithoutRowToWrite(status);
}

PxStatus MoveRow() { return bWriting == 0 ? ProduceRow() : ConsumeRow(); }

// A checkpoint or a restart comes with the flag.
Answer LimitOverAllInstances(uint32_t)
{
    return bAccumulateErrorCounts == 0 ? kNextStep : AnswerUnlessGood(AccumulateErrorCounts());
}

Answer NextRow(uint32_t) { return MoveRow(); }

// clang-format off
constexpr ExecuteStep kExecuteChain[] = {
    {2,  RowSizeOfJob        },
    {3,  DeleteTask          },
    // 4 slaves of several readers of one file
    {5,  EnterPhase          },
    {6,  EndMethodLatch      },
    // 7 and 8 next output file of an archiving consumer; 9 archiving of an active scan's pass
    {10, RequestedCheckpoint },
    // 11 and 12 the next pass of an active scan
    {14, LimitOverAllInstances},  // in front of 13: an instance without files adds up for the others
    {13, InstanceWithoutFiles},
    {15, NextRow             },  // of a consumer; 16 of a producer
};
// clang-format on

[[gnu::noinline]] PxStatus RunChain(uint32_t phase)
{
    for (const ExecuteStep &step : kExecuteChain) {
        if (const Answer answer = step.run(phase))
            return *answer;
    }
    return PXSTC_SamePhase;
}

// Step 5 has stored the phase, so steps 2 and 3 are behind it, and no other step would apply.
bool IsRowDue(uint32_t phase)
{
    return static_cast<int32_t>(phase) == LastExecutePhase &&
           (bExecuteEndMethod | bNoFileForInstance | bAccumulateErrorCounts | bRequestCheckpoint) ==
               0;
}

bool IsFailure(PxStatus status)
{
    return status != PXSTC_NextPhase && status != PXSTC_EndMethod && status != PXSTC_SamePhase &&
           status != PXSTC_Checkpoint && status != PXSTC_WaitTimeout;
}

}  // namespace

PxStatus EndMethod(const char *reason)
{
    bExecuteEndMethod = 1;
    FW_TRACE(1, "%s: %s.  Returning EndMethod", "PX_Execute", reason);
    if (bJobStatsSent == 0)
        PutJobStats();
    return PXSTC_EndMethod;
}

PxStatus PX_Execute(PxOperator *handle, uint32_t phase)
{
    SG_opHandle = handle;
    const PxStatus status = IsRowDue(phase) ? MoveRow() : RunChain(phase);
    if (status != PXSTC_SamePhase) [[unlikely]]
        bExecuteFailed |= IsFailure(status) ? 1 : 0;
    return status;
}
