// pm/error_texts.cpp - the words of the return codes.

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "pm/pm.h"
#include "pm/pm_file.h"
#include "pm/pm_trace.h"

namespace {

// By code. Code 34 has the text that was stored last.
constexpr const char *kTexts[] = {
    "No error",
    "Invalid pmHandle parameter",
    "Bad parameter passed to Access Module API",
    "Requested Access Module not found",
    "Requested file not found",
    "File is open for write operations only",
    "File is open for read operations only",
    "Invalid pmFp parameter",
    "Access Module still has open files",
    "End-of-file",
    "File is ready to checkpoint",
    "Access Module does not support this utility",
    "Error encountered during memory mgmt",
    "Access Module does not support this mode",
    "Access Module does not support this format",
    "Access Module does not support this block size",
    "Unexpected data format",
    "Buffer overflow",
    "The Fenwire version is incompatible with Client",
    "File name too long",
    "Access Module Initialization string syntax error",
    "Access Module Init string invalid command char",
    "Access Module Init string invalid command option",
    "Invalid positioning data length",
    "Request unsupported by Access Module",
    "Continue reading until pmrcCPReady",
    "Access Module API not initialized (call pmInit)",
    "Invalid diagnostic trace level",
    "Access Modules still active",
    "Empty file on read open",
    "Redundant pmInit call",
    "Invalid Supplemental Format Information",
    "Invalid Checkpointing method",
    "Unrecognized attribute name",
    nullptr,
    "EOF encountered before end of record",
    "BufferSize exceeded by block reader",
    "Error resolving symbols of access module",
    "LRECL does not match length defined by data schema",
    "Invalid multi-byte character encountered",
    "Invalid attribute value",
    "Can't set access module attribute after file open",
    "Unable to obtain data signature",
    "Data after restart doesn't match",
    "File attribute must be set immediately after open",
    "Requested endianess conflicts with file BOM",
    "File BOM conflicts with defined character set",
    nullptr,
    nullptr,
    nullptr,
    "Attribute name unrecognized by Fenwire",
    "Attribute value rejected by Fenwire",
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    "Can not checkpoint or restart a PIPE",
};
static_assert(std::size(kTexts) == pmrcPipe + 1);

constexpr char kNoStoredText[] = "Unknown Access Module failure";
constexpr char kNoSuchCode[] = "No such Access Module API return code";
constexpr uint32_t kLongestText = 32000;

char *stored_text = nullptr;  // null: kNoStoredText

}  // namespace

const char *pmErrorText(int code)
{
    if (code == pmrcText)
        return stored_text != nullptr ? stored_text : kNoStoredText;
    if (code >= 0 && code <= pmrcPipe && kTexts[code] != nullptr)
        return kTexts[code];
    PM_TRACE(1, "!ERROR! Invalid LastReturnCode");
    return kNoSuchCode;
}

int pmGetErrText(int code, pmData *text)
{
    const char *words = pmErrorText(code);
    text->bytes = words;
    text->length = static_cast<uint32_t>(strlen(words));
    return pmrcOk;
}

void pmSetErrTxt(const char *text, uint32_t length)
{
    const uint32_t kept = length < kLongestText ? length : kLongestText;
    auto *copy = static_cast<char *>(malloc(kept + 1));
    if (copy != nullptr) {
        memcpy(copy, text, kept);
        copy[kept] = '\0';
    }
    ForgetErrorText();
    stored_text = copy;
}

void ForgetErrorText()
{
    free(stored_text);
    stored_text = nullptr;
}
