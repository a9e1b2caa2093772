// rows/verdicts.cpp - which verdicts a job tolerates, and how the others end it.
//
// kTolerances says what the log tells of a row that goes on by the job's settings. Everything else is
// fatal. A record error file adds two outcomes between these: verdicts 1 to 3 leave the record out and
// read on until the error limit, and a four-byte character goes on.

#include "rows/verdicts.h"

#include <cstdio>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/verdict.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "schema/schema_state.h"

namespace {

struct Tolerance {
    Verdict verdict;
    const char *trace;
};

constexpr Tolerance kTolerances[] = {
    {TooManyColumns, "Continuing with truncated row."},
    {TooFewColumns, "Continuing with padded row."},
    {FieldOverflow, "Continuing with truncated column(s)."},
};

PxStatus FatalRow(int32_t verdict)
{
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    const int32_t column = VerdictColumn;
    const char *name = ColumnName(column);
    char record_text[24];

    snprintf(record_text, sizeof record_text, "%lld", static_cast<long long>(record));
    FW_ERROR("%s '%s'. %s.", "Fatal data error processing file", CurrentFullPath, ExtractErrMsg);
    switch (verdict) {
    case FieldOverflow:
        return FW_Fatal<19472>(CurrentFullPath, record, column, name, SG_ColLensBase[column - 1],
                               SG_ColLensOrig[column - 1]);
    case BadCharacter:
        return FW_Fatal<19439>(CurrentFullPath, record_text, column, name);
    case NotAnOpenQuote:
        return FW_Fatal<19474>(CurrentFullPath, record_text, column, name);
    default:
        return FW_Fatal<19134>(CurrentFullPath, ExtractErrMsg);
    }
}

}  // namespace

// The row goes on as the scan left it; but that a quote never closed is seldom meant, and the reader has
// taken everything up to here for one record.
void WarnOfUnclosedQuote()
{
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    FW_WARN(1, "record %lld of '%s' ends inside quotes", static_cast<long long>(record),
            CurrentFullPath);
    FW_Message<19991>(CurrentFullPath, record);
    RaiseExitCode(4);
}

PxStatus SettleVerdict(int32_t verdict)
{
    for (const Tolerance &tolerance : kTolerances) {
        if (verdict != tolerance.verdict || !IsTolerated(tolerance.verdict))
            continue;
        FW_TRACE(1, "%s", tolerance.trace);
        return PXSTC_Success;
    }
    return FatalRow(verdict);
}
