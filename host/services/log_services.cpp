// host/services/log_services.cpp - the logs: the public one goes to the coordinator, private ones to files.

#include <algorithm>
#include <cstring>
#include <string_view>

#include "host/services/message_catalogue.h"
#include "host/services/operator_services.h"

namespace fenwire {

namespace {

constexpr PxStatus kLogFileError = 54;
constexpr uint32_t kStartedFile = 19222;
constexpr size_t kMaxArguments = 16;

// The arguments up to the end entry; null texts and absurd lists are cut short.
std::span<const PxLogArg> Arguments(const PxLogArg *args)
{
    size_t count = 0;
    while (count < kMaxArguments && args[count].type != PX_ARG_END &&
           (args[count].type != PX_ARG_TEXT || args[count].text != nullptr))
        ++count;
    return {args, count};
}

std::string PrivateLine(std::span<const PxLogArg> args)
{
    std::string line;
    for (const PxLogArg &arg : args) {
        // A prefix that ends with the time of day brings no blank of its own.
        if (!line.empty() && line.back() >= '0' && line.back() <= '9')
            line += ' ';
        line += arg.type == PX_ARG_TEXT ? std::string(arg.text) : std::to_string(arg.number);
    }
    return line;
}

}  // namespace

PxStatus OperatorServices::OpenLog(const char *file, PxLog **log)
{
    if (log == nullptr)
        return PXSTC_InvalidArgument;
    logs_.emplace_back();
    Log &opened = logs_.back();
    opened.owner = this;
    opened.object.kind = PX_KIND_LOG;
    opened.object.op = &operator_.object;
    try {
        if (file != nullptr)
            opened.file = std::make_unique<LogFile>(PrivateLogPath(job_, file));
    } catch (const std::exception &failure) {
        link_.Tell(OutMessage(MessageKind::ConsoleLine).Put(std::string_view(failure.what())));
        logs_.pop_back();
        return kLogFileError;
    }
    *log = &opened.object;
    return PXSTC_Success;
}

PxStatus OperatorServices::WritePublic(uint32_t number, int32_t msg_class, int32_t severity,
                                       const PxLogArg *args)
{
    const std::span<const PxLogArg> all = Arguments(args);
    const bool leader = !all.empty() && all[0].type == PX_ARG_TEXT;
    if (number == kStartedFile)
        file_start_ = Clock::now();
    link_.Tell(OutMessage(MessageKind::LogLine)
                   .Put(number)
                   .Put(msg_class)
                   .Put(severity)
                   .Put(std::string_view(leader ? all[0].text : ""))
                   .Put(MessageText(static_cast<int>(number), leader ? all.subspan(1) : all)));
    return PXSTC_Success;
}

void OperatorServices::FillLogs()
{
    PxOperator &o = operator_.object;
    o.PX_Loginit = [](PxOperator *op, const char *, int32_t, const char *file, int32_t,
                      PxLog **log) -> PxStatus {
        try {
            return Of(op).OpenLog(file, log);
        } catch (const std::exception &) {
            return kLogFileError;
        }
    };
    o.PX_LogWrite = [](PxLog *log, uint32_t number, int32_t msg_class, int32_t severity,
                       const PxLogArg *args) -> PxStatus {
        if (log == nullptr || args == nullptr)
            return PXSTC_InvalidArgument;
        Log &to = *reinterpret_cast<Log *>(log);
        try {
            if (to.file == nullptr)
                return to.owner->WritePublic(number, msg_class, severity, args);
            const std::string line = PrivateLine(Arguments(args));
            const bool urgent = line.find("!ERROR!") != std::string::npos;
            to.file->Line(line, urgent ? LogFile::Flush::Now : LogFile::Flush::Later);
            return to.file->failed() ? kLogFileError : PXSTC_Success;
        } catch (const std::exception &) {
            return kLogFileError;
        }
    };
    o.PX_Logterm = [](PxLog *log) -> PxStatus {
        if (log == nullptr)
            return PXSTC_InvalidArgument;
        Log &closed = *reinterpret_cast<Log *>(log);
        closed.file.reset();
        closed.object.kind = 0;  // a later write is a bad handle
        return PXSTC_Success;
    };
    o.PX_ConsoleWrite = [](PxOperator *op, const char *text, uint32_t length) -> PxStatus {
        if (text == nullptr)
            return PXSTC_InvalidArgument;
        try {
            Of(op).link_.Tell(
                OutMessage(MessageKind::ConsoleLine).Put(std::string_view(text, length)));
            return PXSTC_Success;
        } catch (const std::exception &) {
            return kLogFileError;
        }
    };
}

}  // namespace fenwire
