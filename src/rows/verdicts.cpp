// rows/verdicts.cpp - what a verdict costs: the row goes on, the record is left out, or the job ends.
//
//   verdict       tolerated by            otherwise
//   1, 2, 3       its setting             left out with a record error file, up to the limit; else fatal
//   5             a record error file     fatal
//   4, 8 to 11    nothing                 fatal
//
// The record error file takes each of them but for those that a setting tolerates without a log.
// kOutcomes gives the words of a tolerated row and the number of the message that tells of the fault.

#include "rows/verdicts.h"

#include <cstdio>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/verdict.h"
#include "fileset/fileset_state.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "rows/bad_records.h"
#include "rows/changed_rows.h"
#include "schema/schema_state.h"

namespace {

struct Outcome {
    Verdict verdict;
    uint32_t message;
    bool left_out;        // where it isn't tolerated, the job can do without the record
    const char *goes_on;  // the log's words, where it is tolerated
};

constexpr uint32_t kCantReadOn = 19134;
// clang-format off
constexpr Outcome kOutcomes[] = {
    {TooManyColumns, kCantReadOn, true,  "Continuing with truncated row."},
    {TooFewColumns,  kCantReadOn, true,  "Continuing with padded row."},
    {FieldOverflow,  19472,       true,  "Continuing with truncated column(s)."},
    {BadCharacter,   19439,       false, "Encountered 4-byte character(s) in data."},
    {NotAnOpenQuote, 19474,       false, nullptr},
};
// clang-format on
constexpr Outcome kFatalOutcome = {RowComplete, kCantReadOn, false, nullptr};

const Outcome &OutcomeOf(int32_t verdict)
{
    for (const Outcome &outcome : kOutcomes) {
        if (outcome.verdict == verdict)
            return outcome;
    }
    return kFatalOutcome;
}

PxStatus FatalRow(int32_t verdict)
{
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    const int32_t column = VerdictColumn;
    const char *name = ColumnName(column);
    char record_text[24];

    snprintf(record_text, sizeof record_text, "%lld", static_cast<long long>(record));
    FW_ERROR("%s '%s'. %s.", "Fatal data error processing file", CurrentFullPath, ExtractErrMsg);
    HintAtCharSet();
    switch (verdict) {
    case FieldOverflow:
        return FW_Fatal<19472>(CurrentFullPath, record, column, name, SG_ColLensBase[column - 1],
                               SG_ColLensOrig[column - 1]);
    case BadCharacter:
        return FW_Fatal<19439>(CurrentFullPath, record_text, column, name);
    case NotAnOpenQuote:
        return FW_Fatal<19474>(CurrentFullPath, record_text, column, name);
    default:
        return FW_Fatal<kCantReadOn>(CurrentFullPath, ExtractErrMsg);
    }
}

// A bad character has a column, though its message names none.
int32_t ColumnAtFault(Verdict verdict)
{
    return verdict == BadCharacter && VerdictColumn == 0 ? ActualColumnCount : VerdictColumn;
}

}  // namespace

// Whatever becomes of the record: that a quote never closed is seldom meant, and the reader has taken
// everything up to here for one record.
void WarnOfUnclosedQuote()
{
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    FW_WARN(1, "record %lld of '%s' ends inside quotes", static_cast<long long>(record),
            CurrentFullPath);
    FW_Message<19991>(CurrentFullPath, record);
    RaiseExitCode(4);
}

// The setting that tolerates the record speaks of a fault in one column; here the columns behind it are
// lost as well, and no setting asks for that.
static void WarnOfLostColumns(Verdict verdict)
{
    const int64_t record = static_cast<int64_t>(FileRecordCount) + 1;
    const int32_t column = ColumnAtFault(verdict);
    const char *fault = verdict == FieldOverflow
                            ? "has over 65536 bytes and was not cut, the columns behind it are NULL"
                            : "has an invalid character, it and the columns behind it are NULL";
    FW_WARN(1, "record %lld of '%s' goes on with the columns before the fault in column %d",
            static_cast<long long>(record), CurrentFullPath, column);
    FW_Message<19997>(CurrentFullPath, record, column, ColumnName(column), fault);
    RaiseExitCode(4);
}

PxStatus SettleVerdict(int32_t number)
{
    const auto verdict = static_cast<Verdict>(number);
    const Outcome &outcome = OutcomeOf(verdict);
    const bool tolerated = IsTolerated(verdict);
    const BadRecord bad = {.reason = ExtractErrMsg,
                           .message = outcome.message,
                           .column = ColumnAtFault(verdict),
                           .left_out = !tolerated,
                           .keep_out = !IsKept(verdict)};

    const PxStatus status =
        !tolerated && outcome.left_out ? LeaveOutRecord(bad) : ReportBadRecord(bad);
    if (status != PXSTC_Success)
        return status;
    if (!tolerated)
        return FatalRow(verdict);
    FW_TRACE(1, "%s", outcome.goes_on);
    if (bScanStopped != 0)
        WarnOfLostColumns(verdict);
    else
        CountChangedRow(verdict);
    return PXSTC_Success;
}

PxStatus SettleFault(const RowFault &fault)
{
    const bool lob = fault.end == WalkEnd::LobLength;
    const int32_t column = fault.walk.column;
    char reason[512];

    pmBufferOrig = pmBuffer;
    if (lob)
        snprintf(reason, sizeof reason, "%s", "LOB column data length error");
    else
        snprintf(reason, sizeof reason,
                 "VAR field length error in field %d, '%.255s'. Expected max length %u, received "
                 "%u.",
                 column + 1, SG_ColNames[column], SG_ColLensBase[column], fault.walk.length);
    if (SG_ContinueOnRowError != 0)
        FW_WARN(1, "%s", reason);
    const PxStatus status =
        LeaveOutRecord({.reason = reason, .message = lob ? 19151U : 19112U, .column = column + 1});
    return status != PXSTC_Success ? status : ReportRowFault(fault);
}

PxStatus SettleLength(uint32_t expected)
{
    char reason[128];

    pmBufferOrig = pmBuffer;
    snprintf(reason, sizeof reason, "%s: read %u bytes, schema required %u bytes",
             "Length of record read does not match data schema", pmBuffer.DataLength, expected);
    if (SG_ContinueOnRowError != 0)
        FW_WARN(1, "%s", reason);
    return LeaveOutRecord({.reason = reason, .message = 19113});
}
