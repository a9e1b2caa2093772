// delimited/record_error_counts.cpp - what the instances tell each other of their record error files.

#include <algorithm>
#include <cstring>

#include "attributes/attributes_state.h"
#include "delimited/delimited_state.h"
#include "delimited/record_error_file.h"
#include "operator/messages.h"
#include "pm/disk/os_calls.h"
#include "pm/pm_state.h"

namespace {

constexpr char kRecordErrorCount[] = "RecordErrorCount";
constexpr char kGlobalCount[] = "GlblRecordErrorCount";
constexpr char kProcessIds[] = "FWRecordErrorCountPid", kFileIds[] = "RecordErrorFileId";

PxStatus Create(const char *name, uint32_t bytes, int32_t elements)
{
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_CreateGlobalVar, name, bytes,
                                    static_cast<uint32_t>(elements));
    if (status == PXSTC_Success || status == PXSTC_Duplicate)
        return PXSTC_Success;
    return ServiceFailed(__func__, "PX_CreateGlobalVar", status);
}

template <class Element>
PxStatus Update(const char *name, int32_t index, const Element &element)
{
    return Service(SG_opHandle, &PxOperator::PX_UpdateGlobalVar, name,
                   static_cast<const void *>(&element), static_cast<uint32_t>(sizeof element),
                   static_cast<uint32_t>(index));
}

template <class Element>
PxStatus Read(const char *name, int32_t index, Element *element)
{
    const void *bytes = nullptr;
    uint32_t length = 0;
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_ReadGlobalVar, name,
                                    static_cast<uint32_t>(index), &bytes, &length);
    if (status != PXSTC_Success)
        return status;
    if (bytes == nullptr || length != sizeof *element)
        return PXSTC_Length;
    memcpy(element, bytes, sizeof *element);
    return PXSTC_Success;
}

void Delete(const char *name)
{
    const PxStatus status = Service(SG_opHandle, &PxOperator::PX_DeleteGlobalVar, name);
    FW_TRACE(1, "PX_DeleteGlobalVar rc %d for '%s'", static_cast<int>(status), name);
}

}  // namespace

PxStatus CreateErrorVariables()
{
    PxStatus status = Create(kRecordErrorCount, sizeof(RecordErrorCountElement), TotalInstances);
    if (status == PXSTC_Success)
        status = Create(kGlobalCount, sizeof(uint32_t), 1);
    if (status == PXSTC_Success)
        status = Create(kFileIds, sizeof(PmIdentity), TotalInstances);
    if (status == PXSTC_Success)
        // The last one, since the others wait for it.
        status = Create(kProcessIds, sizeof(int32_t), std::max(TotalInstances - 1, 1));
    return status;
}

void DeleteErrorVariables()
{
    Delete(kGlobalCount);
    Delete(kProcessIds);
    Delete(kFileIds);
}

// Instance 1 creates the variable at about the same time. Its first steps take no more than moments, so
// a variable that does not come at all means that instance 1 has failed.
PxStatus PublishProcessId(int32_t process)
{
    constexpr long kMillisecond = 1'000'000, kSecond = 1000 * kMillisecond;
    constexpr int kTries = 40;  // ten in the first second, then one a second
    PxStatus status = PXSTC_NotFound;
    long pause = kMillisecond;

    for (int i = 0; i < kTries && status == PXSTC_NotFound; ++i) {
        if (i > 0) {
            const timespec wait = {.tv_sec = pause / kSecond, .tv_nsec = pause % kSecond};
            os.ppoll(nullptr, 0, &wait, nullptr);
            pause = std::min(2 * pause, kSecond);
        }
        status = Update(kProcessIds, ThisInstance - 1, process);
    }
    return status == PXSTC_Success ? status : ServiceFailed(__func__, "PX_UpdateGlobalVar", status);
}

PxStatus ReadProcessId(int32_t instance, int32_t *process)
{
    const PxStatus status = Read(kProcessIds, instance - 1, process);
    if (status == PXSTC_Success)
        return status;
    FW_ERROR("%s returned code %d", "PX_ReadGlobalVar", static_cast<int>(status));
    FW_Message<19100>("PX_ReadGlobalVar", status);
    return status;
}

PxStatus PublishFileId(const PmIdentity &id)
{
    const PxStatus status = Update(kFileIds, ThisInstance, id);
    return status == PXSTC_Success ? status : ServiceFailed(__func__, "PX_UpdateGlobalVar", status);
}

PxStatus ReadFileId(int32_t instance, PmIdentity *id) { return Read(kFileIds, instance, id); }

PxStatus PublishErrorCount()
{
    const RecordErrorCountElement element = {.count = SG_ErrorRowCount};
    const PxStatus status = Update(kRecordErrorCount, ThisInstance, element);
    return status == PXSTC_Success ? status : ServiceFailed(__func__, "PX_UpdateGlobalVar", status);
}

// Kept: reading and writing are two calls without a lock, so two instances at once may lose a count. A
// limit is reached a record later then.
PxStatus CountOverAllInstances(uint32_t *all)
{
    *all = 0;
    PxStatus status = Read(kGlobalCount, 1, all);
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_ReadGlobalVar", status);
    ++*all;
    status = Update(kGlobalCount, 1, *all);
    return status == PXSTC_Success ? status : ServiceFailed(__func__, "PX_UpdateGlobalVar", status);
}

PxStatus ShareErrorCount()
{
    if (SG_ErrorRowLimit < 1 || SG_pmFpErrors == 0 || TotalInstances == 1)
        return PXSTC_Success;
    FW_TRACE(1, "Capture Error Row Count Inst:(%d) ErrCount:(%u)", ThisInstance, SG_ErrorRowCount);
    if (const PxStatus status = PublishErrorCount())
        return status;
    bAccumulateErrorCounts = ThisInstance == 1;
    return PXSTC_Success;
}

// The running count begins at 0 in each run, the instances' own go on from a checkpoint. What they have
// counted since they published is in the running count only, so the larger one is nearer the truth.
static PxStatus RaiseGlobalCount(uint64_t sum)
{
    uint32_t all = 0;
    PxStatus status = Read(kGlobalCount, 1, &all);
    if (status != PXSTC_Success)
        return ServiceFailed(__func__, "PX_ReadGlobalVar", status);
    if (sum <= all)
        return PXSTC_Success;
    status = Update(kGlobalCount, 1, static_cast<uint32_t>(std::min<uint64_t>(sum, UINT32_MAX)));
    return status == PXSTC_Success ? status : ServiceFailed(__func__, "PX_UpdateGlobalVar", status);
}

PxStatus AccumulateErrorCounts()
{
    uint64_t sum = 0;

    bAccumulateErrorCounts = 0;
    for (int32_t instance = 1; instance <= TotalInstances; ++instance) {
        RecordErrorCountElement element = {};
        if (const PxStatus status = Read(kRecordErrorCount, instance, &element))
            return ServiceFailed(__func__, "PX_ReadGlobalVar", status);
        sum += element.count;
        FW_TRACE(1, "Accumulate Error Row Counts Inst:(%d) ErrCnt:(%u)", instance, element.count);
    }
    if (SG_ErrorRowLimit < 1 || sum < static_cast<uint64_t>(SG_ErrorRowLimit))
        return RaiseGlobalCount(sum);
    FW_TRACE(4, "Error Row Limit [%d] Reached or exceeded", SG_ErrorRowLimit);
    FW_Message<19993>(SG_ErrorRowLimit, SG_RowErrFileName);
    RaiseExitCode(12);
    return PXSTC_FatalError;
}
