// attributes/fileset_attributes.cpp - where the files are and how instances share them.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "attributes/attribute_table.h"
#include "attributes/attributes.h"
#include "operator/messages.h"

namespace {

PxStatus NoteDirectoryPath()
{
    bDirectoryPathGiven = 1;
    return PXSTC_Success;
}

PxStatus NoDirectoryPath()
{
    bDirectoryPathGiven = 0;
    return PXSTC_Success;
}

PxStatus DefaultDirectoryPath()
{
    if (bDirectoryPathGiven != 0)
        return PXSTC_Success;
    if (getcwd(DirectoryPath, kMaxPath) == nullptr) {
        char reason[160];
        const int error = errno;
        snprintf(reason, sizeof reason, "getcwd:%s", strerror(error));
        FW_ERROR("can not obtain working directory via function '%s'", "getcwd");
        return FW_AttributeFatal<19100>(static_cast<const char *>(reason), error);
    }
    FW_TRACE(1, "%s defaulting to: '%s'", "DirectoryPath", DirectoryPath);
    return PXSTC_Success;
}

// Names are appended to it. An empty one stays: it is the working directory too.
PxStatus CloseDirectoryPath()
{
    const size_t length = strlen(DirectoryPath);
    if (length != 0 && DirectoryPath[length - 1] != '/')
        memcpy(DirectoryPath + length, "/", 2);
    return PXSTC_Success;
}

PxStatus CheckFileList()
{
    if (bFileList == 0)
        return PXSTC_Success;
    if (bDirectoryPathGiven != 0) {
        FW_ERROR("Attributes %s and %s can not be specified together", "FileList", "DirectoryPath");
        return FW_AttributeFatal<19128>("FileList", "DirectoryPath");
    }
    // File lists: the list's lines become the files to read.
    return NotAvailable("FileList", "a list of files");
}

// A wish that can't help is dropped with a note. An active scan drops it later, when FileName is known.
PxStatus CheckMultipleReaders()
{
    if (bAllowMultiInstanceRead == 0)
        return PXSTC_Success;
    bAllowMultiInstanceRead = 0;
    if (OperatorType != 1)
        FW_Message<19237>("MultipleReaders");
    else if (bFileList != 0)
        FW_Message<19240>("MultipleReaders", "FileList");
    else if (TotalInstances < 2)
        FW_Message<19241>("MultipleReaders", "2");
    else
        bAllowMultiInstanceRead = 1;
    return PXSTC_Success;
}

constexpr int32_t kBySchema = -1, kMostRecords = 999999;

// Kept: the trace's bounds are those of a computed value, the test and the message have their own.
PxStatus CheckRecords(const char *name)
{
    if (MaxRecordsPerInstance >= 1 && MaxRecordsPerInstance <= kMostRecords)
        return PXSTC_Success;
    FW_ERROR("'%s' value of %d is not valid (must be =>%d & <=%d)", name, MaxRecordsPerInstance,
             10000, 20000);
    return FW_AttributeFatal<19204>(name, MaxRecordsPerInstance, 1, kMostRecords);
}

bool old_name_counts;

PxStatus CheckRecordsPerBuffer()
{
    old_name_counts = false;
    return CheckRecords("RecordsPerBuffer");
}

PxStatus CheckRecordsPerInstance()
{
    FW_TRACE(1, "%s '%s' %s '%s'", "Using value of attribute", "RecordsPerInstance",
             "as value of attribute", "RecordsPerBuffer");
    return CheckRecords("RecordsPerInstance");
}

PxStatus NoteDefaultRecords()
{
    FW_TRACE(1, "%s: (use default calculation per schema)", "RecordsPerBuffer");
    return PXSTC_Success;
}

PxStatus AskForOldName()
{
    old_name_counts = true;
    return PXSTC_Success;
}

bool OldNameCounts() { return old_name_counts; }

PxStatus DefaultEnableScan()
{
    bEnableScan = OperatorType == 1 ? kYes : kNo;
    return PXSTC_Success;
}

char archive_directory[kMaxPath + 1];

// Archiving: finished files will move into this directory.
PxStatus CheckArchiveDirectory()
{
    return archive_directory[0] == '\0' ? PXSTC_Success
                                        : NotAvailable("ArchiveDirectoryPath", "archiving");
}

PxStatus CheckArchiveFatal()
{
    if (OperatorType == 1 || bArchiveFatal == kYes)
        return PXSTC_Success;
    FW_ERROR(" Attribute '%s' %s %s", "ArchiveFatal", "MUST be defined as 'YES'",
             "for consummer instance");
    return FW_AttributeFatal<19230>("ArchiveFatal");
}

// clang-format off
constexpr AttrWord kStrictYesNo[] = {{"Y", kYes}, {"YES", kYes}, {"N", kNo}, {"NO", kNo}};
constexpr char kStrictValid[] = "Y[es], N[o]", kStrictTrace[] = "Y(es) or N(o)";
constexpr char kVigil[] = "the active directory scan";

constexpr AttributeRow kFilesetAttributes[] = {
    {.name = "DirectoryPath",      .kind = AttrKind::Text,    .target = &DirectoryPath, .limit = kMaxPath, .on_given = NoteDirectoryPath, .on_absent = NoDirectoryPath},
    {.name = "HadoopHost",         .kind = AttrKind::Refused, .feature = "Hadoop"},
    {.name = "working directory",  .kind = AttrKind::Rule,    .rule = DefaultDirectoryPath},
    {.name = "path separator",     .kind = AttrKind::Rule,    .rule = CloseDirectoryPath},
    {.name = "FileList",           .kind = AttrKind::YesNo,   .target = &bFileList},
    {.name = "FileList",           .kind = AttrKind::Rule,    .rule = CheckFileList},
    {.name = "MultipleReaders",    .kind = AttrKind::YesNo,   .target = &bAllowMultiInstanceRead},
    {.name = "MultipleReaders",    .kind = AttrKind::Rule,    .rule = CheckMultipleReaders},
    {.name = "RecordsPerBuffer",   .kind = AttrKind::Integer, .target = &MaxRecordsPerInstance, .absent = kBySchema, .on_given = CheckRecordsPerBuffer,
     .on_absent = AskForOldName},
    {.name = "RecordsPerInstance", .kind = AttrKind::Integer, .target = &MaxRecordsPerInstance, .absent = kBySchema, .wanted = OldNameCounts,
     .on_given = CheckRecordsPerInstance, .on_absent = NoteDefaultRecords},
    {.name = "EnableScan",         .kind = AttrKind::Word,    .target = &bEnableScan, .limit = 3, .words = kStrictYesNo, .valid = kStrictValid,
     .valid_trace = kStrictTrace, .side = Side::ProducerOnly, .on_absent = DefaultEnableScan},
    {.name = "ArchiveDirectoryPath", .kind = AttrKind::Text,  .target = &archive_directory, .on_given = CheckArchiveDirectory},
    {.name = "ArchiveFatal",       .kind = AttrKind::Word,    .target = &bArchiveFatal, .absent = kYes, .limit = 3, .words = kStrictYesNo,
     .valid = kStrictValid, .valid_trace = kStrictTrace, .on_given = CheckArchiveFatal},
    {.name = "VigilStartTime",      .kind = AttrKind::Refused, .feature = kVigil},
    {.name = "VigilStopTime",       .kind = AttrKind::Refused, .feature = kVigil},
    {.name = "VigilElapsedTime",    .kind = AttrKind::Refused, .feature = kVigil},
    {.name = "VigilWaitTime",       .kind = AttrKind::Refused, .feature = kVigil},
    {.name = "VigilNoticeFileName", .kind = AttrKind::Refused, .feature = kVigil},
    {.name = "VigilMaxFiles",       .kind = AttrKind::Refused, .feature = kVigil},
    {.name = "VigilSortField",      .kind = AttrKind::Refused, .feature = kVigil},
};
static_assert(RowsAreSound(kFilesetAttributes));
// clang-format on

}  // namespace

PxStatus ReadFilesetAttributes() { return ReadAttributes(kFilesetAttributes); }
