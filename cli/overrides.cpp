// cli/overrides.cpp - --instances and --set, as the job loader takes them.

#include <fmt/format.h>

#include "cli/verbs.h"
#include "host/job/words.h"

namespace fenwire {

std::vector<Override> Overrides(const JobOptions &options)
{
    std::vector<Override> overrides;
    if (!options.instances.empty())
        overrides.push_back({kReadingStep, "instances", options.instances});
    for (const std::string &setting : options.settings) {
        const size_t equals = setting.find('=');
        const size_t dot = setting.find('.');
        if (equals == std::string::npos || dot == std::string::npos || dot == 0 ||
            dot + 1 >= equals)
            throw UsageError(fmt::format("--set {} is no setting", Quoted(setting)),
                             "write section.Name=value, such as --set producer.SkipRows=1");
        overrides.push_back({setting.substr(0, dot), setting.substr(dot + 1, equals - dot - 1),
                             setting.substr(equals + 1)});
    }
    return overrides;
}

}  // namespace fenwire
