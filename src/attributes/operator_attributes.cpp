// attributes/operator_attributes.cpp - who this instance is, its logs, and the general attributes.

#include <cstdio>

#include <unistd.h>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "operator/messages.h"

namespace {

// ---- Instance: before there is any log ----

// clang-format off
constexpr AttributeRow kInstanceAttributes[] = {
    {.name = "SYSTEM_InstanceNumber", .kind = AttrKind::Integer, .target = &ThisInstance,   .required = true, .minimum = 1},
    {.name = "SYSTEM_MaxInstances",   .kind = AttrKind::Integer, .target = &TotalInstances, .required = true, .minimum = 1},
    {.name = "SYSTEM_OperatorType",   .kind = AttrKind::Integer, .target = &OperatorType,   .required = true, .minimum = 1, .maximum = 2},
};
static_assert(RowsAreSound(kInstanceAttributes));
// clang-format on

// ---- Logs ----

constexpr int32_t kLevelNone = 1;
char latency[2];

PxStatus SettleLatency()
{
    SG_LatencyOn = latency[0];
    return PXSTC_Success;
}

PxStatus SettleOperatorName()
{
    if (OperatorNameText[0] != '\0')
        JobOpName = OperatorNameText;
    return ThisInstance == 1 ? FW_StartupMessage<19006>(OpNameStr, OpVersStr) : PXSTC_Success;
}

PxStatus MakeUpLogName()
{
    const char *user = nullptr;
    if (Service(SG_opHandle, &PxOperator::PX_GetUserId, &user) != PXSTC_Success || user == nullptr)
        user = "NOUSERID";
    snprintf(PrivateLogName, sizeof PrivateLogName, "%s-%s-%d", OpModuleName, user, getpid());
    return PXSTC_Success;
}

// clang-format off
constexpr AttrWord kTraceLevels[] = {
    {"NONE", kLevelNone}, {"MILESTONES", 2}, {"IO_COUNTS", 3}, {"IO_BUFFERS", 4}, {"ALL", 5},
};
constexpr AttributeRow kLogAttributes[] = {
    {.name = "SYSTEM_LATENCYON",    .kind = AttrKind::Text, .target = &latency, .required = true, .exact = true, .on_given = SettleLatency},
    {.name = "SYSTEM_OperatorName", .kind = AttrKind::Text, .target = &OperatorNameText, .required = true, .on_given = SettleOperatorName},
    {.name = "TraceLevel",          .kind = AttrKind::Word, .target = &FW_TraceLvl, .absent = 0, .limit = 10, .words = kTraceLevels,
     .valid = "ALL, IO_BUFFERS, IO_COUNTS, MILESTONES or NONE", .unknown = kLevelNone},
    {.name = "PrivateLogName",      .kind = AttrKind::Text, .target = &PrivateLogName, .on_absent = MakeUpLogName},
};
static_assert(RowsAreSound(kLogAttributes));
// clang-format on

// ---- General ----

constexpr uint32_t kMaxTimeOut = 99999;

PxStatus AnnounceRestart()
{
    if (FW_RestartMode == 0)
        return PXSTC_Success;
    BoxLine(__func__, 1, ">>>> RESTART MODE <<<< >>>> RESTART MODE <<<<");
    return FW_StartupMessage<19011>(ThisInstance);
}

bool SomeRowsAreSkipped() { return SkipRows != 0; }

// The zero test comes first: TimeOut = 0 passes on a consumer, SkipRows = 0 does not.
PxStatus CheckTimeOut()
{
    if (FW_TimeOutSeconds == 0)
        return PXSTC_Success;
    if (FW_TimeOutSeconds > kMaxTimeOut) {
        FW_ERROR("'%s' value of %u is not valid (must be >0 & <=%u)", "TimeOut", FW_TimeOutSeconds,
                 kMaxTimeOut);
        return FW_AttributeFatal<19224>("TimeOut", kMaxTimeOut);
    }
    return OperatorType == 1 ? PXSTC_Success : NotAcceptedByConsumer("TimeOut");
}

PxStatus CheckNamedPipeTimeOut()
{
    const bool allowed = FIFO_TimeOutSeconds == 0 || OperatorType == 1;
    return allowed ? PXSTC_Success : NotAcceptedByConsumer("NamedPipeTimeOut");
}

// clang-format off
constexpr AttributeRow kGeneralAttributes[] = {
    {.name = "TraceFunction",      .kind = AttrKind::YesNo,   .target = &bDisplayFuncName,     .boxed = true},
    {.name = "MaxDumpBytes",       .kind = AttrKind::Integer, .target = &MaxBytesToDump,       .absent = 4096, .echo = "%s = %d"},
    {.name = "SYSTEM_RestartMode", .kind = AttrKind::Integer, .target = &FW_RestartMode,       .required = true, .on_given = AnnounceRestart},
    {.name = "RowsPerInstance",    .kind = AttrKind::Integer, .target = &RowsPerInstanceLimit, .absent = -1,   .echo = "%s=%d"},
    {.name = "SkipRows",           .kind = AttrKind::Integer, .target = &SkipRows,             .side = Side::ProducerOnly, .echo = "%s=%d"},
    {.name = "SkipRowsEveryFile",  .kind = AttrKind::YesNo,   .target = &bSkipRowsEveryFile,   .boxed = true,  .wanted = SomeRowsAreSkipped},
    {.name = "EndianFlip",         .kind = AttrKind::YesNo,   .target = &EndianFlip,           .boxed = true},
    {.name = "IndicatorMode",      .kind = AttrKind::YesNo,   .target = &SG_IndicatorData,     .boxed = true},
    {.name = "NullColumns",        .kind = AttrKind::YesNo,   .target = &bNullColumns,         .absent = kYes, .boxed = true},
    {.name = "SYSTEM_CharSetId",   .kind = AttrKind::Text,    .target = &SG_CharSetName,       .upper = true,  .echo = "%s: '%s'"},
    {.name = "TimeOut",            .kind = AttrKind::Integer, .target = &FW_TimeOutSeconds,    .echo = "%s: %d seconds", .on_given = CheckTimeOut},
    {.name = "NamedPipeTimeOut",   .kind = AttrKind::Integer, .target = &FIFO_TimeOutSeconds,  .echo = "%s: %d seconds", .on_given = CheckNamedPipeTimeOut},
};
static_assert(RowsAreSound(kGeneralAttributes));
// clang-format on

}  // namespace

PxStatus ReadInstanceAttributes()
{
    ThisInstance = 1;  // until it is known, so that the first failures are told at all
    JobOpName = OpNameStr;
    return ReadAttributes(kInstanceAttributes);
}

PxStatus ReadLogAttributes() { return ReadAttributes(kLogAttributes); }

PxStatus ReadGeneralAttributes() { return ReadAttributes(kGeneralAttributes); }
