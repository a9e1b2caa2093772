// host/services/attribute_store.h - the attributes of one instance: the job's, and the infrastructure's.

#ifndef FENWIRE_HOST_SERVICES_ATTRIBUTE_STORE_H
#define FENWIRE_HOST_SERVICES_ATTRIBUTE_STORE_H

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/job/job.h"
#include "infrastructure/infrastructure.h"

namespace fenwire {

// What an instance is told of checkpoints.
struct Checkpointing {
    bool kept = false;      // the job takes them
    bool restarts = false;  // it goes on from one
};

class AttributeStore {
public:
    // Relative paths in the job count from the job file's folder, which is the instance's working
    // folder; so they are handed on as they are.
    AttributeStore(const Job &job, Role role, int instance, Checkpointing checkpoints);

    static constexpr char kNoCheckpoint[] = "SYSTEM_NOCHECKPOINT";  // takes none while it exists

    // As PX_GetAttribute: 0, 5 absent, 13 a list. value points into the store.
    PxStatus Get(const char *name, const void **value, int32_t *length);
    // As PX_CreateAttribute: 26 when it is there already.
    PxStatus Create(const char *name, int32_t type, int64_t value);
    void Set(const std::string &name, std::string value) { values_[name] = std::move(value); }

private:
    using Value = std::variant<int32_t, int64_t, std::string, std::vector<std::string>>;
    std::map<std::string, Value, std::less<>> values_;
};

}  // namespace fenwire

#endif
