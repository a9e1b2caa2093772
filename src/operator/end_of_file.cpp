// operator/end_of_file.cpp - a file is finished: it is counted, marked, closed, and the next opened.

#include "delimited/record_error_file.h"
#include "fileset/fileset.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"
#include "rows/changed_rows.h"

namespace {

void ReportFile(double cpu_seconds)
{
    int64_t now = 0;
    FetchCurrentTime(&now);
    FW_STATS_TIMED("%s %s (index %d)", "Finished sending rows for", CurrentFile.Name,
                   CurrentFileIndex);
    FW_STATS("%s %s: %llu (of %llu), (%s %lld) %s %.2f %s", "Rows", "sent",
             static_cast<unsigned long long>(FileRowCount),
             static_cast<unsigned long long>(FileRecordCount),
             "size:", static_cast<long long>(CurrentFile.Size), "CPU Time:", cpu_seconds,
             "seconds");
}

void ReportWrittenFile(double cpu_seconds)
{
    FW_STATS("%s %llu, (%s %lld) %s %.2f Seconds",
             "Rows sent:", static_cast<unsigned long long>(FileRecordCount),
             "size:", static_cast<long long>(CurrentFile.Size), "CPU Time:", cpu_seconds);
}

// Answers the processor time that the file took.
double CountFile()
{
    const double cpu_seconds = ProcessCpuSeconds() - FileStartCpu;

    ++FilesThisInstance;
    CpuSecondsTotal += cpu_seconds;
    ++EvtFileCount;
    EvtRecordCount += FileRecordCount;
    return cpu_seconds;
}

void AnnounceEnd()
{
    int64_t now = 0;
    FetchCurrentTime(&now);
    FW_STATS_TIMED("Finished sending rows to %s (index %d)", CurrentFullPath, CurrentFileIndex);
}

PxStatus MarkFinished()
{
    if (CurrentFileNode != nullptr)
        CurrentFileNode->Status = kFinished;
    CurrentFile.Status = kFinished;
    CurrentFile.BadRecords = SG_ErrorRowCount;
    FW_TRACE(2, "Calling PX_UpdateGlobalVar for completed file");
    return UpdateFileEntry(CurrentFileIndex, &CurrentFile);
}

template <int Step>
PxStatus AnswerOf(const char *routine, int code)
{
    if (code == pmrcOk)
        return PXSTC_Success;
    FW_ERROR("%s rc=%d", routine, code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure(routine, code, pmErrorText(code));
    return FW_Fatal<Step>();
}

PxStatus CloseFile()
{
    const int code = pmClose(pmfp);
    pmfp = 0;  // gone in any case
    return AnswerOf<19309>("pmClose", code);
}

// The close does not tell of a last block that could not be written.
PxStatus FlushFile() { return AnswerOf<19306>("pmFlush", pmFlush(pmfp)); }

PxStatus OpenNextFile()
{
    const PxStatus status = GetNextFileName(kPending);
    if (status == PXSTC_EndOfData)
        bNoFileForInstance = 1;
    return status != PXSTC_Success ? status : OpenCurrentFile();
}

}  // namespace

PxStatus EndOfFile()
{
    PxStatus status = PXSTC_Success;

    ReportFile(CountFile());
    // Bad records are safe before anybody commits the rows that they were left out of.
    if ((status = FlushRecordErrorFile()) != PXSTC_Success)
        return status;
    WarnOfChangedRows();
    if ((status = MarkFinished()) != PXSTC_Success || (status = CloseFile()) != PXSTC_Success)
        return status;
    PutFileCounts(kFileEnded);
    // A notify exit hears of the finished file here.
    return OpenNextFile();
}

// Links are followed: what was written is what they lead to. 0 for a pipe.
void NoteWrittenSize()
{
    struct stat found = {};
    const bool known = os.stat(CurrentFullPath, &found) == 0 && S_ISREG(found.st_mode);

    CurrentFile.Size = known ? found.st_size : 0;
    CurrentFile.Time = known ? static_cast<int32_t>(found.st_mtime) : 0;
}

// An empty file of a later pass is deleted here, once a writer has passes.
PxStatus File_Out()
{
    PxStatus status = PXSTC_Success;

    if ((status = FlushFile()) != PXSTC_Success)
        return status;
    const double cpu_seconds = CountFile();
    AnnounceEnd();
    if ((status = CloseFile()) != PXSTC_Success)
        return status;
    NoteWrittenSize();
    ReportWrittenFile(cpu_seconds);
    WarnOfChangedRows();
    if ((status = MarkFinished()) != PXSTC_Success)
        return status;
    PutFileCounts(kFileEnded);
    return PXSTC_Success;
}
