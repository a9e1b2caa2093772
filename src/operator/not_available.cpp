// operator/not_available.cpp - the one end of everything that this version does not have yet.

#include "operator/messages.h"

PxStatus NotAvailable(const char *attribute, const char *feature)
{
    FW_ERROR("'%s': %s is not available in this version", attribute, feature);
    return FW_AttributeFatal<19990>(attribute, feature);
}
