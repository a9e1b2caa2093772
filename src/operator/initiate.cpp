// operator/initiate.cpp - PX_Initiate: from nothing to the point where the first row can move.
//
// Phase 1 runs down kPhase1Steps. Each instance does on its own what it can; then instance 1 alone
// finds the files and publishes them. The barrier follows, and phase 2 (init_phase2.cpp) takes and
// opens each instance's first file. The first step that fails ends the method; nothing is undone,
// since terminate copes with a partly initiated instance. The numbers are those of the tests.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "fileset/fileset.h"
#include "operator/methods.h"
#include "pm/pm.h"

namespace {

constexpr char kMainSourceVersion[] = "16.10.00.12";

enum class Share : uint8_t { All, InstanceOne };

struct InitiateStep {
    int number;
    Share share;
    PxStatus (*run)();  // 0: go on; anything else is the method's answer
};

PxStatus RefuseSecondUse()
{
    if (bOperatorInUse == 0)
        return PXSTC_Success;
    FW_ERROR("Operator already in use");
    FW_ERROR("operator ID: '%s'", OpNameStr);
    return FW_Fatal<19116>();
}

// clang-format off
constexpr AttributeRow kNotifyAttributes[] = {
    {.name = "NotifyMethod", .kind = AttrKind::Refused, .feature = "notify exits"},
    {.name = "NotifyLevel",  .kind = AttrKind::Refused, .feature = "notify exits"},
    {.name = "NotifyExit",   .kind = AttrKind::Refused, .feature = "notify exits"},
    {.name = "NotifyString", .kind = AttrKind::Refused, .feature = "notify exits"},
};
static_assert(RowsAreSound(kNotifyAttributes));
// clang-format on

// Producers may report to notify exits, consumers write.
PxStatus SettleSide()
{
    bWriting = OperatorType == 2;
    return bWriting != 0 ? PXSTC_Success : ReadAttributes(kNotifyAttributes);
}

PxStatus NameGlobalVariables()
{
    FW_TRACE(1, "Operator '%s' main source version:'%s'", OpModuleName, kMainSourceVersion);
    snprintf(DirInfoVarName, sizeof DirInfoVarName, "DirInfo");
    snprintf(FileNamesVarName, sizeof FileNamesVarName, "FileNames");
    FW_TRACE(1, "%s global variable name: '%s'", "DirInfo", DirInfoVarName);
    FW_TRACE(1, "%s global variable name: '%s'", "FileNames", FileNamesVarName);
    BoxRule(__func__, 1);
    BoxLine(__func__, 1, "> Operator attribute Definitions <");
    BoxRule(__func__, 1);
    return PXSTC_Success;
}

PxStatus AnnounceOperator()
{
    return bWriting != 0 ? FW_StartupMessage<19007>(OpNameStr, TotalInstances)
                         : FW_StartupMessage<19008>(OpNameStr, TotalInstances);
}

PxStatus CreateErrorFlags()
{
    constexpr char kName[] = "InstanceGotError";
    const uint32_t no_error = 0;

    PxStatus status =
        Service(SG_opHandle, &PxOperator::PX_CreateGlobalVar, kName,
                static_cast<uint32_t>(sizeof no_error), static_cast<uint32_t>(TotalInstances));
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_CreateGlobalVar", status);
    for (int32_t instance = 1; instance <= TotalInstances; ++instance) {
        status = Service(SG_opHandle, &PxOperator::PX_UpdateGlobalVar, kName,
                         static_cast<const void *>(&no_error),
                         static_cast<uint32_t>(sizeof no_error), static_cast<uint32_t>(instance));
        if (status != PXSTC_Success)
            return ServiceFailed(__func__, "PX_UpdateGlobalVar", status);
    }
    return PXSTC_Success;
}

PxStatus DefaultDirectory()
{
    if (getcwd(DirectoryPath, kMaxPath) == nullptr) {
        const int why = errno;
        char text[256];
        snprintf(text, sizeof text, "getcwd:%s", strerror(why));
        FW_ERROR("can not obtain working directory via function '%s'", "getcwd");
        return FW_AttributeFatal<19100>(text, why);
    }
    FW_TRACE(1, "%s defaulting to: '%s'", "DirectoryPath", DirectoryPath);
    return PXSTC_Success;
}

// The directory goes to all instances with the files, as instance 1 has it.
PxStatus SettleDirectory()
{
    if (DirectoryPath[0] == '\0') {
        if (const PxStatus status = DefaultDirectory())
            return status;
    }
    EndWithSeparator(DirectoryPath, sizeof DirectoryPath);
    DirInfo = {};
    DirInfo.DirNameSpecified = static_cast<int32_t>(bDirectoryPathGiven);
    snprintf(DirInfo.DirName, sizeof DirInfo.DirName, "%s", DirectoryPath);
    return PXSTC_Success;
}

// Files that a scan finds are dealt whole, so several readers of one file have nothing to share.
PxStatus SettleReaders()
{
    if (bAllowMultiInstanceRead == 0)
        return PXSTC_Success;
    if (bEnableScan != kYes)
        return NotAvailable("MultipleReaders", "several readers of one file");
    bAllowMultiInstanceRead = 0;
    if (ThisInstance == 1)
        FW_Message<19232>("MultipleReaders");
    return PXSTC_Success;
}

// A writer's file goes where its own path says; a reader's job is told that it says two things.
PxStatus PathGivenTwice()
{
    if (bWriting != 0) {
        FW_WARN(1, "%s %s attribute ('%s') %s %s attribute ('%s')",
                "For consumer instance (writing), specification of", "DirectoryPath", DirectoryPath,
                "conflicts with specification of", "FileName", FW_FileName);
        return PXSTC_Success;
    }
    FW_ERROR("Attribute '%s' ('%s') has a path of its own and can not be used with '%s'",
             "FileName", FW_FileName, "DirectoryPath");
    return FW_AttributeFatal<19209>("DirectoryPath", "FileName");
}

// A directory is searched only for a pattern, and only below DirectoryPath.
PxStatus SettleScan()
{
    const bool has_path = strchr(FW_FileName, SG_PathSeparater[0]) != nullptr;

    if (has_path && bDirectoryPathGiven != 0) {
        if (const PxStatus status = PathGivenTwice())
            return status;
    }
    if (bEnableScan == kYes && strchr(FW_FileName, '*') == nullptr) {
        FW_TRACE(4, "No File Pattern, Directory Scan Disabled");
        bEnableScan = kNo;
    } else if (bEnableScan == kYes && has_path) {
        FW_TRACE(4, "Absolute File Path, Directory Scan Disabled");
        bEnableScan = kNo;
    }
    ComposeFullPath(CurrentFullPath, sizeof CurrentFullPath, FW_FileName);
    FW_TRACE(1, "Full File Path: %s", CurrentFullPath);
    return SettleReaders();
}

PxStatus FinishOwnPart()
{
    bOperatorInUse = 1;
    StatsTraceLevel = 2;
    if (FW_StatsOnly != 0) {
        BoxRule(__func__, 1);
        BoxLine(__func__, 1, "> Log will include stats only <");
        BoxRule(__func__, 1);
        FW_TraceLvl = StatsTraceLevel = 1;
        pmTrace(1, nullptr, 1);
    }
    return PXSTC_Success;
}

PxStatus LeaveToInstanceOne()
{
    return ThisInstance == 1 ? PXSTC_Success : PxStatus{PXSTC_NextPhase};
}

// A job that can't be commanded runs all the same.
PxStatus OpenCommandInterface()
{
    if (EciOperatorId[0] != '\0')
        return PXSTC_Success;
    snprintf(EciOperatorId, sizeof EciOperatorId, "%s-%d", JobOpName, getpid());
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_OpenCommandInterface,
                                    static_cast<const char *>(EciOperatorId));
    if (status != PXSTC_Success) {
        FW_WARN(1, "PX_OpenCommandInterface returned '%s'", PxStatusName(status));
        EciOperatorId[0] = '\0';
        FW_Message<19016>("<UNDEFINED>");
        return PXSTC_Success;
    }
    FW_TRACE(1, "ECI operator ID: '%s'", EciOperatorId);
    FW_Message<19016>(EciOperatorId);
    return PXSTC_Success;
}

// In a restart the files are those of the checkpoint.
PxStatus LeaveToRestart()
{
    return FW_RestartMode != 0 ? PxStatus{PXSTC_NextPhase} : PXSTC_Success;
}

// clang-format off
constexpr InitiateStep kPhase1Steps[] = {
    {2,  Share::All,         RefuseSecondUse      },
    {3,  Share::All,         FW_Initiate          },
    {4,  Share::All,         SettleSide           },
    {6,  Share::All,         NameGlobalVariables  },
    {7,  Share::InstanceOne, AnnounceOperator     },
    {7,  Share::InstanceOne, CreateErrorFlags     },
    {8,  Share::All,         ReadFilesetAttributes},
    {9,  Share::All,         SettleDirectory      },
    // 10 to 12 file lists, archive, active scan: settled with step 8
    {13, Share::All,         FW_FenwireInit       },
    {13, Share::All,         FW_FenwireAttach     },
    // 14 several readers of one file against access modules
    {15, Share::All,         FW_FenwireFileInfo   },
    {16, Share::All,         SettleScan           },
    // 17 connection of connector jobs; 18 shared memory for several readers of one file
    {18, Share::All,         FinishOwnPart        },
    {19, Share::All,         LeaveToInstanceOne   },
    {20, Share::InstanceOne, OpenCommandInterface },
    // 21 and 22 tables and time window of the active scan
    {23, Share::InstanceOne, LeaveToRestart       },
    {24, Share::InstanceOne, BuildGlobalInfo      },
};
// clang-format on
constexpr int kFirstRepeatedStep = 19;  // a phase 1 that is called again begins here

PxStatus InitPhase1()
{
    const int first = bInitPhase1Done != 0 ? kFirstRepeatedStep : 0;
    bInitPhase1Done = 1;
    for (const InitiateStep &step : kPhase1Steps) {
        if (step.number < first || (step.share == Share::InstanceOne && ThisInstance != 1))
            continue;
        if (const PxStatus status = step.run(); status != PXSTC_Success)
            return MapStatus(status);
    }
    return PXSTC_NextPhase;
}

PxStatus RunPhase2()
{
    if (FW_RestartMode != 0) {
        FW_TRACE(1, "%s: %s.  Returning EndMethod", "PX_Initiate", "... restarting");
        return PXSTC_EndMethod;
    }
    const PxStatus status = InitPhase2();
    if (status != PXSTC_Success)
        return MapStatus(status);
    FW_TRACE(1, "%s: %s.  Returning EndMethod", "PX_Initiate", "Complete");
    return PXSTC_EndMethod;
}

}  // namespace

PxStatus PX_Initiate(PxOperator *handle, uint32_t phase)
{
    EnterMethod(handle, __func__, phase);
    switch (phase) {
    case 1:
        return InitPhase1();
    case 2:
        return RunPhase2();
    default:
        return InvalidPhase(phase);
    }
}
