// operator/access.cpp - the operator's side of the access layer: start, attach, open.

#include <cstdio>
#include <cstring>

#include <sys/utsname.h>

#include "attributes/attribute_table.h"
#include "convert/unicode.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "pm/disk/unx_disk.h"
#include "pm/pm.h"
#include "pm/pm_state.h"
#include "rows/changed_rows.h"
#include "schema/insert_filename.h"
#include "schema/schema_state.h"
#include "schema/var_fields.h"

namespace {

// ---- FW_FenwireAttach --------------------------------------------------------------------------

constexpr uint32_t kCheckpointMethod = 1;
constexpr uint32_t kMaxModuleText = 512;

char access_module_name[kMaxModuleText + 1], access_module_init_string[kMaxModuleText + 1];
int32_t checkpoint_interval = 0;

// Modules: the name is handed to pmAttach, and the module is told of the job by its attributes.
PxStatus RefuseModule()
{
    return access_module_name[0] == '\0' ? PXSTC_Success
                                         : NotAvailable("AccessModuleName", "access modules");
}

// Without checkpoints a position is never asked for, and a pipe is no obstacle.
PxStatus SettleCheckpoint()
{
    bTakeAMcheckpoint = checkpoint_interval != 0;
    FW_TRACE(1, "Access module %s called for checkpoint support.",
             bTakeAMcheckpoint != 0 ? "will be" : "will not");
    return PXSTC_Success;
}

constexpr AttributeRow kAccessAttributes[] = {
    {.name = "AccessModuleName",
     .kind = AttrKind::Text,
     .target = &access_module_name,
     .on_given = RefuseModule},
    {.name = "SYSTEM_CHECKPOINT",
     .kind = AttrKind::Integer,
     .target = &checkpoint_interval,
     .absent = 1,
     .on_given = SettleCheckpoint,
     .on_absent = SettleCheckpoint},
    {.name = "AccessModuleInitStr", .kind = AttrKind::Text, .target = &access_module_init_string},
};

void WriteIdentification()
{
    utsname system = {};
    if (FW_TraceLvl <= 1)
        return;
    uname(&system);
    BoxRule("FW_FenwireAttach", 1);
    BoxLine("FW_FenwireAttach", 1, "Module Identification");
    BoxRule("FW_FenwireAttach", 1);
    FW_TRACE(1, "%s-bit %s operator for %s release %s on %s", "64", OpNameStr, system.sysname,
             system.release, system.nodename);
    FW_TRACE(1, "Software architecture is %d-bit", 64);
    if (FW_StatsOnly == 0)  // asking loads the library, which a plain job has no use for
        FW_TRACE(1, "NVICU................................... %s", px_nvicuversion());
    FW_TRACE(1, "PXICU................................... %s", px_pxicuversion());
}

PxStatus AccessFailed(const char *routine, int code)
{
    FW_ERROR("%s rc=%d", routine, code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure(routine, code, pmErrorText(code));
    return PXSTC_FatalError;
}

// ---- FW_FenwireOpen ----------------------------------------------------------------------------

constexpr uint32_t kTextFormat = 1, kUnformatted = 8;

// The longest record that the schema can make, for back ends that want to know. extra: delimited,
// and read.
uint32_t ExpectedRecordLength(uint32_t extra[2])
{
    const auto columns = static_cast<uint32_t>(SG_ColCount);
    uint32_t length = TotalFixedLength;

    if (FileFormat != kTextFormat)
        return length;
    length += static_cast<uint32_t>(DelimitedExtraLength);
    if (TextDelimiter.length != 0 && columns > 0)
        length += (columns - 1) * static_cast<uint32_t>(TextDelimiter.length);
    if (bQuotedData != 0) {
        const SpecialCharValue &close = CloseQuoteMark.length != 0 ? CloseQuoteMark : OpenQuoteMark;
        length += columns * static_cast<uint32_t>(OpenQuoteMark.length + close.length);
    }
    if (bAppendDelimiter != 0)
        length += static_cast<uint32_t>(TextDelimiter.length);
    extra[0] = 1;
    extra[1] = Reading != 0;
    return length;
}

void ForgetLastFile()
{
    FileRecordCount = FileRowCount = FileRowsSkipped = 0;
    FileRecordsBefore = FileRowsSkippedBefore = 0;
    ForgetChangedRows();
    if (bSkipRowsEveryFile != 0)
        bSkipRowsDone = 0;
}

PxStatus FileMissing(const char *path)
{
    FW_ERROR("!ERROR! file '%s' does not exist.", path);
    FW_Message<19231>(path);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// A file that is to be created is missing when its directory is.
PxStatus DirectoryMissing(const char *path)
{
    char text[kMaxPath + 64];
    const char *name = strrchr(path, '/');
    const auto length = name != nullptr ? static_cast<int>(name + 1 - path) : 0;

    FW_ERROR("!ERROR! the directory of file '%s' does not exist.", path);
    snprintf(text, sizeof text, "%.*s: %s", length, path, "no such directory");
    return FW_Fatal<19119>(static_cast<const char *>(text));
}

}  // namespace

PxStatus FW_FenwireInit()
{
    const pmInitParms parms = {.TraceLvl = static_cast<uint32_t>(FW_TraceLvl),
                               .UtilityId = OpNameStr,
                               .InterfaceVerNo = 3};
    if (const int code = pmInit(&parms); code != pmrcOk) {
        (void)AccessFailed("pmInit", code);
        return FW_Fatal<19301>();
    }
    // Other answers tell how a set is taken; what the data's format makes of it is decided there.
    return pmSetCharSet(SG_CharSetName) == PXSTC_FatalError ? PxStatus{PXSTC_FatalError}
                                                            : PXSTC_Success;
}

PxStatus FW_FenwireAttach()
{
    if (const PxStatus status = ReadAttributes(kAccessAttributes))
        return status;
    WriteIdentification();
    const pmAttachParms parms = {};
    if (const int code = pmAttach(&parms, kCheckpointMethod, &pmHandle); code != pmrcOk) {
        (void)AccessFailed("pmAttach", code);
        return FW_Fatal<19302>();
    }
    return PXSTC_Success;
}

PxStatus FW_FenwireOpen(const char *path)
{
    uint32_t extra[2] = {};

    ForgetLastFile();
    // Compressed output: its writers come in with the access layer's compressed files.
    if (bWriting != 0 && IsCompressedName(path))
        return NotAvailable("FileName", "writing compressed files");
    // A slave of several readers of one file opens nothing; the master gets its first shared buffer.
    const int code =
        pmOpen(FW_OpenMode, false, FileFormat, nullptr, static_cast<uint32_t>(BufferSize),
               ExpectedRecordLength(extra), path, pmHandle, extra, &pmfp);
    if (code == pmrcNotFound)
        return FW_OpenMode == kOpenWrite ? DirectoryMissing(path) : FileMissing(path);
    if (code != pmrcOk && code != pmrcEmptyFile) {
        (void)AccessFailed("pmOpen", code);
        return FW_Fatal<19304>();
    }
    if (IsRecordErrorFile(pmfp)) {
        FW_ERROR("'%s' is the record error file of this job", path);
        return FW_Fatal<19996>(path);
    }
    if (bWriting != 0)
        return PXSTC_Success;
    if (FileFormat == kUnformatted && SG_VARtypesFlag != 0)
        pmSetReader(pmfp, pmfmtRVarNone);
    return NoteFilename(path);
}
