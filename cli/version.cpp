// cli/version.cpp - `fenwire version`.

#include "host/version.h"

#include <fmt/format.h>

#include "cli/verbs.h"

namespace fenwire {

int VersionVerb()
{
    fmt::print("fenwire {}\n", kVersion);
    return kExitGood;
}

}  // namespace fenwire
