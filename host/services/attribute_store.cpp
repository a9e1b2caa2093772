// host/services/attribute_store.cpp

#include "host/services/attribute_store.h"

#include <string_view>

#include <unistd.h>

#include "host/services/log_file.h"

namespace fenwire {

namespace {

constexpr int32_t kProducer = 1;
constexpr int32_t kRowSizeClass = 1024;  // KB: this infrastructure carries rows of up to a megabyte

}  // namespace

AttributeStore::AttributeStore(const Job &job, int instance)
{
    for (const Attribute &attribute : job.producer.attributes)
        std::visit([&](const auto &value) { values_[attribute.name] = value; }, attribute.value);
    if (values_.find("PrivateLogName") == values_.end())
        values_["PrivateLogName"] = kPrivateLogName;

    const std::string job_id = job.name + "-" + std::to_string(getppid());
    const std::map<std::string, Value> supplied = {
        {"SYSTEM_InstanceNumber", instance},
        {"SYSTEM_MaxInstances", job.producer.instances},
        {"SYSTEM_OperatorType", kProducer},
        {"SYSTEM_OperatorName", "producer"},
        {"SYSTEM_OperatorNumber", 1},
        {"SYSTEM_MaxOperators", 1},
        {"SYSTEM_LATENCYON", "N"},
        {"SYSTEM_RestartMode", 0},
        {"SYSTEM_CharSetId", job.charset},
        {"SYSTEM_JobMaxRowSize_Allow", kRowSizeClass},
        {"SYSTEM_NOCHECKPOINT", 0},
        {"SYSTEM_LOGDIRECTORY", (job.state / "logs").string()},
        {"SYSTEM_TaskID", "1"},
        {"SYSTEM_JobID", job_id},
        {"SYSTEM_JobName", job.name},
        {"SYSTEM_ScriptName", job.file.string()},
    };
    for (const auto &[name, value] : supplied)
        values_[name] = value;
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
