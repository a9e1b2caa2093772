// host/services/attribute_store.cpp

#include "host/services/attribute_store.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include <unistd.h>

#include "host/job/words.h"
#include "host/services/log_file.h"

namespace fenwire {

namespace {

// The job's row size class, in KB. This infrastructure carries rows of up to a megabyte, but formats with
// two-byte prefixes are written in jobs of the smaller class only; a row that is too long for one of them
// is refused when it comes.
int32_t RowSizeClass(const Step &step)
{
    const std::string format = step.Text("Format");
    const bool long_prefix = SameWord(format, "BINARY4") || SameWord(format, "FORMATTED4");
    return step.role == Role::Producer || long_prefix ? 1024 : 64;
}

// 0 lets the operator ignore what can't be positioned.
int32_t IntervalInSeconds(const Job &job)
{
    constexpr int64_t kMost = 1'000'000'000;
    if (!job.checkpoint.any())
        return 0;
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(job.checkpoint.interval).count();
    return static_cast<int32_t>(std::clamp<int64_t>(seconds, 1, kMost));
}

}  // namespace

AttributeStore::AttributeStore(const Job &job, Role role, int instance, Checkpointing checkpoints)
{
    const bool writes = role == Role::Consumer;
    const Step &step = writes ? job.consumer : job.producer;
    for (const Attribute &attribute : step.attributes)
        std::visit([&](const auto &value) { values_[attribute.name] = value; }, attribute.value);
    if (values_.find("PrivateLogName") == values_.end())
        values_["PrivateLogName"] = PrivateLogName(role);

    const std::string job_id = job.name + "-" + std::to_string(getppid());
    const std::map<std::string, Value> supplied = {
        {"SYSTEM_InstanceNumber", instance},
        {"SYSTEM_MaxInstances", step.instances},
        {"SYSTEM_OperatorType", static_cast<int32_t>(role)},
        {"SYSTEM_OperatorName", writes ? "consumer" : "producer"},
        {"SYSTEM_OperatorNumber", 1},
        {"SYSTEM_MaxOperators", 1},
        {"SYSTEM_LATENCYON", "N"},
        {"SYSTEM_RestartMode", checkpoints.restarts ? 1 : 0},
        {"SYSTEM_CharSetId", job.charset},
        {"SYSTEM_JobMaxRowSize_Allow", RowSizeClass(step)},
        {"SYSTEM_CHECKPOINT", IntervalInSeconds(job)},
        {"SYSTEM_LOGDIRECTORY", (job.state / "logs").string()},
        {"SYSTEM_TaskID", "1"},
        {"SYSTEM_JobID", job_id},
        {"SYSTEM_JobName", job.name},
        {"SYSTEM_ScriptName", job.file.string()},
    };
    for (const auto &[name, value] : supplied)
        values_[name] = value;
    if (!checkpoints.kept)
        values_[kNoCheckpoint] = 0;
}

PxStatus AttributeStore::Get(const char *name, const void **value, int32_t *length)
{
    if (name == nullptr || value == nullptr || length == nullptr)
        return PXSTC_InvalidArgument;
    const auto found = values_.find(std::string_view(name));
    if (found == values_.end())
        return PXSTC_NotFound;
    if (std::holds_alternative<std::vector<std::string>>(found->second))
        return PXSTC_MultiValued;
    if (const auto *text = std::get_if<std::string>(&found->second)) {
        *value = text->c_str();
        *length = static_cast<int32_t>(text->size());
    } else if (const auto *number = std::get_if<int32_t>(&found->second)) {
        *value = number;
        *length = sizeof *number;
    } else {
        *value = &std::get<int64_t>(found->second);
        *length = sizeof(int64_t);
    }
    return PXSTC_Success;
}

PxStatus AttributeStore::Create(const char *name, int32_t type, int64_t value)
{
    constexpr int32_t kInteger = 2;
    if (name == nullptr || type != kInteger)
        return PXSTC_InvalidArgument;
    const bool fresh = values_.emplace(name, static_cast<int32_t>(value)).second;
    return fresh ? PXSTC_Success : PXSTC_Duplicate;
}

}  // namespace fenwire
