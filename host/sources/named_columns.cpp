// host/sources/named_columns.cpp

#include "host/sources/named_columns.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/job/settings.h"
#include "host/job/words.h"
#include "host/sources/source.h"

namespace fenwire {

std::string ShownNames(const std::vector<std::string> &names)
{
    std::string shown;
    for (const std::string &name : names)
        shown += (shown.empty() ? "" : ", ") + Escaped(name);
    return shown;
}

size_t FindNamedColumn(const std::vector<std::string> &names, const std::string &column,
                       const std::string &what)
{
    // Names that differ by case alone are told apart by it.
    auto count = std::ranges::count(names, column);
    const bool exact = count == 1;
    const auto same = [&](const std::string &name) {
        return exact ? name == column : SameWord(name, column);
    };
    if (!exact)
        count = std::ranges::count_if(names, same);
    if (count != 1)
        throw SourceError(fmt::format("{} has {} {}; it has {}", what,
                                      count == 0 ? "no column" : "several columns", Quoted(column),
                                      ShownNames(names)));
    return static_cast<size_t>(std::ranges::find_if(names, same) - names.begin());
}

void CheckTableOrQuery(const Job &job, const char *range_key, std::vector<Complaint> &found)
{
    const Setting *table = FindSetting(job.source, "table");
    const Setting *query = FindSetting(job.source, "query");
    if ((table == nullptr) == (query == nullptr))
        found.push_back({query != nullptr ? query->at : job.source_at,
                         table == nullptr ? "the source has neither table nor query"
                                          : "table and query exclude each other",
                         "name the table, or give a query such as \"SELECT id, name FROM t\""});
    if (query != nullptr && job.source_instances > 1 &&
        FindSetting(job.source, range_key) == nullptr)
        found.push_back(
            {query->at,
             fmt::format("a query can't be read by {} instances as it stands",
                         job.source_instances),
             fmt::format("name an integer column of its rows with {}, or use one instance",
                         range_key)});
}

}  // namespace fenwire
