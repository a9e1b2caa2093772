// host/checkpoint/checkpoint_store.cpp - .fenwire/<job>/checkpoint.db.
//
// A generation is on the disk when Save returns, and the one before until then: the journal is synced
// before the file is written, the file before the journal is cut to nothing, and that cut is synced too
// (journal mode TRUNCATE with synchronous FULL; a journal that is deleted could come back with the power).
// Nobody may read what the rows of a stopped job hold in their records but its user: mode 0600. A link in
// place of the file is refused, lest something else is written.

#include "host/checkpoint/checkpoint_store.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/checkpoint/checkpoints.h"
#include "host/checkpoint/sqlite_checkpoints.h"
#include "host/job/words.h"
#include "host/sqlite/sqlite_database.h"
#include "host/system/replace_file.h"
#include "host/system/unique_fd.h"

namespace fenwire {

namespace {

namespace fs = std::filesystem;
using namespace std::string_view_literals;
using Access = SqliteDatabase::Access;

constexpr std::chrono::seconds kLongestWait{30};  // for a program that reads the store

fs::path StorePath(const Job &job) { return job.state / "checkpoint.db"; }

[[noreturn]] void Unusable(const Job &job, const std::string &why)
{
    throw std::runtime_error(fmt::format("the checkpoints of the job can't be used: {}; to do "
                                         "without them and begin anew: fenwire run --fresh {}",
                                         why, Escaped(job.file.string())));
}

// What goes wrong inside is told as the store's trouble.
template <class Call>
auto InStore(const Job &job, Call &&call)
{
    try {
        return call();
    } catch (const std::runtime_error &failure) {
        Unusable(job, failure.what());
    }
}

// Whether it is there. A file of another kind is no store.
bool LookAt(const Job &job, const fs::path &path)
{
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    const std::string shown = Quoted(path.string());
    if (!fd && errno == ENOENT)
        return false;
    if (!fd)
        Unusable(job, fmt::format("{} can't be opened: {}", shown, strerror(errno)));
    struct stat info;
    if (fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode))
        Unusable(job, fmt::format("{} is no plain file", shown));
    constexpr auto kBegin = "SQLite format 3\0"sv;
    // The power went while the first checkpoint was written: SQLite's journal tells whether it can be mended.
    constexpr std::array<char, kBegin.size()> kNotWritten = {};
    std::array<char, kBegin.size()> begin = {};
    const ssize_t got = pread(fd.get(), begin.data(), begin.size(), 0);
    const bool whole = got == static_cast<ssize_t>(begin.size());
    // Empty: its maker ended before the first checkpoint.
    if (got != 0 && !(whole && (begin == kNotWritten ||
                                std::string_view(begin.data(), begin.size()) == kBegin)))
        Unusable(job, fmt::format("{} is no store of checkpoints", shown));
    return true;
}

// The descriptor is closed before SQLite opens the file: closing it later would end SQLite's locks.
void MakeSureOf(const Job &job)
{
    const fs::path path = StorePath(job);
    if (LookAt(job, path))
        return;
    const UniqueFd fd(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        ThrowErrno(fmt::format("{} can't be made", Quoted(path.string())));
    SyncFolder(job.state);
}

}  // namespace

class CheckpointStore::Database {
public:
    explicit Database(const Job &job) : job_(job)
    {
        InStore(job_, [&] {
            MakeSureOf(job_);
            database_.emplace(StorePath(job_), Access::Write);
            database_->WaitForLocks(kLongestWait);
            database_->Run("PRAGMA journal_mode = TRUNCATE");
            database_->Run("PRAGMA synchronous = FULL");
        });
    }

    void Save(const StoredGeneration &generation)
    {
        InStore(job_, [&] {
            try {
                database_->Run("BEGIN IMMEDIATE");
                SqliteCheckpoints(*database_).Save(generation);
                database_->Run("COMMIT");
            } catch (...) {
                database_->RollBack();
                throw;
            }
        });
    }

private:
    const Job job_;
    std::optional<SqliteDatabase> database_;
};

CheckpointStore::CheckpointStore(const Job &job) : database_(std::make_unique<Database>(job)) {}
CheckpointStore::~CheckpointStore() = default;
void CheckpointStore::Save(const StoredGeneration &generation) { database_->Save(generation); }

std::optional<StoredGeneration> FindInStore(const Job &job, const std::string &run)
{
    const fs::path path = StorePath(job);
    if (!LookAt(job, path))
        return std::nullopt;
    return InStore(job, [&] {
        SqliteDatabase database(path, Access::Look);
        SqliteCheckpoints checkpoints(database);
        auto found = checkpoints.Find(job, run);
        if (!found && run.empty() && checkpoints.Any())
            throw std::runtime_error(
                fmt::format("{} holds those of a job that is kept elsewhere, or has another name",
                            Quoted(path.string())));
        return found;
    });
}

void ForgetStore(const Job &job)
{
    const fs::path path = StorePath(job);
    bool any = false;
    // The journal last: without its database it is nothing.
    for (const char *behind : {"", "-journal", "-wal", "-shm"}) {
        const std::string name = path.string() + behind;
        if (unlink(name.c_str()) == 0)
            any = true;
        else if (errno != ENOENT && errno != ENOTDIR)
            ThrowErrno(fmt::format("{} can't be removed", Quoted(name)));
    }
    if (any)
        SyncFolder(job.state);
}

}  // namespace fenwire
