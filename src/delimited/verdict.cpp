// delimited/verdict.cpp - a refused record: its words, its trace, what it costs.

#include "delimited/verdict.h"

#include <cstdarg>
#include <cstdio>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "pm/pm_state.h"
#include "schema/schema_state.h"

static constexpr char kParsing[] = "Delimited Data Parsing";

const char *ColumnName(int32_t column)
{
    return column >= 1 && column <= SG_ColCount ? SG_ColNames[column - 1] : "(null)";
}

[[gnu::format(printf, 1, 2)]] static void Compose(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vsnprintf(ExtractErrMsg, sizeof ExtractErrMsg, format, args);
    va_end(args);
}

static void ComposeText(Verdict verdict, int32_t column)
{
    const auto record = static_cast<long long>(FileRecordCount) + 1;
    const bool in_schema = column >= 1 && column <= SG_ColCount;

    switch (verdict) {
    case TooManyColumns:
        Compose("%s error: Too many columns in row %u", kParsing, pmBuffer.RecCount);
        break;
    case TooFewColumns:
        Compose("%s error: Too few columns in row %u", kParsing, pmBuffer.RecCount);
        break;
    case FieldOverflow:
        Compose("%s error: Field length overflow(s) in record %lld, field %d, '%s'. "
                "Expected %u bytes, received %u bytes.",
                kParsing, record, column, ColumnName(column),
                in_schema ? SG_ColLensBase[column - 1] : 0,
                in_schema ? SG_ColLensOrig[column - 1] : 0);
        break;
    case OutOfMemory:
        Compose("%s error: Memory allocation error ar row %lld", kParsing, record);
        break;
    case BadCharacter:
        Compose("%s error: Invalid multi-byte character in record %lld, field %d, '%s'", kParsing,
                record, column, ColumnName(column));
        break;
    case NotAnOpenQuote:
        Compose("%s error: First character not open quote mark in record %lld, field %d, '%s'",
                kParsing, record, column, ColumnName(column));
        break;
    case NoDelimiterAfterQuote:
        Compose("%s error: %s %lld, col %d", kParsing,
                "Delimiter did not immediately follow close quote mark in row", record, column);
        break;
    case BadQuoteEscape:
        Compose("%s error: %s in row %lld, col %d", kParsing,
                "QuoteEscape should be followed by OpenQuote or CloseQuote or QuoteEscape", record,
                column);
        break;
    case EscapeAtEnd:
        Compose("%s error: %s %lld, col %d", kParsing,
                "DelimiterEscape should be followed by DelimiterEscape or Delimeter", record,
                column);
        break;
    case RowComplete:
    case NotInitialized:
        break;  // no refused record
    }
}

bool IsTolerated(Verdict verdict)
{
    switch (verdict) {
    case TooManyColumns:
        return SG_AcceptExcessColumns != 0;
    case TooFewColumns:
        return SG_AcceptMissingColumns != 0;
    case FieldOverflow:
        return TruncateColumnsOpt != 0 || bTruncateUTF8 != 0;
    case BadCharacter:
        return SG_pmFpErrors != 0;
    default:
        return false;
    }
}

bool IsKept(Verdict verdict)
{
    const int32_t settings[] = {kNo, SG_AcceptExcessColumns, SG_AcceptMissingColumns,
                                TruncateColumnsOpt};
    return KeepsBadRecords() && (verdict > FieldOverflow || settings[verdict] != kYesWithoutLog);
}

Verdict RefuseRecord(Verdict verdict, int32_t columns, int32_t column)
{
    ActualColumnCount = columns;
    VerdictColumn = column;
    const bool tolerated = IsTolerated(verdict);
    if (tolerated && FW_TraceLvl <= 1 && !IsKept(verdict))
        return verdict;
    ComposeText(verdict, column);
    if (FW_TraceLvl > 1)
        FW_Trace("ExtractDelimitedText", TraceKind::Warning, "%s", ExtractErrMsg);
    if (!tolerated && !KeepsBadRecords())
        DumpFileInfo(-1);
    return verdict;
}
