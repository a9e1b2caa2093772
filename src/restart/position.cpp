// restart/position.cpp - FW_GetPos and FW_Repos.

#include "operator/messages.h"
#include "restart/restart.h"

PxStatus FW_GetPos(uint32_t *length, const uint8_t **block)
{
    *length = 0;
    *block = nullptr;
    return PXSTC_NotSupported;
}

PxStatus FW_Repos(uint32_t, const uint8_t *) { return PXSTC_NotSupported; }
PxStatus FW_Checkpoint(PxOperator *) { return PXSTC_NotSupported; }
PxStatus FW_Restart(PxOperator *) { return PXSTC_NotSupported; }
