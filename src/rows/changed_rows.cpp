// rows/changed_rows.cpp

#include "rows/changed_rows.h"

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/rows_state.h"

static uint64_t CurrentRecord() { return FileRecordCount + FileRowsSkipped + 1; }

static void CountFrom(uint64_t &count, uint64_t &first)
{
    if (count++ == 0)
        first = CurrentRecord();
}

void ForgetChangedRows()
{
    FileRowsChanged = {};
    FileRowsWritten = {};
}

void CountChangedRow(Verdict verdict)
{
    if (verdict == TooManyColumns)
        ++FileRowsChanged.without_excess;
    else if (verdict == TooFewColumns)
        ++FileRowsChanged.padded;
    else if (verdict == FieldOverflow)
        CountFrom(FileRowsChanged.cut, FileRowsChanged.first_cut);
}

void CountIgnoredExcess()
{
    ++FileRowsChanged.without_excess;
    CountFrom(FileRowsChanged.ignored, FileRowsChanged.first_ignored);
}

static void WarnOfWrittenRows()
{
    const WrittenRows &rows = FileRowsWritten;

    if (rows.not_read_back != 0)
        FW_Message<19988>(CurrentFullPath, static_cast<int64_t>(rows.not_read_back),
                          static_cast<int64_t>(rows.first_not_read_back));
    if (rows.without_record != 0)
        FW_Message<19987>(CurrentFullPath, static_cast<int64_t>(rows.without_record),
                          static_cast<int64_t>(rows.first_without_record));
    if ((rows.not_read_back | rows.without_record) != 0)
        RaiseExitCode(4);
}

void WarnOfChangedRows()
{
    const ChangedRows &rows = FileRowsChanged;

    WarnOfWrittenRows();

    if (rows.ignored != 0 && SG_AcceptExcessColumns == kNo) {
        FW_Message<19998>(CurrentFullPath, static_cast<int64_t>(rows.ignored),
                          static_cast<int64_t>(rows.first_ignored));
        RaiseExitCode(4);
    }
    // Those that a record error file keeps are told of there.
    if (rows.cut != 0 && TruncateColumnsOpt == kNo && !KeepsBadRecords()) {
        FW_Message<19999>(CurrentFullPath, static_cast<int64_t>(rows.cut),
                          static_cast<int64_t>(rows.first_cut));
        RaiseExitCode(4);
    }
}
