// pm/versions.cpp - the levels of the access layer's components, as the job's log shows them.

#include <cstring>

#include "pm/handles.h"

namespace {

pmVersion versions[] = {
    {"PMPROCS", "", nullptr},
    {"PMRWFMT", "16.10.00.01", nullptr},
    {"PMHADOOP", "16.10.00.01", nullptr},
    {"PMTRCE", "16.00.00.01", nullptr},
    {"PMMM", "15.10.00.03", nullptr},
    {"FWUDDI", "16.10.00.09", nullptr},
    {"PMHEXDMP", "16.00.00.02", nullptr},
    {"PMHDFSDSK", "16.00.00.01", nullptr},
};
constexpr char kOwnVersion[] = "16.10.00.02";
pmVersion local_disk = {"PMUNXDSK", "16.10.00.02", nullptr};

// A module's record takes the place of the local disk's at the chain's end.
void Chain(pmVersion *end)
{
    memcpy(versions[0].version, kOwnVersion, sizeof kOwnVersion);
    pmVersion *previous = nullptr;
    for (pmVersion &version : versions) {
        if (previous != nullptr)
            previous->next = &version;
        previous = &version;
    }
    previous->next = end;
}

}  // namespace

int pmGetID(pmToken handle, const pmVersion **first)
{
    int code = pmrcOk;
    *first = nullptr;
    if (handle != 0 && EnterModule(__func__, handle, &code) == nullptr)
        return code;
    Chain(&local_disk);
    *first = versions;
    return pmrcOk;
}
