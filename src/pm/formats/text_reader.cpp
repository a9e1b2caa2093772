// pm/formats/text_reader.cpp - pmrwfmtRtext: records of TEXT and DELIMITED files.
//
//   search    the first record settles the file's end-of-record mark, later ones are ended by it
//   settle    a search that met the end of the file: last record without its mark, or no more records
//   emit      the record is served where it lies, with a zero over the mark's first byte
//
// The bytes of a record are neither copied nor interpreted, apart from its end and its quotes.

#include "operator/messages.h"
#include "pm/formats/formats.h"
#include "pm/formats/text_scan.h"
#include "pm/index/index_state.h"
#include "pm/pm_trace.h"
#include "pm/position_block.h"

namespace {

int Overflow(const TextScan &scan)
{
    const pmFile *file = scan.file;
    const auto record = static_cast<int64_t>(FileRecordCount + 1);

    PM_TRACE(1, "offset=%u", scan.offset);
    PM_TRACE(1, "FileInfo->BufferSize=%u", file->BufferSize);
    PM_TRACE(1, "FileInfo->BufferPosition=%u", file->BufferPosition);
    PM_TRACE(1, "bInsideQuotes=%d", scan.inside_quotes);
    PM_TRACE(1, "Not enough room in buffer for another record");
    if (scan.inside_quotes)
        FW_Message<19470>(record, file->BufferSize);
    else
        FW_Message<19469>(record, file->BufferSize);
    return pmrcOverflow;
}

int ReadFailed(pmRecord *record, int code)
{
    if (code != pmrcEOF)
        PM_TRACE(1, "!ERROR! rcode=%d", code);
    return NoRecord(record, code);
}

// The file ended before the mark. The rest of it is the record, whatever the scan has looked at.
int SettleEndOfFile(TextScan &scan)
{
    const pmFile *file = scan.file;
    scan.length = file->BufferEnd - file->BufferPosition;
    if (scan.length == 0)
        return pmrcEOF;
    if (scan.length > file->BufferSize)
        return Overflow(scan);
    if (file->EORLength == 0) {
        PM_TRACE(1, "!ERROR! Could not find a valid EOR");
        return pmrcNoEOR;
    }
    if (bAcceptEOFasEOR != 0) {
        if (FW_TraceLvl > 1)
            PM_TRACE(1, "EOF interpreted as EOR");
        return pmrcOk;
    }
    PM_TRACE(1, "!ERROR! EOF from pmReadn2Buf rcode=%d", pmrcEOF);
    PM_TRACE(1, "!ERROR! returning 'pmrcNoEOR'");
    return pmrcNoEOR;
}

int FindRecord(TextScan &scan)
{
    int code = pmrcOk;
    pmIndex.served = 0;
    if (scan.file->EORLength == 0) [[unlikely]]
        code = DefineEOR(scan);
    else if (!FindIndexed(scan.file, &scan.length))
        code = bLiteralReader != 0 ? ScanLiteral(scan) : ScanFast(scan);
    if (code == pmrcOk && scan.length > scan.file->BufferSize) [[unlikely]]
        return Overflow(scan);
    return code == pmrcEOF ? SettleEndOfFile(scan) : code;
}

// An empty first record behind a byte order mark is no record when nothing follows it. 9 in this case.
int CheckForMarkOnly(const TextScan &scan)
{
    pmFile *file = scan.file;
    if (scan.length != 0 || file->BeginningOfFile == 0 || file->bBOMFound == 0 ||
        file->BufferPosition + file->EORLength < file->BufferEnd)
        return pmrcOk;
    const int code = pmReadn2Buf(file);
    if (code != pmrcEOF)
        return code;
    if (FW_TraceLvl > 1) {
        PM_TRACE(1, "File contains BOM only");
        PM_TRACE(1, "Returning EOF");
    }
    file->BufferPosition = file->BufferEnd;
    return pmrcEOF;
}

void Emit(const TextScan &scan, pmRecord *record)
{
    pmFile *file = scan.file;
    record->Data = file->Buffer + file->BufferPosition;
    record->DataLength = scan.length;
    record->Data[scan.length] = 0;
    file->BufferPosition += scan.length + file->EORLength;
    if (file->BufferPosition > file->BufferEnd)
        file->BufferPosition = file->BufferEnd;  // a last record without its mark
}

}  // namespace

int RefillForScan(TextScan &scan)
{
    const pmFile *file = scan.file;
    const uint32_t distance = scan.offset - file->BufferPosition;
    if (distance > file->BufferSize + scan.begun_mark)
        return Overflow(scan);
    scan.offset = distance;
    return pmReadn2Buf(scan.file);
}

int pmrwfmtDtext(pmFile *file)
{
    if (file->EORLength != 0)
        return pmrcOk;
    TextScan scan = {.file = file};
    const int code = DefineEOR(scan);
    if (code != pmrcEOF)
        return code;
    return pmPositionRefused(
        "pmRepos", file,
        "has no end-of-record mark, but the checkpoint counts on %u records of "
        "it: it was changed or replaced since",
        file->RecCount);
}

int pmrwfmtRtext(pmFile *file, pmRecord *record)
{
    TextScan scan = {.file = file};
    int code = FindRecord(scan);
    if (code == pmrcOk && file->BeginningOfFile != 0) [[unlikely]]
        code = CheckForMarkOnly(scan);
    if (code != pmrcOk && !(code == pmrcNoEOR && bAcceptEOFasEOR != 0)) [[unlikely]]
        return ReadFailed(record, code);
    Emit(scan, record);
    return code;
}
