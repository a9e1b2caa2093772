// operator/read_attribute.cpp - attributes that a method reads when it needs them, not at the start.

#include <cstring>

#include "attributes/attribute_table.h"
#include "operator/messages.h"
#include "operator/methods.h"

PxStatus ReadRequiredAttribute(const char *name, void *to, int32_t bytes)
{
    const void *value = nullptr;

    const PxStatus status = FetchAttribute(name, &value);
    if (status == PXSTC_NotFound)
        return FW_AttributeFatal<19201>(name);
    if (status != PXSTC_Success)
        return status;
    if (PX_Len != bytes)
        return FW_AttributeFatal<19202>(name, PX_Len, bytes);
    memcpy(to, value, static_cast<size_t>(bytes));
    return PXSTC_Success;
}
