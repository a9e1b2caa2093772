// delimited/record_error_setup.cpp - the record error file is attached, named and opened.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

namespace {

constexpr uint32_t kTextFormat = 1, kCheckpointMethod = 1;
constexpr uint32_t kDefaultBuffer = 0x10000A;
constexpr uint32_t kMarkRoom = 8;  // so that the longest record fits with its mark

PxStatus AccessFailed(const char *routine, int code)
{
    FW_ERROR("%s rc=%d", routine, code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure(routine, code, pmErrorText(code));
    return PXSTC_FatalError;
}

PxStatus Attach()
{
    const pmAttachParms parms = {};
    if (const int code = pmAttach(&parms, kCheckpointMethod, &pmHandleErrors); code != pmrcOk) {
        (void)AccessFailed("pmAttach", code);
        return FW_Fatal<19302>();
    }
    return PXSTC_Success;
}

// A user's name becomes part of a file's name, and must not lead out of its folder.
void TakeUserId(char *to, size_t room)
{
    const char *user = nullptr;
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_GetUserId, &user);
    const bool given = status == PXSTC_Success && user != nullptr && *user != '\0';
    snprintf(to, room, "%s", given ? user : "NOUSERID");
    std::replace(to, to + strlen(to), '/', '_');
}

// Opening the error file empties it, which must not happen to the job's data. Files that a pattern finds
// are looked at when they are opened.
PxStatus SpareDataFile()
{
    char path[2 * kMaxPath + 4];
    struct stat data = {}, errors = {};
    const bool below = strchr(FW_FileName, '/') == nullptr && DirectoryPath[0] != '\0';

    snprintf(path, sizeof path, "%s%s", below ? DirectoryPath : "", FW_FileName);
    if (os.stat(path, &data) != 0 || os.stat(SG_RowErrFileName, &errors) != 0 ||
        data.st_dev != errors.st_dev || data.st_ino != errors.st_ino)
        return PXSTC_Success;
    FW_ERROR("'%s' is both '%s' and '%s'", path, "FileName", "RecordErrorFileName");
    return FW_AttributeFatal<19996>(path);
}

// Whoever keeps checkpoints keeps what the file holds at each of them.
void TellPath(const char *path)
{
    (void)Service(SG_opHandle, &PxOperator::PX_PutJobStat, int32_t{PX_STAT_ErrorFile},
                  int32_t{PX_ARG_TEXT}, static_cast<const void *>(path),
                  static_cast<int32_t>(strlen(path)), 0, 0);
}

PxStatus PublishOwnFile(const char *path)
{
    PmIdentity id = {};
    (void)pmIdentity(SG_pmFpErrors, &id);
    TellPath(path);
    return PublishFileId(id);
}

// Numbers of processes come again, in a container with each start, and what a process that was killed has
// left under its name is not to be touched: then the name has a number that no process can have.
int32_t MakeOwnName(char (&path)[kMaxErrorPath])
{
    constexpr int32_t kBeyondProcesses = 1 << 22, kLast = INT32_MAX - kBeyondProcesses;
    struct stat found = {};
    int32_t number = getpid();

    MakeRowErrorFileName(path, ThisInstance, number);
    while (ThisInstance > 1 && number < kLast && os.stat(path, &found) == 0)
        MakeRowErrorFileName(path, ThisInstance, number += kBeyondProcesses);
    return number;
}

PxStatus OpenOwnFile()
{
    char path[kMaxErrorPath];
    // A restart goes on with the named file; a temporary one belongs to one process.
    const bool append = FW_RestartMode != 0 && ThisInstance == 1;

    const int32_t number = MakeOwnName(path);
    if (ThisInstance > 1) {
        if (const PxStatus status = PublishProcessId(number))
            return status;
    }
    const int code = OpenRowErrorFile(path, ThisInstance, append ? kOpenWriteAppend : kOpenWrite,
                                      &SG_pmFpErrors);
    if (code == pmrcOk || code == pmrcEmptyFile) {
        SG_ContinueOnRowError = 1;
        return PublishOwnFile(path);
    }
    FW_ERROR("'%s': the record error file can't be opened", path);
    (void)AccessFailed("pmOpen", code);
    return FW_Fatal<19304>();
}

}  // namespace

bool KeepsBadRecords() { return SG_pmFpErrors != 0 || bErrorsTostderr != 0; }

bool IsRecordErrorFile(pmToken file)
{
    PmIdentity errors = {}, found = {};
    return SG_pmFpErrors != 0 && ReadFileId(1, &errors) == PXSTC_Success &&
           pmIdentity(file, &found) == pmrcOk && found.inode != 0 && found.inode == errors.inode &&
           found.device == errors.device;
}

void MakeRowErrorFileName(char (&path)[kMaxErrorPath], int32_t instance, int32_t process)
{
    char user[128];

    if (instance == 1) {
        snprintf(path, sizeof path, "%s", SG_RowErrFileName);
        return;
    }
    TakeUserId(user, sizeof user);
    snprintf(path, sizeof path, "%s/QLX_FWOP_RE_TMP_%s_P%d_I%d.txt",
             SystemLogDirectory[0] != '\0' ? SystemLogDirectory : ".", user, process, instance);
    FW_TRACE(2, "Temp Error Row filename: '%s'", path);
}

int OpenRowErrorFile(const char *path, int32_t instance, uint16_t mode, pmToken *file)
{
    const uint32_t buffer = BufferSize > 0 ? static_cast<uint32_t>(BufferSize) : kDefaultBuffer;
    const uint32_t extra[2] = {};
    // It holds what the data files hold, whose rights it can't know.
    const auto privately = static_cast<uint16_t>(instance == 1 ? kOpenOwnerOnly : kOpenPrivate);

    const int code = pmOpen(mode | privately, false, kTextFormat, nullptr, buffer + kMarkRoom,
                            TotalFixedLength, path, pmHandleErrors, extra, file);
    if (code == pmrcOk || code == pmrcEmptyFile)
        (void)pmSetExact(*file);
    return code;
}

PxStatus SetUpRecordErrorFile()
{
    if (SG_RowErrFileName[0] == '\0' || OperatorType != 1)
        return PXSTC_Success;
    if (const PxStatus status = Attach())
        return status;
    if (ThisInstance == 1) {  // the others wait for the variables, so these come first
        if (const PxStatus status = CreateErrorVariables())
            return status;
        if (const PxStatus status = SpareDataFile())
            return status;
    }
    return OpenOwnFile();
}
