// pm/records.cpp - records in and out.

#include <cstring>

#include "attributes/attributes_state.h"
#include "pm/formats/formats.h"
#include "pm/formats/length_prefix.h"
#include "pm/handles.h"

namespace {

// What is to be remembered of everything but an ordinary record.
[[gnu::noinline]] void NotAnOrdinaryRecord(pmFile *file, int code)
{
    if (code == pmrcEOF) {
        file->atEOF = 1;
    } else if (code == pmrcNoEOR && bAcceptEOFasEOR != 0) {
        ++file->RecCount;
        file->atEOF = 1;
    } else {
        PM_TRACE(1, "!ERROR! returning rcode=%d", code);
        PM_TRACE(1, "Last RecCount=%u", file->RecCount);
    }
}

int CheckWritable(const pmFile *file)
{
    if (file->OpenMode == kOpenWrite || file->OpenMode == kOpenWriteAppend)
        return pmrcOk;
    PM_TRACE(1, "!ERROR! Writing a Read ONLY file");
    return pmrcReadOnly;
}

// A file that is appended to stands at its end, and its buffer holds what is to be written.
int CheckReadable(pmFile *file, pmRecord *record)
{
    if (file->OpenMode == kOpenWrite) {
        PM_TRACE(1, "!ERROR! Reading a Write ONLY file");
        return pmrcWriteOnly;
    }
    record->DataLength = 0;
    file->atEOF = 1;
    return pmrcEOF;
}

// Rows of the record error file reach the disk at once where the job asks for it.
bool WantsEachRecordWritten(const pmFile *file)
{
    return SG_LatencyOn == 'Y' && strcmp(file->FName, SG_RowErrFileName) == 0;
}

}  // namespace

int pmRead(pmToken handle, pmRecord *record)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr) [[unlikely]]
        return code;
    if (file->OpenMode != kOpenRead) [[unlikely]]
        return CheckReadable(file, record);
    if (file->atEOF != 0) [[unlikely]] {
        record->DataLength = 0;
        return pmrcEOF;
    }
    code = file->Fmt.FmtRead(file, record);
    if (code == pmrcOk) [[likely]]
        ++file->RecCount;
    else
        NotAnOrdinaryRecord(file, code);
    if (code != pmrcTimeOut)  // the caller may ask again, and the file begins where it began
        file->BeginningOfFile = 0;
    record->Reserved = 0;
    record->RecCount = file->RecCount;
    file->Served = record->Data;
    if (pmTraceLvl > 3) [[unlikely]]
        pmHexDmp(kDumpMessage, kDumpBytes, record->Data, record->DataLength, "Buffer->Data", true);
    return code;
}

int pmWrite(pmToken handle, const pmRecord *record)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr || (code = CheckWritable(file)) != pmrcOk)
        return code;
    ++file->RecCount;
    code = file->Fmt.FmtWrite(file, record, WantsEachRecordWritten(file));
    // What leaves nothing leaves no byte order mark either.
    if (record != nullptr && (record->DataLength != 0 || file->bExact != 0))
        file->BeginningOfFile = 0;
    return code;
}

int pmFlush(pmToken handle)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr || (code = CheckWritable(file)) != pmrcOk)
        return code;
    code = file->Fmt.FmtWrite(file, nullptr, true);
    return code != pmrcOk ? code : int{file->Dsk.DskSync(file)};
}

int pmSetExact(pmToken handle)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr)
        return code;
    file->bExact = 1;
    file->bQuotes = 0;
    SetWriterMark(file);
    return pmrcOk;
}

int pmSetReader(pmToken handle, int (*reader)(pmFile *file, pmRecord *record))
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file != nullptr)
        file->Fmt.FmtRead = *reader;
    return code;
}

int64_t pmRecordOffset(pmToken handle)
{
    int code = pmrcOk;
    const pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr || file->Served == nullptr || file->bOffsetKnown == 0)
        return -1;
    return static_cast<int64_t>(file->BufferOffset) + (file->Served - file->Buffer) -
           kFrames[file->Format].prefix;
}

int pmIdentity(pmToken handle, PmIdentity *identity)
{
    int code = pmrcOk;
    const pmFile *file = EnterFile(__func__, handle, &code);
    *identity = file != nullptr ? file->Identity : PmIdentity{};
    return code;
}
