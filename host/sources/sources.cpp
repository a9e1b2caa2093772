// host/sources/sources.cpp - the table of sources.

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "host/job/words.h"
#include "host/sources/kinds.h"

namespace fenwire {

namespace {

// clang-format off
constexpr std::array<SourceKind, 0> kSources = {};
// clang-format on

}  // namespace

std::span<const SourceKind> SourceKinds() { return kSources; }

const SourceKind *FindSourceKind(const std::string &name)
{
    const auto kinds = SourceKinds();
    const auto kind = std::ranges::find_if(
        kinds, [&](const SourceKind &row) { return std::string_view(row.name) == name; });
    return kind != kinds.end() ? &*kind : nullptr;
}

std::unique_ptr<Source> MakeSource(const Job &job)
{
    const SourceKind *kind = FindSourceKind(job.source_type);
    if (kind == nullptr)
        throw SourceError(fmt::format("there is no source {}", Quoted(job.source_type)));
    return kind->make(job);
}

}  // namespace fenwire
