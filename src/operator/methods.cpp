// operator/methods.cpp - the one exported symbol, and what all methods do on entry.

#include "operator/methods.h"

#include <cstdio>

#include "operator/messages.h"

namespace {

PxMethods methods = {
    .interface_version = OpVersStr,
    .operator_version = OpVersStr,
    .flag = 1,
    .initiate = PX_Initiate,
    .execute = PX_Execute,
    .terminate = PX_Terminate,
    .checkpoint = PX_Checkpoint,
    .restart = PX_Restart,
    .event = PX_Event,
};

}  // namespace

PxStatus PX_GetOperatorMethods(PxMethods **table)
{
    *table = &methods;
    return PXSTC_Success;
}

void EnterMethod(PxOperator *handle, const char *method, uint32_t phase)
{
    SG_opHandle = handle;
    FW_TRACE(4, "Method %s entry:  Phase %u", method, phase);
}

PxStatus InvalidPhase(uint32_t phase)
{
    char text[12];
    snprintf(text, sizeof text, "%u", phase);
    FW_ERROR("Invalid Phase (%u) received", phase);
    return FW_Fatal<19148>(text);
}
