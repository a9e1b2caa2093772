// host/job/settings.h - the keys of [source] and [target]: which there are, and their values.
//
// Each kind of source or target has its own table of keys. The job's reader holds a job's settings to them.

#ifndef FENWIRE_HOST_JOB_SETTINGS_H
#define FENWIRE_HOST_JOB_SETTINGS_H

#include <algorithm>
#include <filesystem>
#include <string>

#include "host/job/job.h"

namespace fenwire {

struct SettingKey {
    const char *name;
    const char *kind;  // "text", "path", "integer", "yes/no", "table"
    bool required;
    const char *about;
};

using Settings = std::vector<Setting>;

inline const Setting *FindSetting(const Settings &settings, const std::string &key)
{
    const auto found = std::ranges::find(settings, key, &Setting::key);
    return found != settings.end() ? &*found : nullptr;
}

template <class Value>
Value SettingOr(const Settings &settings, const std::string &key, Value fallback)
{
    const Setting *setting = FindSetting(settings, key);
    const Value *value = setting != nullptr ? std::get_if<Value>(&setting->value) : nullptr;
    return value != nullptr ? *value : fallback;
}

// A path of the job, from the job's folder; empty: not given.
inline std::filesystem::path PathSetting(const Job &job, const Settings &settings,
                                         const std::string &key)
{
    const std::string text = SettingOr<std::string>(settings, key, {});
    return text.empty() ? std::filesystem::path() : (job.folder / text).lexically_normal();
}

// Where the setting stands, or the section when it is not given.
inline SourcePosition PositionOf(const Settings &settings, SourcePosition section,
                                 const std::string &key)
{
    const Setting *setting = FindSetting(settings, key);
    return setting != nullptr ? setting->at : section;
}

}  // namespace fenwire

#endif
