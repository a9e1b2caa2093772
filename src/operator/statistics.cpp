// operator/statistics.cpp - what an instance tells of its work: once for each file, once at the end.

#include <climits>
#include <cstring>

#include "attributes/attributes_state.h"
#include "fileset/fileset_state.h"
#include "operator/clock.h"
#include "operator/messages.h"
#include "operator/methods.h"
#include "rows/rows_state.h"

namespace {

enum : int32_t { kStatCount = 1, kStatText = 5 };  // type words

// A count that has outgrown its statistic is right in the counts of the files.
uint32_t Narrowed(const char *name, uint64_t count)
{
    if (count > INT32_MAX)
        FW_STATS("%s=%llu does not fit a 32-bit statistic", name,
                 static_cast<unsigned long long>(count));
    return static_cast<uint32_t>(count);
}

void PutCount(int32_t statistic, const char *name, uint64_t count)
{
    const uint32_t value = Narrowed(name, count);
    FW_STATS("Sending stat to infrastructure: %s=%u", name, value);
    (void)Service(SG_opHandle, &PxOperator::PX_PutJobStat, statistic, int32_t{kStatCount},
                  static_cast<const void *>(&value), static_cast<int32_t>(sizeof value), 0, 0);
}

void PutText(int32_t statistic, const char *name, const char *text)
{
    FW_STATS("Sending stat to infrastructure: %s='%s'", name, text);
    (void)Service(SG_opHandle, &PxOperator::PX_PutJobStat, statistic, int32_t{kStatText},
                  static_cast<const void *>(text), static_cast<int32_t>(strlen(text)), 0, 0);
}

}  // namespace

void PutJobStats()
{
    if (ThisInstance == 1)
        PutCount(PX_STAT_CheckPointNo, "FWCheckPointNo", CheckpointCount);
    if (bWriting != 0) {
        PutCount(PX_STAT_RowsWritten, "FWRowsWritten", EvtRecordCount);
        PutCount(PX_STAT_FilesWritten, "FWFilesWritten", EvtFileCount);
    } else {
        PutCount(PX_STAT_RowsRead, "FWRowsRead", EvtRecordCount);
        PutCount(PX_STAT_FilesRead, "FWFilesRead", EvtFileCount);
    }
    PutCount(PX_STAT_RowErrorNo, "FWRowErrorNo", SG_ErrorRowCount);
    PutText(PX_STAT_FileName, "FWFileName", FW_FileName);
    bJobStatsSent = 1;
}

void PutFileCounts(uint32_t ended)
{
    if (bFileCountsDue == 0)
        return;
    bFileCountsDue = ended == kCountedSoFar ? 1 : 0;
    // What an earlier run has counted, it has told. A writer refuses no row: its records are its rows.
    const uint64_t records = FileRecordCount - FileRecordsBefore;
    const uint64_t skipped = FileRowsSkipped - FileRowsSkippedBefore;
    const uint64_t rows = bWriting != 0 ? records : FileRowCount;
    const PxFileCounts counts = {
        .index = static_cast<uint32_t>(CurrentFileIndex),
        .ended = ended,
        .records = records + skipped,
        .rows = rows,
        .refused = records - rows,
        .skipped = skipped,
        .bytes = static_cast<uint64_t>(CurrentFile.Size),
        .cpu_seconds = ProcessCpuSeconds() - FileStartCpu,
        .without_excess = FileRowsChanged.without_excess,
        .padded = FileRowsChanged.padded,
        .cut = FileRowsChanged.cut,
    };
    (void)Service(SG_opHandle, &PxOperator::PX_PutJobStat, int32_t{PX_STAT_FileCounts},
                  int32_t{PX_STAT_RECORD}, static_cast<const void *>(&counts),
                  static_cast<int32_t>(sizeof counts), 0, 0);
}
