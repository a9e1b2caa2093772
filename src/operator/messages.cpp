// operator/messages.cpp - the one place where reports are put together and sent.

#include "operator/messages.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "operator/clock.h"

namespace {

constexpr size_t kTextBytes = 2048;  // a composed line; longer ones are cut
constexpr size_t kNameBytes = 4096;  // the longest operator name
constexpr int kBoxInner = 72;

PxStatus WriteLog(PxLog *log, int number, int32_t msg_class, int32_t severity, const PxLogArg *args)
{
    if (log == nullptr || log->kind != PX_KIND_LOG || log->op == nullptr ||
        log->op->kind != PX_KIND_OPERATOR || log->op->PX_LogWrite == nullptr)
        return PXSTC_BadHandle;
    return log->op->PX_LogWrite(log, static_cast<uint32_t>(number), msg_class, severity, args);
}

const char *Text(const PxLogArg &arg) { return arg.type == PX_ARG_TEXT ? arg.text : ""; }

// Values and names come from outside: control bytes are shown as \x1B, so that none of them forges a
// line of the log or reaches a terminal. Answers the text itself when there is nothing to show.
const char *Printable(const char *text, char *room, size_t bytes)
{
    const char *from = text;
    while (static_cast<uint8_t>(*from) >= ' ' && *from != 0x7F)
        ++from;
    if (*from == '\0')
        return text;
    size_t used = 0;
    for (from = text; *from != '\0' && used + 5 <= bytes; ++from) {
        const auto byte = static_cast<uint8_t>(*from);
        if (byte < ' ' || byte == 0x7F)
            used += static_cast<size_t>(snprintf(room + used, bytes - used, "\\x%02X", byte));
        else
            room[used++] = *from;
    }
    room[used] = '\0';
    return room;
}

}  // namespace

void ConsoleLine(const char *format, ...)
{
    char text[kTextBytes];

    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    LastPxStatus = Service(SG_opHandle, &PxOperator::PX_ConsoleWrite, text,
                           static_cast<uint32_t>(strlen(text)));
}

void PutMessage(const MessageRow &row, PxLogArg *args)
{
    static char leader[kNameBytes + 32], shown[4 * kTextBytes];  // used only until the write
    size_t used = 0;

    if (Public_loghandle == nullptr)
        return;
    if (row.leader == Leader::Numbered)
        snprintf(leader, sizeof leader, "%s[%d]: QLX%05d", JobOpName, ThisInstance, row.number);
    else
        snprintf(leader, sizeof leader, "%s[%d]:", JobOpName, ThisInstance);
    args[0] = ToLogArg(leader);
    for (PxLogArg *arg = args + 1; arg->type != PX_ARG_END && used + 8 < sizeof shown; ++arg) {
        if (arg->type != PX_ARG_TEXT)
            continue;
        arg->text = Printable(arg->text, shown + used, sizeof shown - used);
        if (arg->text == shown + used)
            used += strlen(arg->text) + 1;
    }
    LogStatus = WriteLog(Public_loghandle, row.number, row.msg_class, row.severity, args);
}

void AttributeFailedEarly(int number, const PxLogArg *args)
{
    switch (number) {
    case 19100:
        ConsoleLine("FATAL_ERROR: %s returned rc = %d - called from %s", Text(args[0]),
                    static_cast<int>(args[1].number), "FW_Initiate");
        break;
    case 19201:
        ConsoleLine("FATAL_ERROR: %s can't find required attribute %s", "FW_Initiate",
                    Text(args[0]));
        break;
    case 19202:
        ConsoleLine("FATAL_ERROR:  %s attribute length error", Text(args[0]));
        break;
    case 19204:
        ConsoleLine("FATAL_ERROR:  %s: value %lld must lie between %lld and %lld", Text(args[0]),
                    static_cast<long long>(args[1].number), static_cast<long long>(args[2].number),
                    static_cast<long long>(args[3].number));
        break;
    case 19205:
        ConsoleLine("FATAL_ERROR:  %s: %s", Text(args[0]),
                    "Multi-value received for single-value attribute");
        break;
    default:
        ConsoleLine("FATAL_ERROR:  %s: message %d", Text(args[0]), number);
    }
}

void RaiseExitCode(int16_t code)
{
    NewExitCode = code;
    if (CurrentExitCode >= code)
        return;
    CurrentExitCode = code;
    const PxStatus last = LastFwStatus;  // of the failure that is being reported
    (void)Service(SG_opHandle, &PxOperator::PX_SetAttribute, "PX_ExitCode",
                  static_cast<const void *>(&CurrentExitCode), 2);
    LastFwStatus = last;
    FW_TRACE(1, "QLX Exit code set to %d.", code);
    FW_Message<19015>(code);
}

PxStatus MapStatus(PxStatus status)
{
    int16_t code = 0;
    switch (status) {
    case PXSTC_FatalError:
    case PXSTC_Storage:
        code = 12;
        break;
    case PXSTC_NotSupported:
    case PXSTC_RowError:
    case PXSTC_NotFound:
        code = 8;
        break;
    case PXSTC_Warning:
        code = 4;
        break;
    default:
        break;
    }
    RaiseExitCode(code);
    return status;
}

void FW_PmFailure(const char *routine, int code, const char *text, PmFailureKind kind)
{
    constexpr int kLastCode = 56, kUnnamedFailure = 34;
    const bool warning = kind == PmFailureKind::CloseWarning;
    const int number = 19400 + (code >= 1 && code <= kLastCode ? code : kUnnamedFailure);
    const MessageRow row = {number, warning ? 2 : 3, warning ? Warning : Error, "tnt"};
    PxLogArg list[] = {{}, ToLogArg(routine), ToLogArg(code), ToLogArg(text), {}};
    PutMessage(row, list);
}

int32_t FW_IssueMsg(const char *routine, TraceKind kind, const char *text)
{
    static constexpr const char *kMarks[] = {"", " WARNING! ", " !ERROR! "};
    char name[24] = "", stamp[24] = "", prefix[80], shown[kTextBytes];

    if (Private_loghandle == nullptr)
        return 0;
    if (bDisplayFuncName)
        snprintf(name, sizeof name, "%-20.20s-", routine);
    if (TimeStampMessages)
        snprintf(stamp, sizeof stamp, "%s%s", bDisplayFuncName ? " " : "**** ",
                 TimeEncode(CurrentSystemTime));
    else if (!bDisplayFuncName)
        snprintf(stamp, sizeof stamp, "    ");
    snprintf(prefix, sizeof prefix, "%s%s%s", name, stamp, kMarks[static_cast<uint32_t>(kind)]);
    text = Printable(text, shown, sizeof shown);
    const PxLogArg list[] = {ToLogArg(prefix), ToLogArg(text), {}};
    LogStatus = WriteLog(Private_loghandle, 19003, 2, Information, list);
    if (LogStatus == PXSTC_Success)
        return 0;
    ConsoleLine("%s (instance %d): %s (rc=%d).  %s '%s'.", JobOpName, ThisInstance,
                "PX_LogWrite to Private log failed", LogStatus, "Message", text);
    return 1;
}

void PutPrivateLine(int number, const char *first, const char *second, const char *third)
{
    const PxLogArg list[] = {ToLogArg(first), ToLogArg(second),
                             third != nullptr ? ToLogArg(third) : PxLogArg{}, PxLogArg{}};
    if (Private_loghandle != nullptr)
        LogStatus = WriteLog(Private_loghandle, number, 2, Information, list);
}

void FW_Trace(const char *routine, TraceKind kind, const char *format, ...)
{
    char text[kTextBytes];

    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (FW_IssueMsg(routine, kind, text) == 0)
        return;
    ConsoleLine("MACRO TRCELOG from %s failed", routine);
    ConsoleLine("%s", text);
}

PxStatus ServiceFailed(const char *routine, const char *service, PxStatus status)
{
    if (Private_loghandle != nullptr) {
        FW_Trace(routine, TraceKind::Error, "%s returned code %d ('%s')", service,
                 static_cast<int>(status), PxStatusName(status));
        FW_Trace(routine, TraceKind::Error, "returning %d (PXSTC_FatalError)", PXSTC_FatalError);
    }
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

void BoxRule(const char *routine, int above)
{
    if (FW_TraceLvl <= above)
        return;
    char rule[kBoxInner + 3];
    memset(rule, '=', sizeof rule - 1);
    rule[sizeof rule - 1] = '\0';
    FW_Trace(routine, TraceKind::Plain, "%s", rule);
}

void BoxLine(const char *routine, int above, const char *text)
{
    static constexpr char kBlanks[kBoxInner + 1] =
        "                                                                        ";
    if (FW_TraceLvl <= above)
        return;
    auto left = static_cast<int>(strlen(text));
    do {
        const int shown = left < kBoxInner ? left : kBoxInner;
        const int before = (kBoxInner - shown) / 2;
        FW_Trace(routine, TraceKind::Plain, "=%.*s%.*s%.*s=", before, kBlanks, shown, text,
                 kBoxInner - shown - before, kBlanks);
        text += shown;
        left -= shown;
    } while (left > 0);
}

void FW_Dump(const char *routine, const char *label, const void *data, uint32_t bytes)
{
    constexpr uint32_t kPerLine = 16;
    const auto *from = static_cast<const uint8_t *>(data);
    for (uint32_t at = 0; at < bytes; at += kPerLine) {
        char hex[kPerLine * 3 + 1] = "", chars[kPerLine + 1] = "";
        for (uint32_t i = 0; i < kPerLine && at + i < bytes; ++i) {
            const uint8_t byte = from[at + i];
            snprintf(hex + static_cast<size_t>(i) * 3, 4, "%02X ", byte);
            chars[i] = byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
        }
        FW_Trace(routine, TraceKind::Plain, "%s %04X %-48s *%s*", label, at, hex, chars);
    }
}
