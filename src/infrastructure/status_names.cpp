// infrastructure/status_names.cpp - the words for a PxStatus.

#include "infrastructure/infrastructure.h"

namespace {

// By status. 32 bytes each, so that an infrastructure's tools find the words in a dump.
constexpr char kStatusNames[PXSTC_StatusCount][32] = {
    "Success",
    "Bad Handle",
    "Invalid Argument",
    "Not Active",
    "Warning",
    "Not Found",
    "Not Enough",
    "Unknown Error",
    "System Error",
    "Protocol Error",
    "Time Out",
    "End Of Processing",
    "End Of Data",
    "Conflict",
    "Catalog Error",
    "Object Busy",
    "Not Supported",
    "Discard Row",
    "Null Table",
    "Storage",
    "Count Error",
    "Null Pointer",
    "Size",
    "Operator Error",
    "Path Error",
    "Parser Error",
    "Duplicate",
    "Open Error",
    "Syntax Error",
    "Length Error",
    "Full",
    "Communication Error",
    "Null Handle",
    "Checkpoint",
    "Checkpoint Not Ready",
    "Checkpoint Ready",
    "IO Error",
    "Multi Phase Error",
    "Null Row",
    "Invalid DataType",
    "DataStream Error",
    "Next Phase",
    "End Method",
    "Same Phase",
    "Schema Error",
    "Row Error",
    "Metadata Error",
    "Retry Error",
    "Fatal Error",
    "Invalid Name",
    "Node Error",
    "Task Error",
    "Group Error",
    "Log Communication Error",
    "Log File Error",
    "Log Password",
    "Log XDR Error",
    "Log Insufficient Memory Error",
    "Loghandle",
    "No Log Record",
    "No Message Catalog",
    "No Row",
    "Flush Rows",
    "Invalid Tree",
    "Synchronize",
    "SynchronizeMaster",
    "SynchronizeSlave",
    "DataAcquisitionDone",
    "WaitTimeout",
    "UserRestart",
    "ErrorLimitExceeded",
    "JumpPhase",
};

}  // namespace

const char *PxStatusName(PxStatus status)
{
    if (status < 0 || status >= PXSTC_StatusCount)
        return "Unknown Status";
    return kStatusNames[status];
}
