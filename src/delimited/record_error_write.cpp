// delimited/record_error_write.cpp - one bad record: remarks, raw bytes, count, limit.
//
//   Off         the record
//   Low         prefix[1] WARNING Below record: what is wrong with it
//   Med, High   prefix[1] File path: '...'
//               prefix[1]Record number: n
//
// Remarks are one line each, in the data's character set as the prefix is, whatever they quote.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "attributes/attributes_state.h"
#include "convert/unicode.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"

namespace {

enum : int32_t { kLow = 1, kMed = 2 };
constexpr size_t kRemarkRoom = 16384;

// ---- Where it goes -----------------------------------------------------------------------------

// By length: a record holds what it likes. A standard error that nobody reads is no reason to fail.
void PutToStderr(const uint8_t *bytes, uint32_t length)
{
    while (length > 0) {
        const ssize_t count = os.write(STDERR_FILENO, bytes, length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        bytes += count;
        length -= static_cast<uint32_t>(count);
    }
}

int PutRecord(uint8_t *bytes, uint32_t length)
{
    if (SG_pmFpErrors == 0) {
        uint8_t line_end = '\n';
        PutToStderr(bytes, length);
        PutToStderr(&line_end, 1);
        return pmrcOk;
    }
    pmRecord record = {};
    record.DataLength = length;
    record.Data = bytes;
    ++ErrorFileLines;
    return pmWrite(SG_pmFpErrors, &record);
}

// ---- Remarks -----------------------------------------------------------------------------------

// Control bytes would end the line, and what follows would pass for a record.
void ShowControlBytes(char (&line)[kRemarkRoom])
{
    for (char *p = line; *p != '\0'; ++p) {
        if (static_cast<uint8_t>(*p) < 0x20 || *p == 0x7F)
            *p = '?';
    }
}

uint32_t Widened(const char *text, uint8_t *to, uint32_t room)
{
    const auto length = static_cast<uint32_t>(strlen(text));
    const int32_t converted =
        UTF8toUTF16(reinterpret_cast<const uint8_t *>(text), static_cast<int32_t>(length), to,
                    static_cast<int32_t>(room / 2));
    if (converted > 0)
        return static_cast<uint32_t>(converted);
    uint32_t at = 0;
    for (const char *p = text; *p != '\0' && at + 2 <= room; ++p) {
        to[at++] = static_cast<uint8_t>(*p) < 0x80 ? static_cast<uint8_t>(*p) : '?';
        to[at++] = 0;
    }
    return at;
}

[[gnu::format(printf, 1, 2)]] int PutRemark(const char *format, ...)
{
    static char text[kRemarkRoom];
    static uint8_t line[2 * kRemarkRoom + sizeof RowErrFilePrefixChar.value];

    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    ShowControlBytes(text);
    const auto prefix = static_cast<uint32_t>(RowErrFilePrefixChar.length);
    memcpy(line, RowErrFilePrefixChar.value, prefix);
    uint8_t *behind = line + prefix;
    uint32_t length = static_cast<uint32_t>(strlen(text));
    if (CharSetFamily == kFamilyUtf16)
        length = Widened(text, behind, 2 * kRemarkRoom);
    else
        memcpy(behind, text, length);
    return PutRecord(line, prefix + length);
}

int PutRemarks(const char *verdict_text)
{
    int code = pmrcOk;
    if (RowErrorVerbosity >= kLow)
        code = PutRemark("[%d] WARNING Below record: %s", ThisInstance, verdict_text);
    if (RowErrorVerbosity >= kMed && code == pmrcOk)
        code = PutRemark("[%d] File path: '%s'", ThisInstance, pmFileName(pmfp));
    if (RowErrorVerbosity >= kMed && code == pmrcOk)
        code = PutRemark("[%d]Record number: %lld", ThisInstance,
                         static_cast<long long>(FileRecordCount) + 1);
    return code;
}

// ---- The record --------------------------------------------------------------------------------

int PutBadRecord(const char *verdict_text)
{
    if (SG_pmFpErrors == 0)
        FW_TRACE(1, "Error record sent to stderr");
    int code = PutRemarks(verdict_text);
    if (SG_pmFpErrors != 0)
        FW_TRACE(1, "Saving error record in record error file.");
    if (code == pmrcOk)
        code = PutRecord(pmBufferOrig.Data, pmBufferOrig.DataLength);
    return code;
}

PxStatus WriteFailed(int code)
{
    FW_ERROR("%s ('%s') on record %lld", "Writing error record to error file", SG_RowErrFileName,
             static_cast<long long>(FileRecordCount) + 1);
    FW_Message<19306>();
    DumpFileInfo(-1);
    return ErrorFileFailed("pmWrite", code);
}

// The file's own entries and exits would drown the log at each record.
class QuietErrorFile {
public:
    QuietErrorFile() { Set(1); }
    ~QuietErrorFile() { Set(static_cast<uint32_t>(FW_TraceLvl)); }
    QuietErrorFile(const QuietErrorFile &) = delete;
    QuietErrorFile &operator=(const QuietErrorFile &) = delete;

private:
    static void Set(uint32_t level)
    {
        if (SG_pmFpErrors != 0)
            (void)pmTrace(3, &SG_pmFpErrors, level);
    }
};

// ---- The limit ---------------------------------------------------------------------------------

PxStatus HoldToLimit()
{
    uint32_t all = SG_ErrorRowCount;

    if (SG_ErrorRowLimit < 1)
        return PXSTC_Success;
    if (TotalInstances > 1) {
        if (const PxStatus status = CountOverAllInstances(&all))
            return status;
        FW_TRACE(4, "Error Row Limit Cnt [%u] Inst [%d]", all, ThisInstance);
    }
    const auto limit = static_cast<uint32_t>(SG_ErrorRowLimit);
    if (limit > SG_ErrorRowCount && limit > all)
        return PXSTC_Success;
    FW_TRACE(1, "Error Row Limit [%d] Reached", SG_ErrorRowLimit);
    SG_ContinueOnRowError = 2;
    return PXSTC_Success;
}

}  // namespace

PxStatus ErrorFileFailed(const char *routine, int code)
{
    FW_ERROR("%s rc=%d", routine, code);
    FW_ERROR("'%s'", pmErrorText(code));
    FW_PmFailure(routine, code, pmErrorText(code));
    return FW_Fatal<19306>();
}

PxStatus WrRecErrFile(const char *verdict_text)
{
    {
        const QuietErrorFile quiet;
        if (const int code = PutBadRecord(verdict_text); code != pmrcOk)
            return WriteFailed(code);
    }
    ++SG_ErrorRowCount;
    return HoldToLimit();
}

PxStatus FlushRecordErrorFile()
{
    static uint32_t flushed = 0;  // records that are on the disk
    if (SG_pmFpErrors == 0 || flushed == SG_ErrorRowCount)
        return PXSTC_Success;
    flushed = SG_ErrorRowCount;
    const int code = pmFlush(SG_pmFpErrors);
    return code == pmrcOk ? PXSTC_Success : ErrorFileFailed("pmFlush", code);
}
