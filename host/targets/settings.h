// host/targets/settings.h - a target's keys as values. The job's reader has held them to their kinds.

#ifndef FENWIRE_HOST_TARGETS_SETTINGS_H
#define FENWIRE_HOST_TARGETS_SETTINGS_H

#include <algorithm>
#include <filesystem>
#include <string>

#include "host/job/job.h"

namespace fenwire {

inline const Setting *FindSetting(const Job &job, const std::string &key)
{
    const auto found = std::ranges::find(job.target, key, &Setting::key);
    return found != job.target.end() ? &*found : nullptr;
}

template <class Value>
Value SettingOr(const Job &job, const std::string &key, Value fallback)
{
    const Setting *setting = FindSetting(job, key);
    const Value *value = setting != nullptr ? std::get_if<Value>(&setting->value) : nullptr;
    return value != nullptr ? *value : fallback;
}

// A path of the job, from the job's folder; empty: not given.
inline std::filesystem::path PathSetting(const Job &job, const std::string &key)
{
    const std::string text = SettingOr<std::string>(job, key, {});
    return text.empty() ? std::filesystem::path() : (job.folder / text).lexically_normal();
}

inline SourcePosition PositionOf(const Job &job, const std::string &key)
{
    const Setting *setting = FindSetting(job, key);
    return setting != nullptr ? setting->at : job.target_at;
}

}  // namespace fenwire

#endif
