// pm/records.cpp - records in and out, and positions between them.

#include "attributes/attributes_state.h"
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
        return pmrcUnsupported;  // the record writers come in here; no file is opened for them yet
    PM_TRACE(1, "!ERROR! Writing a Read ONLY file");
    return pmrcReadOnly;
}

}  // namespace

int pmRead(pmToken handle, pmRecord *record)
{
    int code = pmrcOk;
    pmFile *file = EnterFile(__func__, handle, &code);
    if (file == nullptr) [[unlikely]]
        return code;
    if (file->OpenMode == kOpenWrite) [[unlikely]] {
        PM_TRACE(1, "!ERROR! Reading a Write ONLY file");
        return pmrcWriteOnly;
    }
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
    if (pmTraceLvl > 3) [[unlikely]]
        pmHexDmp(kDumpMessage, kDumpBytes, record->Data, record->DataLength, "Buffer->Data", true);
    return code;
}

int pmWrite(pmToken handle, const pmRecord *)
{
    int code = pmrcOk;
    const pmFile *file = EnterFile(__func__, handle, &code);
    return file == nullptr ? code : CheckWritable(file);
}

int pmFlush(pmToken handle)
{
    int code = pmrcOk;
    const pmFile *file = EnterFile(__func__, handle, &code);
    return file == nullptr ? code : CheckWritable(file);
}

// Position blocks, for checkpoints and restarts, come in here.

int pmGetPos(pmToken handle, uint32_t, pmData *position)
{
    int code = pmrcOk;
    *position = {};
    return EnterFile(__func__, handle, &code) == nullptr ? code : int{pmrcUnsupported};
}

int pmRepos(pmToken handle, const pmData *)
{
    int code = pmrcOk;
    return EnterFile(__func__, handle, &code) == nullptr ? code : int{pmrcUnsupported};
}
