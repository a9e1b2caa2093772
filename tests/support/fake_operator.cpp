// tests/support/fake_operator.cpp - an operator library that does what a test asks for.
//
// Attributes: Rows, how many each instance hands over; Mode, what happens besides:
//
//     ""        nothing          crash     signal 11 at row CrashRow of instance 2
//     fail      status 48 with a message at row CrashRow     early     initiate fails
//     hang      row CrashRow never comes back                wait      answers 68 now and then
//     barrier   three phases of execute                      lie       hands over more than it counts
//     checkpoint  answers 33

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include "fenwire/infrastructure.h"

namespace {

int32_t instance = 0, instances = 0;
int32_t wanted = 0, special_row = 0;
int64_t rows = 0;
std::string mode;
PxSchema *schema = nullptr;
PxLog *log_handle = nullptr;

int32_t Integer(PxOperator *op, const char *name)
{
    const void *value = nullptr;
    int32_t length = 0, number = 0;
    if (op->PX_GetAttribute(op, name, &value, &length) == PXSTC_Success && length == 4)
        memcpy(&number, value, sizeof number);
    return number;
}

std::string Text(PxOperator *op, const char *name)
{
    const void *value = nullptr;
    int32_t length = 0;
    if (op->PX_GetAttribute(op, name, &value, &length) != PXSTC_Success)
        return {};
    return {static_cast<const char *>(value), static_cast<size_t>(length)};
}

void Say(uint32_t number, const char *words)
{
    const PxLogArg args[] = {
        {PX_ARG_TEXT, {"producer[1]:"}}, {PX_ARG_TEXT, {words}}, {PX_ARG_END, {}}};
    log_handle->op->PX_LogWrite(log_handle, number, 3, 6, args);
}

PxStatus Initiate(PxOperator *op, uint32_t phase)
{
    if (phase == 1) {
        PxSchema **list = nullptr;
        int32_t count = 0;
        instance = Integer(op, "SYSTEM_InstanceNumber");
        instances = Integer(op, "SYSTEM_MaxInstances");
        wanted = Integer(op, "Rows");
        special_row = Integer(op, "CrashRow");
        mode = Text(op, "Mode");
        op->PX_Loginit(op, "fake", instance, nullptr, 0, &log_handle);
        op->PX_GetTableSchemaList(op, 3, &list, &count);
        schema = list[0];
        if (mode == "early")
            return PXSTC_FatalError;
        if (instance == 1 &&
            op->PX_CreateGlobalVar(op, "Meeting", 8, static_cast<uint32_t>(instances)) != 0)
            return PXSTC_FatalError;
        return PXSTC_NextPhase;
    }
    // Behind the barrier every instance sees what instance 1 made, and each writes its own element.
    const int64_t mine = 100 + instance;
    if (op->PX_UpdateGlobalVar(op, "Meeting", &mine, sizeof mine,
                               static_cast<uint32_t>(instance)) != 0)
        return PXSTC_FatalError;
    return PXSTC_EndMethod;
}

PxStatus Row(uint32_t number)
{
    static char data[64];
    const uint8_t indicators[2] = {0, number % 3 == 0};
    uint32_t lengths[2] = {
        static_cast<uint32_t>(snprintf(data, sizeof data, "%d-%u", instance, number)), 4};
    const uint32_t offsets[2] = {0, 40};
    memcpy(data + 40, "tail", 4);
    return schema->PX_PutRow(schema, 2, indicators, offsets, lengths, data, 44);
}

PxStatus End(PxOperator *op)
{
    PxFileCounts counts = {};
    counts.index = 1;
    counts.ended = 1;
    counts.records = counts.rows = static_cast<uint64_t>(rows - (mode == "lie" ? 1 : 0));
    op->PX_PutJobStat(op, PX_STAT_FileCounts, PX_STAT_RECORD, &counts, sizeof counts, 0, 0);
    return PXSTC_EndMethod;
}

PxStatus Execute(PxOperator *op, uint32_t phase)
{
    if (rows == wanted)
        return mode == "barrier" && phase < 3 ? PxStatus{PXSTC_NextPhase} : End(op);
    ++rows;
    if (rows == special_row && instance == instances) {
        if (mode == "crash")
            raise(SIGSEGV);
        if (mode == "fail") {
            Say(19100, "because the test wants it");
            return PXSTC_FatalError;
        }
        if (mode == "checkpoint")
            return PXSTC_Checkpoint;
        while (mode == "hang")
            pause();
    }
    if (Row(static_cast<uint32_t>(rows)) != PXSTC_Success)
        return PXSTC_FatalError;
    return mode == "wait" && rows % 2000 == 1999 ? PXSTC_WaitTimeout : PXSTC_SamePhase;
}

PxStatus Terminate(PxOperator *op, uint32_t phase)
{
    if (phase == 1)
        return PXSTC_NextPhase;
    if (instance == 1)
        op->PX_DeleteGlobalVar(op, "Meeting");
    return PXSTC_EndMethod;
}

PxStatus Nothing(PxOperator *, uint32_t) { return PXSTC_NotSupported; }
PxStatus NoEvent(PxOperator *) { return PXSTC_NotSupported; }

PxMethods methods = {"16.10.00.10", "test",  1,       Initiate, Execute,
                     Terminate,     Nothing, Nothing, NoEvent};

}  // namespace

PxStatus PX_GetOperatorMethods(PxMethods **table)
{
    *table = &methods;
    return PXSTC_Success;
}
