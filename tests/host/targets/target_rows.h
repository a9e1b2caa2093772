// tests/host/targets/target_rows.h - rows in the form in which a target gets them, and jobs for targets.

#ifndef FENWIRE_TESTS_HOST_TARGETS_TARGET_ROWS_H
#define FENWIRE_TESTS_HOST_TARGETS_TARGET_ROWS_H

#include <optional>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "host/targets/target.h"
#include "tests/support/temp_directory.h"

using Value = std::optional<std::string>;  // empty: NULL
using Row = std::vector<Value>;

// Records of these rows. What stands in the padding is the caller's choice: no target may look at it.
class Rows {
public:
    explicit Rows(const std::vector<Row> &rows, uint8_t padding = 0)
    {
        for (const Row &row : rows)
            Add(row, padding);
    }

    fenwire::RowBatch Batch() const
    {
        return {bytes_.data(), bytes_.data() + bytes_.size(), columns_};
    }

private:
    void Add(const Row &row, uint8_t padding)
    {
        columns_ = static_cast<uint32_t>(row.size());
        std::vector<uint32_t> words = {0, 0};
        std::string data;
        for (const Value &value : row) {
            words.push_back(value ? static_cast<uint32_t>(value->size()) : fenwire::kNullColumn);
            data += value.value_or("");
        }
        words[1] = static_cast<uint32_t>(data.size());
        words[0] = static_cast<uint32_t>((4 * words.size() + data.size() + 7) / 8 * 8);
        const size_t start = bytes_.size();
        bytes_.resize(start + words[0], padding);
        memcpy(bytes_.data() + start, words.data(), 4 * words.size());
        memcpy(bytes_.data() + start + 4 * words.size(), data.data(), data.size());
    }

    std::vector<uint8_t> bytes_;
    uint32_t columns_ = 0;
};

// A job whose columns are VARCHAR(100) with these names.
inline fenwire::Job TargetJob(const TempDirectory &folder, const std::string &type,
                              const std::vector<std::string> &columns,
                              const std::vector<fenwire::Setting> &settings)
{
    fenwire::Job job;
    job.folder = folder.path();
    job.target_type = type;
    job.target = settings;
    job.target_at = {9, 1};
    for (const std::string &name : columns) {
        fenwire::Column column;
        column.name = name;
        column.length = 100;
        job.columns.push_back(column);
    }
    return job;
}

// Words of the TargetError that the call ends with; empty: it ended well.
template <class Call>
std::string ErrorOf(Call &&call)
{
    try {
        call();
    } catch (const fenwire::TargetError &error) {
        return error.what();
    }
    return {};
}

// The same in a process of its own, which `prepare` has taken rights or room from.
template <class Prepare, class Call>
std::string ErrorOfChild(Prepare &&prepare, Call &&call)
{
    int ends[2];
    if (pipe(ends) != 0)
        return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        const std::string words = ErrorOf(call);
        _exit(write(ends[1], words.data(), words.size()) == static_cast<ssize_t>(words.size()) ? 0
                                                                                               : 1);
    }
    close(ends[1]);
    std::string words;
    char part[512];
    for (ssize_t got; (got = read(ends[0], part, sizeof part)) > 0;)
        words.append(part, static_cast<size_t>(got));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0 ? words : "the child ended with " + std::to_string(status);
}

#endif
