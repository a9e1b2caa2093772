// host/services/operator_services.cpp - the operator handle's operations but for the logs.

#include "host/services/operator_services.h"

#include <cstring>
#include <pwd.h>
#include <string_view>

#include <unistd.h>

namespace fenwire {

namespace {

constexpr PxStatus kSystemError = 8;

// Runs an operation; whatever it throws becomes a status.
template <class Body>
PxStatus Guarded(Body &&body) noexcept
{
    try {
        return body();
    } catch (const std::bad_alloc &) {
        return PXSTC_Storage;
    } catch (const std::exception &) {
        return kSystemError;
    }
}

std::string StatisticName(int32_t statistic)
{
    static constexpr struct {
        int32_t number;
        const char *name;
    } kNames[] = {
        {PX_STAT_RowsRead, "FWRowsRead"},         {PX_STAT_RowsWritten, "FWRowsWritten"},
        {PX_STAT_FilesRead, "FWFilesRead"},       {PX_STAT_FilesWritten, "FWFilesWritten"},
        {PX_STAT_FileName, "FWFileName"},         {PX_STAT_RowErrorNo, "FWRowErrorNo"},
        {PX_STAT_CheckPointNo, "FWCheckPointNo"},
    };
    for (const auto &row : kNames) {
        if (row.number == statistic)
            return row.name;
    }
    return std::to_string(statistic);
}

std::string StatisticValue(int32_t type, const void *value, size_t length)
{
    constexpr int32_t kUnsigned = 1;
    uint64_t number = 0;
    if (type != kUnsigned || length > sizeof number)
        return std::string(static_cast<const char *>(value), length);
    memcpy(&number, value, length);
    return std::to_string(number);
}

std::string UserName()
{
    const passwd *entry = getpwuid(getuid());
    return entry != nullptr && entry->pw_name != nullptr ? entry->pw_name : "";
}

}  // namespace

OperatorServices::OperatorServices(const Job &job, int instance, Link &link, RingOutlet *out,
                                   RowInlet *in, Checkpointing checkpoints, int rejects)
    : job_(job), instance_(instance), link_(link),
      attributes_(job, in != nullptr ? Role::Consumer : Role::Producer, instance, checkpoints),
      user_(UserName()), rejects_(rejects)
{
    operator_.owner = stream_.owner = this;
    stream_.out = out;
    stream_.in = in;
    FillOperator();
    FillLogs();
    FillSchema();
    SetExecutePassed(true);
}

PxStatus OperatorServices::PutStatistic(int32_t statistic, int32_t type, const void *value,
                                        int32_t length)
{
    if (value == nullptr || length < 0)
        return PXSTC_InvalidArgument;
    if (statistic == PX_STAT_FileCounts) {
        PxFileCounts counts;
        if (type != PX_STAT_RECORD || length != sizeof counts)
            return PXSTC_Length;
        memcpy(&counts, value, sizeof counts);
        TellBadRecords();
        const auto spent = Clock::now() - file_start_;
        link_.Tell(OutMessage(MessageKind::FileCounts)
                       .Put(static_cast<uint64_t>(
                           std::chrono::duration_cast<std::chrono::microseconds>(spent).count()))
                       .Raw(&counts, sizeof counts));
        return PXSTC_Success;
    }
    if (statistic == PX_STAT_ErrorFile) {
        link_.Tell(OutMessage(MessageKind::ErrorFile)
                       .Put(std::string_view(static_cast<const char *>(value),
                                             static_cast<size_t>(length))));
        return PXSTC_Success;
    }
    if (statistic == PX_STAT_BadRecord)
        return type == PX_STAT_RECORD ? PutBadRecord(value, static_cast<size_t>(length))
                                      : PxStatus{PXSTC_InvalidArgument};
    const std::string shown = StatisticValue(type, value, static_cast<size_t>(length));
    link_.Tell(OutMessage(MessageKind::Statistic).Put(StatisticName(statistic) + " = " + shown));
    return PXSTC_Success;
}

void OperatorServices::FillOperator()
{
    PxOperator &o = operator_.object;
    o.kind = PX_KIND_OPERATOR;

    // ---- Global variables and shared memory
    o.PX_CreateGlobalVar = [](PxOperator *op, const char *name, uint32_t size, uint32_t count) {
        return Guarded([&] { return Of(op).link_.CreateVariable(name, size, count); });
    };
    o.PX_DeleteGlobalVar = [](PxOperator *op, const char *name) {
        return Guarded([&] { return Of(op).link_.DeleteVariable(name); });
    };
    o.PX_ReadGlobalVar = [](PxOperator *op, const char *name, uint32_t index, const void **element,
                            uint32_t *length) {
        return Guarded([&]() -> PxStatus {
            uint8_t *bytes = nullptr;
            if (element == nullptr || length == nullptr)
                return PXSTC_InvalidArgument;
            const PxStatus status = Of(op).link_.Element(name, index, &bytes, length);
            *element = bytes;
            return status;
        });
    };
    o.PX_UpdateGlobalVar = [](PxOperator *op, const char *name, const void *data, uint32_t length,
                              uint32_t index) {
        return Guarded([&]() -> PxStatus {
            uint8_t *bytes = nullptr;
            uint32_t room = 0;
            if (data == nullptr)
                return PXSTC_InvalidArgument;
            const PxStatus status = Of(op).link_.Element(name, index, &bytes, &room);
            if (status != PXSTC_Success)
                return status;
            if (length > room)
                return PXSTC_Length;
            memcpy(bytes, data, length);
            return PXSTC_Success;
        });
    };
    o.PX_ShmObtain = [](PxOperator *op, uint32_t bytes, ShmToken_t *token) {
        return Guarded([&] { return Of(op).link_.ObtainBlock(bytes, token); });
    };
    o.PX_ShmRelease = [](PxOperator *op, ShmToken_t token) {
        return Guarded([&] { return Of(op).link_.ReleaseBlock(token); });
    };
    o.PX_ShmAttach = [](PxOperator *op, ShmToken_t token, void **address) {
        return Guarded([&] { return Of(op).link_.AttachBlock(token, address); });
    };

    // ---- Attributes
    o.PX_GetAttribute = [](PxOperator *op, const char *name, const void **value, int32_t *length) {
        return Guarded([&] { return Of(op).attributes_.Get(name, value, length); });
    };
    o.PX_CreateAttribute = [](PxOperator *op, const char *name, int32_t type, int64_t value) {
        return Guarded([&] {
            const PxStatus status = Of(op).attributes_.Create(name, type, value);
            if (status == PXSTC_Success && strcmp(name, AttributeStore::kNoCheckpoint) == 0)
                Of(op).link_.Tell(OutMessage(MessageKind::NoCheckpoints));
            return status;
        });
    };
    o.PX_SetAttribute = [](PxOperator *op, const char *name, const void *value, int32_t length) {
        return Guarded([&]() -> PxStatus {
            int16_t code = 0;
            if (name == nullptr || value == nullptr)
                return PXSTC_InvalidArgument;
            if (strcmp(name, "PX_ExitCode") != 0)
                return PXSTC_NotSupported;  // EventData answers events, which are not delivered yet
            if (length != sizeof code)
                return PXSTC_Length;
            memcpy(&code, value, sizeof code);
            Of(op).link_.Tell(OutMessage(MessageKind::ExitCode).Put(static_cast<int32_t>(code)));
            return PXSTC_Success;
        });
    };
    o.PX_ReadUniversalVar = [](PxOperator *, const char *, uint32_t, const void **, uint32_t *) {
        return PxStatus{PXSTC_NotFound};  // this infrastructure knows no tasks of other kinds
    };

    // ---- Checkpoint store
    o.PX_ReadCheckpointRecord = [](PxOperator *op, const void **record, uint32_t *length) {
        return Guarded([&] { return Of(op).link_.ReadRecord(record, length); });
    };
    o.PX_WriteCheckpointRecord = [](PxOperator *op, const void *record, uint32_t length) {
        return Guarded([&] { return Of(op).link_.WriteRecord(record, length); });
    };

    // ---- Schema, user, commands, statistics
    o.PX_GetTableSchemaList = [](PxOperator *op, int32_t direction, PxSchema ***list,
                                 int32_t *count) -> PxStatus {
        constexpr int32_t kOutput = 3, kInput = 1;
        const int32_t wanted = Of(op).stream_.in != nullptr ? kInput : kOutput;
        if (list == nullptr || count == nullptr || direction != wanted)
            return PXSTC_InvalidArgument;
        *list = Of(op).schema_list_;
        *count = 1;
        return PXSTC_Success;
    };
    o.PX_GetUserId = [](PxOperator *op, const char **text) -> PxStatus {
        if (text == nullptr)
            return PXSTC_InvalidArgument;
        *text = Of(op).user_.c_str();
        return Of(op).user_.empty() ? PXSTC_NotFound : PXSTC_Success;
    };
    // The channel stands; commands are not delivered yet.
    o.PX_OpenCommandInterface = [](PxOperator *, const char *) { return PxStatus{PXSTC_Success}; };
    o.PX_CloseCommandInterface = [](PxOperator *) { return PxStatus{PXSTC_Success}; };
    o.PX_PutJobStat = [](PxOperator *op, int32_t statistic, int32_t type, const void *value,
                         int32_t length, int32_t, int32_t) {
        return Guarded([&] { return Of(op).PutStatistic(statistic, type, value, length); });
    };
}

}  // namespace fenwire
