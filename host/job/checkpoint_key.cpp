// host/job/checkpoint_key.cpp - [job] checkpoint: "60s", "100000 rows", "60s or 100000 rows".
//
// One or two terms with "or" between them, each a whole number and a unit. Whichever comes first makes a
// checkpoint due.

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "host/checkpoint/checkpoints.h"
#include "host/job/sections.h"
#include "host/job/words.h"

namespace fenwire {

namespace {

// To add a unit, add a row.
constexpr struct {
    std::string_view name;
    int64_t milliseconds;  // 0: it counts rows
} kUnits[] = {
    {"ms", 1}, {"s", 1000}, {"min", 60'000}, {"h", 3'600'000}, {"rows", 0}, {"row", 0},
};

constexpr int64_t kMaxMilliseconds = int64_t{7} * 24 * 3'600'000;
constexpr int64_t kMaxRows = 1'000'000'000'000'000;
constexpr char kForms[] =
    R"(write "60s", "100000 rows", or "60s or 100000 rows"; units are ms, s, min, h and rows)";

// What is wrong with a term; empty: nothing, and the rule has it.
std::string TakeTerm(std::string_view term, CheckpointRule &rule)
{
    int64_t number = 0;
    const auto [end, failure] = std::from_chars(term.data(), term.data() + term.size(), number);
    const std::string_view word = Trimmed(term.substr(static_cast<size_t>(end - term.data())));
    const auto *unit =
        std::ranges::find_if(kUnits, [&](const auto &row) { return SameWord(row.name, word); });
    const bool too_long = failure == std::errc::result_out_of_range;
    if ((failure != std::errc() && !too_long) || unit == std::end(kUnits))
        return fmt::format("{} says neither a time nor a number of rows", Quoted(term));
    const bool rows = unit->milliseconds == 0;
    if (rows ? rule.rows != 0 : rule.interval.count() != 0)
        return fmt::format("checkpoint gives {} twice", rows ? "rows" : "a time");
    if (!too_long && number < 1)
        return fmt::format("{} is no distance between checkpoints: it must be 1 {} or more",
                           Quoted(term), rows ? "row" : "ms");
    if (too_long || number > (rows ? kMaxRows : kMaxMilliseconds / unit->milliseconds))
        return fmt::format("{} is too long: at most {}", Quoted(term),
                           rows ? fmt::format("{} rows", kMaxRows) : "7 days (168h)");
    if (rows)
        rule.rows = static_cast<uint64_t>(number);
    else
        rule.interval = std::chrono::milliseconds(number * unit->milliseconds);
    return {};
}

}  // namespace

void ReadCheckpoint(const Entry &entry, CheckpointRule &rule, std::vector<Complaint> &found)
{
    constexpr std::string_view kOr = " or ";
    const Value &value = entry.value;
    if (value.faulty)
        return;
    rule.at = value.at;
    if (value.kind != ValueKind::Text && !value.FromCommandLine()) {
        found.push_back(
            {value.at, fmt::format("checkpoint must be text, not {}", KindInWords(value.kind)),
             value.kind == ValueKind::Boolean ? "leave the key out to take none on the way"
                                              : kForms});
        return;
    }
    std::string_view rest = value.text;
    for (size_t end = 0; end != std::string_view::npos;) {
        end = rest.find(kOr);
        const std::string fault = TakeTerm(Trimmed(rest.substr(0, end)), rule);
        if (!fault.empty()) {
            found.push_back({value.at, fault, kForms});
            return;
        }
        if (end != std::string_view::npos)
            rest.remove_prefix(end + kOr.size());
    }
}

void CheckCheckpoints(const Job &job, std::vector<Complaint> &found)
{
    const bool whole = found.empty();  // else it may be no source or target that could be asked
    if (!whole || !job.checkpoint.any() || PlaceOfCheckpoints(job) != CheckpointPlace::None)
        return;
    found.push_back({job.checkpoint.at, "the job can't be resumed: " + WhyNotResumable(job),
                     "remove checkpoint; when the job fails it is run again from its start"});
}

}  // namespace fenwire
