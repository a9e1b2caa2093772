// host/targets/table_fit.h - why a table can't take a job's rows, in words.

#ifndef FENWIRE_HOST_TARGETS_TABLE_FIT_H
#define FENWIRE_HOST_TARGETS_TABLE_FIT_H

#include <algorithm>
#include <fmt/format.h>
#include <string>

#include "host/job/job.h"
#include "host/job/words.h"
#include "host/targets/target.h"

namespace fenwire {

// "id, name and 3 more", of anything that has names.
template <class Named>
std::string NameList(const Named &all)
{
    constexpr size_t kShown = 20;
    std::string text;
    for (size_t i = 0; i < std::min(all.size(), kShown); ++i)
        text += (i > 0 ? ", " : "") + Escaped(all[i].name);
    if (all.size() > kShown)
        text += fmt::format(" and {} more", all.size() - kShown);
    return text;
}

// Columns that do not fit, one clause after another.
class TableMisfits {
public:
    void NotThere(const std::string &name) { Add(name, "is not in the table"); }
    void Computed(const std::string &name)
    {
        Add(name, "is computed by the table and takes no values");
    }
    void NotGiven(const std::string &name)
    {
        Add(name, "of the table needs a value, and the job has none for it");
    }
    void Add(const std::string &name, const char *why)
    {
        words_ += fmt::format("{}column {} {}", words_.empty() ? "" : "; ", Quoted(name), why);
    }

    // Throws TargetError when there are any.
    template <class Columns>
    void Refuse(const std::string &table, const Columns &there, const Job &job) const
    {
        if (!words_.empty())
            throw TargetError(
                fmt::format("table {} does not fit the job: {}. The table has {}; the job has {}",
                            table, words_, NameList(there), NameList(job.columns)));
    }

private:
    std::string words_;
};

}  // namespace fenwire

#endif
