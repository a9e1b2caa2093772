// operator/messages.h - numbered messages, trace lines, exit code: the three ways to report.
//
//     FW_TRACE(1, "Closing file: '%s'", name);          private log, above trace level 1
//     FW_ERROR("Invalid Phase (%d) received", phase);   private log, at every level
//     return FW_Fatal<19148>(phase_text);               public log, exit code 12, status 48
//
// A message is named by its number, which is what the job's user sees (QLX19148). Class, severity
// and the arguments' types come from kMessages; a call that does not fit its row doesn't compile.

#ifndef FENWIRE_OPERATOR_MESSAGES_H
#define FENWIRE_OPERATOR_MESSAGES_H

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "infrastructure/infrastructure.h"
#include "operator/message_table.h"
#include "operator/operator_state.h"

template <class T>
inline constexpr char kArgLetter = std::is_convertible_v<T, const char *> ? 't' : 'n';

inline PxLogArg ToLogArg(const char *text)
{
    return {.type = PX_ARG_TEXT, .text = text != nullptr ? text : "(null)"};
}
inline PxLogArg ToLogArg(int64_t number) { return {.type = PX_ARG_INTEGER, .number = number}; }

// Sends a message to the public log; nothing when there is none. args[0] is left free for the leader.
void PutMessage(const MessageRow &row, PxLogArg *args);

template <int Number, class... Args>
void FW_Message(Args... args)
{
    constexpr MessageRow row = MessageOf(Number);
    constexpr char given[] = {kArgLetter<Args>..., '\0'};
    static_assert(std::string_view(row.args) == given,
                  "arguments differ from the row in kMessages");
    PxLogArg list[] = {{}, ToLogArg(args)..., {}};
    PutMessage(row, list);
}

void RaiseExitCode(int16_t code);

// The end of a fatal site. Write the trace line that says what happened with FW_ERROR first.
template <int Number, class... Args>
[[nodiscard]] PxStatus FW_Fatal(Args... args)
{
    FW_Message<Number>(args...);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// A message about an attribute: only instance 1 speaks, since every instance fails alike. Before there
// is a public log the fact goes to the console in words of its own (AttributeFailedEarly).
void AttributeFailedEarly(int number, const PxLogArg *args);

template <int Number, class... Args>
void FW_AttributeMessage(Args... args)
{
    if (ThisInstance != 1)
        return;
    if (Public_loghandle != nullptr) {
        FW_Message<Number>(args...);
    } else {
        const PxLogArg list[] = {ToLogArg(args)..., {}};
        AttributeFailedEarly(Number, list);
    }
}

// The end of an attribute that can't be used: exit code 12, status 48.
template <int Number, class... Args>
[[nodiscard]] PxStatus FW_AttributeFatal(Args... args)
{
    FW_AttributeMessage<Number>(args...);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}

// The end of an attribute that was given to the wrong side: exit code 8, status 16.
template <int Number, class... Args>
[[nodiscard]] PxStatus FW_AttributeRefused(Args... args)
{
    FW_AttributeMessage<Number>(args...);
    RaiseExitCode(8);
    return PXSTC_NotSupported;
}

// An attribute or a feature that this version does not have: message 19990, exit code 12, status 48.
[[nodiscard]] PxStatus NotAvailable(const char *attribute, const char *feature);

// A numbered message of the start-up: there a log that can't be written ends the method. 0 or 48.
template <int Number, class... Args>
[[nodiscard]] PxStatus FW_StartupMessage(Args... args)
{
    FW_Message<Number>(args...);
    return LogStatus == PXSTC_Success ? PXSTC_Success : PXSTC_FatalError;
}

// A failed call of the access layer: message 19400 + code with (routine, code, text of the code),
// for codes 1 to 56; larger codes are reported as 19434. The caller adds the step message (19301 to
// 19309) and decides what the failure costs. A close or detach that fails is a warning of class 2.
enum class PmFailureKind : uint8_t { Fatal, CloseWarning };
void FW_PmFailure(const char *routine, int code, const char *text,
                  PmFailureKind kind = PmFailureKind::Fatal);

// Raises to the exit code that belongs to a failing status (48, 19: 12; 16, 45, 5: 8; 4: 4; all
// others none) and returns the status unchanged.
PxStatus MapStatus(PxStatus status);

enum class TraceKind : uint32_t { Plain = 0, Warning = 1, Error = 2 };

// FW_IssueMsg of a formatted line, cut at 2 KB. A failing log is told to the console and fails nothing.
[[gnu::format(printf, 3, 4)]] void FW_Trace(const char *routine, TraceKind kind, const char *format,
                                            ...);

// Macros, so that the arguments are not even computed below the level, and for the routine's name.
// FW_STATS is for statistics lines: they are written at StatsTraceLevel and above.
#define FW_TRACE(above, ...) FW_TRACE_IF_(FW_TraceLvl > (above), Plain, __VA_ARGS__)
#define FW_WARN(above, ...)  FW_TRACE_IF_(FW_TraceLvl > (above), Warning, __VA_ARGS__)
#define FW_ERROR(...)        FW_TRACE_IF_(Private_loghandle != nullptr, Error, __VA_ARGS__)
#define FW_STATS(...)        FW_TRACE_IF_(FW_TraceLvl >= StatsTraceLevel, Plain, __VA_ARGS__)
#define FW_TRACE_IF_(wanted, kind, ...)                       \
    do {                                                      \
        if (wanted) [[unlikely]]                              \
            FW_Trace(__func__, TraceKind::kind, __VA_ARGS__); \
    } while (false)

// The same with the time of day in the line, as FetchCurrentTime took it last.
#define FW_TRACE_TIMED(above, ...) FW_TIMED_(FW_TRACE(above, __VA_ARGS__))
#define FW_STATS_TIMED(...)        FW_TIMED_(FW_STATS(__VA_ARGS__))
#define FW_TIMED_(trace)       \
    do {                       \
        TimeStampMessages = 1; \
        trace;                 \
        TimeStampMessages = 0; \
    } while (false)

// A banner line of the private log, 74 columns wide: BoxRule "=====", BoxLine "=    text    =", a
// text that is too long for one line broken over several.
void BoxRule(const char *routine, int above);
void BoxLine(const char *routine, int above, const char *text);

// Calls an operation of an infrastructure object. A wrong kind word gives status 1 and no call.
template <class Object, class... Params, class... Args>
PxStatus Service(Object *object, PxStatus (*Object::*operation)(Object *, Params...), Args... args)
{
    if (object == nullptr || object->kind != kKindOf<Object> || object->*operation == nullptr)
        return LastFwStatus = PXSTC_BadHandle;
    return LastFwStatus = (object->*operation)(object, args...);
}

// The common end of a failed service: two error lines, exit code 12, status 48.
[[nodiscard]] PxStatus ServiceFailed(const char *routine, const char *service, PxStatus status);

// One line to the private log under the routine's name. 0 when it was written or there is no log.
int32_t FW_IssueMsg(const char *routine, TraceKind kind, const char *text);

// Up to bytes bytes as hexadecimal lines to the private log, at every level: test the level first.
void FW_Dump(const char *routine, const char *label, const void *data, uint32_t bytes);

// A line of the access layer to the private log, message 19004 (three texts) or 19005 (two), as it
// stands. A failing log fails nothing.
void PutPrivateLine(int number, const char *first, const char *second, const char *third = nullptr);

// A line for PX_ConsoleWrite.
[[gnu::format(printf, 1, 2)]] void ConsoleLine(const char *format, ...);

#endif
