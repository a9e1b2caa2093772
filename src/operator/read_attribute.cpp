// operator/read_attribute.cpp - attributes that a method reads when it needs them, not at the start.

#include <cstring>

#include "operator/messages.h"
#include "operator/methods.h"

PxStatus AttributeServiceFailed(const char *name, PxStatus status)
{
    if (status == PXSTC_MultiValued)
        return FW_AttributeFatal<19205>(name, "Multi-value", "Single-value");
    return FW_AttributeFatal<19100>("PX_GetAttribute", status);
}

PxStatus ReadRequiredAttribute(const char *name, void *to, int32_t bytes)
{
    const void *value = nullptr;
    int32_t length = 0;

    const PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_GetAttribute, name, &value, &length);
    if (status == PXSTC_NotFound)
        return FW_AttributeFatal<19201>(name);
    if (status != PXSTC_Success)
        return AttributeServiceFailed(name, status);
    if (length != bytes || value == nullptr)
        return FW_AttributeFatal<19202>(name, length, bytes);
    memcpy(to, value, static_cast<size_t>(bytes));
    return PXSTC_Success;
}

PxStatus IsAttributeGiven(const char *name, bool *given)
{
    const void *value = nullptr;
    int32_t length = 0;

    const PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_GetAttribute, name, &value, &length);
    *given = status == PXSTC_Success;
    return *given || status == PXSTC_NotFound ? PXSTC_Success
                                              : AttributeServiceFailed(name, status);
}
